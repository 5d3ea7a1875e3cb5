// Who this router is: the MAC that every report carries and the serial number that it registers with.
//
// Learned from the SDK at the first registration, on the main thread, before any thread that reports has
// something to say; unchanged from then on.
#pragma once

#include <string_view>

#include "core/text.h"

namespace plug {

/// Takes the MAC of the command line (all zero: none) and forgets the serial number. Before any thread
/// starts.
void SetRouterIdentity(const MacAddress& mac);

/// Asks the SDK for what is not known yet. A router without a serial number ends the process: no retry can
/// mend it.
void LearnRouterIdentity();

const MacAddress& RouterMac();
std::string_view RouterSerial();

}  // namespace plug
