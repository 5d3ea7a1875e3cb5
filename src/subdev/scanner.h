// The scan of the devices behind the router, and its report (data type 63).
//
// A trigger asks for one scan and one report. The table holds what the SDK lists, with bandwidths, and behind
// it what only the kernel's ARP table knows; at most 128 devices. A trigger that comes during a scan is lost.
#pragma once

namespace plug {

/// Starts the scanner thread. 0, or the error number of its creation.
int StartSubdev();
/// Stops and joins it.
void StopSubdev();

/// Asks for a scan. Any thread.
void TriggerScan();

/// One scan and its report. False, logged, when the SDK failed: try again in a second. Scanner thread.
bool ScanAndReport();

}  // namespace plug
