// Who of the attached devices may use the internet.
#pragma once

#include <cstdint>

#include "router_sdk.h"

namespace plug {

/// Sets the access of the device as its record says; in Run Mode it is ruled by name. The SDK's result.
std::uint16_t SetDeviceAccess(dev_cfg device);

}  // namespace plug
