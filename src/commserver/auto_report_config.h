// The configuration of the local peer's automatic reports: taken from the platform, kept by the local peer,
// asked back at start-up, and re-sent with fresh times as calibration.
#pragma once

#include "commserver/report_times.h"
#include "platform/wire.h"

namespace plug {

/// The settings before the local peer's configuration has arrived. Before any thread starts.
void ResetAutoReport();

struct ReportIntervals {
    int interval1, interval2, interval3;
};
/// The intervals as last set or told; -1: no configuration. Any thread.
ReportIntervals AutoReportIntervals();

/// Sets the platform's configuration, a JSON object of 2 to 1023 bytes, with computed times. The reply's
/// result, or 1 when it is refused or no reply came.
unsigned ComF_set_auto_report(std::string_view text);

/// Asks the local peer for its configuration. The result byte, or 1 when the send failed or no reply came.
unsigned ComF_get_autoreport_conf();
/// Takes the answer to it: a result byte and, with result 0, the configuration as JSON. Dispatcher thread.
void Comm_get_88Conf(ConstBytes payload);

/// Sends the settings again with freshly computed times; waits for nothing.
void ComF_send_calibration();

}  // namespace plug
