// The report that tells the platform which firmware and which agent run.
#pragma once

#include "commserver/auto_report_config.h"
#include "core/json.h"
#include "router_sdk.h"

namespace plug {

/// Sends the report. 0; -1 when it cannot be built or the SDK fails; -2 when it cannot be printed.
int dev_fwversion_report();

/// The report's members; null without memory.
JsonPtr VersionReport(const router_version& firmware, const ReportIntervals& intervals);

}  // namespace plug
