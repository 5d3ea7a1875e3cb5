#include "rules/surf_schedule.h"

#include <cstdio>
#include <span>

#include "core/log.h"
#include "core/mac.h"
#include "core/sdk_code.h"
#include "router/device_access.h"
#include "router/sdk_lock.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "eaccess.c";

void SwitchAccess(dev_cfg device, std::uint8_t access) {
    device.access = access;
    SetDeviceAccess(device);
    PLUG_LOG(kDebug, "set_dev_access_control for: %s to %d", TextOf(std::to_array(device.mac)).data(),
             access);
}

/// The device's windows of today, or null.
const RuleEntry* FindEntry(const CalendarTime& now, const MacText& mac)
    PLUG_CHECKED(requires_capability(SurfRuleMutex())) {
    return hash_table_lookup(MakeRuleKey(mac.data(), now.weekday).data());
}

/// The table is locked for the look only, never over a call of the SDK.
std::optional<std::uint8_t> LookUpAccess(const CalendarTime& now, const dev_cfg& device) {
    const Guard guard(SurfRuleMutex());
    return DueAccess(now, device);
}

/// Whether the device has windows today.
bool HasWindows(const CalendarTime& now, const dev_cfg& device) {
    const Guard guard(SurfRuleMutex());
    const RuleEntry* const entry = FindEntry(now, TextOf(std::to_array(device.mac)));
    return entry != nullptr && entry->windows != nullptr;
}

/// Switches as is due now. The last window may go while the library bars the device: who takes it out still
/// sees a device with access then, so that it is given back here.
void Apply(const CalendarTime& now, const dev_cfg& device) {
    const auto access = LookUpAccess(now, device);
    if (!access) return;
    SwitchAccess(device, *access);
    if (*access == 0 && !HasWindows(now, device)) SwitchAccess(device, 1);
}

}  // namespace

std::optional<std::uint8_t> DueAccess(const CalendarTime& now, const dev_cfg& device) {
    const MacText mac = TextOf(std::to_array(device.mac));
    const RuleEntry* const entry = FindEntry(now, mac);
    if (entry == nullptr) {
        PLUG_LOG(kDebug, "Can't find rule for : %s", mac.data());
        return std::nullopt;
    }
    PLUG_LOG(kDebug, "Found rule for : %s", mac.data());
    const int match = rule_node_match(entry->windows, now.hour, now.minute);
    if (match == 0 && device.access == 0) return 1;
    if (match == 1 && device.access == 1) return 0;
    return std::nullopt;
}

void surf_rule_func(const CalendarTime& now) {
    const LogAuthor author(__func__);
    std::array<dev_cfg, router_room_devices> devices{};
    const SubdevLock lock;
    if (lock.error() != 0) {
        PLUG_LOG(kErr, "SubdevMutex used");
        return;
    }
    int count = 0;
    if (SdkCode(get_devs_cfg(devices.data(), &count)) != 0 || count < 0 || count > router_room_devices) {
        PLUG_LOG(kErr, "get_devs_cfg failed");
        return;
    }
    PLUG_LOG(kDebug, "Sub dev num:[%d]", count);
    for (const dev_cfg& device : std::span(devices).first(static_cast<std::size_t>(count)))
        Apply(now, device);
}

}  // namespace plug
