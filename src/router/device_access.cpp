#include "router/device_access.h"

#include "core/sdk_code.h"
#include "platform/settings.h"

namespace plug {

std::uint16_t SetDeviceAccess(dev_cfg device) {
    if (PlatformSettings().run_mode) device.by_name = 1;
    return SdkCode(set_dev_access_control(&device));
}

}  // namespace plug
