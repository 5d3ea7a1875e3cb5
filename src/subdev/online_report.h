// The report that a device has come online (data type 40), common to functions 39 and 40, and the settings
// under which it is sent. Any thread.
#pragma once

#include <array>

#include "core/text.h"

namespace plug {

/// Turns the report on or off; it starts on.
void SetOnlineReport(bool on);
/// The same, with the number of ten-second rounds after which reported devices are forgotten; it starts at
/// 30.
void SetOnlineReport(bool on, int round_limit);

bool OnlineReportOn();
int OnlineRoundLimit();

using OnlineReport = std::array<std::uint8_t, 47>;
/// Sends the report of one device while the report is on; `name` is cut at 32 bytes. Returns it, sent or not.
OnlineReport SendOnlineReport(const MacAddress& mac, std::string_view name);
/// Prints the report on standard error, in debug mode.
void PrintOnlineReport(const OnlineReport& report);

}  // namespace plug
