// The SDK's functions about attached devices.
#include <router_sdk.h>

#include <array>

#include "shapes.h"

using namespace simulator;

namespace {

int GetBandwidth(const char* function, const std::uint8_t* mac, const char* key, std::uint64_t* value) {
    return Get(function, {Mac{mac}},
               [&](const cJSON* home) { return LoadNumber(FindDevice(home, mac), key, value); });
}

int SetLimit(const char* function, const std::uint8_t* mac, const char* key, std::uint64_t limit) {
    return Set(function, {Mac{mac}, limit},
               [&](cJSON* home) { return StoreNumber(FindDevice(home, mac), key, limit); });
}

}  // namespace

int get_devs_cfg(dev_cfg* devices, int* count) {
    return GetList<router_room_devices>(__func__, "devices", devices, count, LoadRecord<dev_cfg>);
}

int get_dev_cfg(dev_cfg* device, const std::uint8_t mac[6]) {
    return Get(__func__, {Mac{mac}},
               [&](const cJSON* home) { return LoadRecordFrom(FindDevice(home, mac), device); });
}

int get_dev_name(const std::uint8_t mac[6], char name[32]) {
    return Get(__func__, {Mac{mac}}, [&](const cJSON* home) {
        return LoadFrom(FindDevice(home, mac), {"name", 0, 32, Kind::kText}, name);
    });
}

int set_dev_name(const std::uint8_t mac[6], const char* name) {
    return Set(__func__, {Mac{mac}, name},
               [&](cJSON* home) { return StoreText(FindDevice(home, mac), "name", name, 32); });
}

int get_dev_us_bw(const std::uint8_t mac[6], std::uint64_t* bandwidth) {
    return GetBandwidth(__func__, mac, "up_bandwidth", bandwidth);
}

int get_dev_ds_bw(const std::uint8_t mac[6], std::uint64_t* bandwidth) {
    return GetBandwidth(__func__, mac, "down_bandwidth", bandwidth);
}

int get_dev_us_max_bw(const std::uint8_t mac[6], std::uint64_t* limit) {
    return GetBandwidth(__func__, mac, "up_limit", limit);
}

int get_dev_ds_max_bw(const std::uint8_t mac[6], std::uint64_t* limit) {
    return GetBandwidth(__func__, mac, "down_limit", limit);
}

int set_dev_us_max_bw(const std::uint8_t mac[6], std::uint64_t limit) {
    return SetLimit(__func__, mac, "up_limit", limit);
}

int set_dev_ds_max_bw(const std::uint8_t mac[6], std::uint64_t limit) {
    return SetLimit(__func__, mac, "down_limit", limit);
}

std::uint16_t get_dev_speed(const std::uint8_t mac[6], int which) {
    return Value(__func__, {Mac{mac}, which}, [&](const cJSON* home) {
        std::uint16_t speed = 0;
        const cJSON* speeds = Member(FindDevice(home, mac), "speeds");
        LoadValue(cJSON_GetArrayItem(speeds, which), {"speeds", 0, sizeof speed, Kind::kNumber}, &speed);
        return speed;
    });
}

int get_dev_black_list(std::uint8_t (*macs)[6], int* count) {
    using MacBytes = std::array<std::uint8_t, 6>;
    return GetList<router_room_black_list>(
        __func__, "black_list", reinterpret_cast<MacBytes*>(macs), count,
        [](const cJSON* item, MacBytes* mac) {
            return LoadValue(item, {"black_list", 0, 6, Kind::kMac}, mac->data());
        });
}

int set_dev_access_control(const dev_cfg* device) {
    return Set(__func__, {*device}, [&](cJSON* home) {
        cJSON* found = FindDevice(home, device->mac);
        const int result = StoreFlag(found, "access", device->access);
        return result == kOk ? StoreFlag(found, "by_name", device->by_name) : result;
    });
}
