// Commands about the devices behind the router.
#include "commands/handlers.h"
#include "core/log.h"
#include "core/text.h"
#include "router/device_access.h"
#include "router/sdk_records.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

using DeviceValueGetter = int (*)(const std::uint8_t* mac, std::uint64_t* value);

/// Two 64-bit values of the device, up then down. A failed query leaves its value 0; the second result
/// counts.
void TwoDeviceValues(DeviceValueGetter get_up, DeviceValueGetter get_down, const MacAddress& mac,
                     Answer& answer) {
    std::uint64_t up = 0;
    std::uint64_t down = 0;
    get_up(mac.data(), &up);
    answer.result = SdkCode(get_down(mac.data(), &down));
    answer.payload.U64(up);
    answer.payload.U64(down);
}

}  // namespace

void SetAccess(ByteReader& parameters, Answer& answer) {
    answer.result = SetDeviceAccess(TakeRecord<dev_cfg>(parameters));
}

void DeviceBandwidth(ByteReader& parameters, Answer& answer) {
    TwoDeviceValues(get_dev_us_bw, get_dev_ds_bw, parameters.Array<6>(), answer);
}

void GetDeviceLimits(ByteReader& parameters, Answer& answer) {
    TwoDeviceValues(get_dev_us_max_bw, get_dev_ds_max_bw, parameters.Array<6>(), answer);
}

void SetDeviceLimits(ByteReader& parameters, Answer& answer) {
    const MacAddress mac = parameters.Array<6>();
    const std::uint64_t up = parameters.U64();
    const std::uint64_t down = parameters.U64();
    set_dev_us_max_bw(mac.data(), up);
    answer.result = SdkCode(set_dev_ds_max_bw(mac.data(), down));
}

void GetDeviceName(ByteReader& parameters, Answer& answer) {
    const MacAddress mac = parameters.Array<6>();
    char name[32] = {};
    answer.result = SdkCode(get_dev_name(mac.data(), name));
    if (answer.result == kDone) answer.payload.Copy(AsBytes({name, sizeof name}));
}

void SetDeviceName(ByteReader& parameters, Answer& answer) {
    const MacAddress mac = parameters.Array<6>();
    answer.result = SdkCode(set_dev_name(mac.data(), TextParameter(parameters)));
}

void GetDevice(ByteReader& parameters, Answer& answer) {
    const MacAddress mac = parameters.Array<6>();
    dev_cfg device{};
    answer.result = SdkCode(get_dev_cfg(&device, mac.data()));
    if (answer.result == kDone) PutRecord(answer.payload, device);
}

void DeviceSpeeds(ByteReader& parameters, Answer& answer) {
    const MacAddress mac = parameters.Array<6>();
    for (int which = 0; which < 3; ++which) {
        const std::uint16_t speed = get_dev_speed(mac.data(), which);
        if (which == 0) PLUG_LOG(kDebug, "speed1=%d Mbps", speed);
        answer.payload.U16(speed);
    }
}

}  // namespace plug
