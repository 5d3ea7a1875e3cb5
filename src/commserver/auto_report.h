// What the local peer reports unasked, relayed to the platform. Dispatcher thread.
#pragma once

#include "platform/wire.h"

namespace plug {

/// FuncID 81: a status record laid out as a WAN configuration, its integers in the platform's order.
void CommAutoReport(ConstBytes payload);
/// FuncIDs 84 and 86: JSON, relayed as received.
void CommAutoJsonReport(ConstBytes payload, std::uint16_t func_id);
/// FuncID 89: a report whose first byte is its type, relayed within the limits below.
void CommAutoReport89(ConstBytes payload);
/// FuncID 999: the result of a firmware update, one byte.
void CommFwUpdateResult(ConstBytes payload);

/// When the last report of each type came, relayed or not, on the monotonic clock.
struct ReportHistory {
    static constexpr std::int64_t kNever = -1;
    std::int64_t last[3] = {kNever, kNever, kNever};  // types 1 to 3
    std::uint8_t digest = 0;  // of the last type-1 report within two minutes of the one before
};

/// Whether a report that comes at `now` seconds is relayed; notes it in `history` either way.
bool AdmitReport(ReportHistory& history, ConstBytes payload, std::int64_t now);

}  // namespace plug
