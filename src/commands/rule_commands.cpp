// Commands about the devices' scan, their bandwidth limits and their access windows.
#include "commands/handlers.h"
#include "rules/bandwidth.h"
#include "rules/surf_rules.h"
#include "subdev/scanner.h"

namespace plug {

void ScanDevices(ByteReader&, Answer&) {
    TriggerScan();
}

void SetBandwidthLimits(ByteReader& parameters, Answer&) {
    ParseTcParam(TextParameter(parameters));
}

void SetAccessWindows(ByteReader& parameters, Answer& answer) {
    answer.result = static_cast<std::uint16_t>(ParseSurfRulesParam(TextParameter(parameters)));
}

}  // namespace plug
