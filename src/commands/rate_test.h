// The download-rate test: one worker thread at a time fetches a file to time it and reports the rate upward
// by itself.
#pragma once

namespace plug {

/// Starts the worker, against the default server when `url` (up to 1023 characters) is null. 0,
/// kDiagnosticBusy when a test runs, or the error number of the thread's start. Response thread.
int StartRateTest(const char* url);

/// Waits for the worker, if there is one. Response thread.
void JoinRateTest();

/// The worker's work: measures against the default server, or against http://host[:port]/path, and reports.
/// A URL of another shape, or with a host of less than 3 or more than 64 characters, is neither tested nor
/// reported.
void RateTestThread();
void RateTestProc(const char* url);

}  // namespace plug
