// A library whose device records are not packed: the compiler's padding makes 36 bytes of their 34. What it
// lacks is the simulated router's.
#include <assert.h>
#include <string.h>

#include "router_sdk.h"

typedef struct unpacked_device {
    uint8_t mac[6];
    char name[16];
    uint8_t link, band, by_name, reserved1, access, reserved2;
    uint16_t rssi;
    uint32_t address;
} unpacked_device;
static_assert(sizeof(unpacked_device) == 36, "not padded");

static const unpacked_device kDevices[3] = {
    {{0, 0, 0x5E, 0, 0x53, 0xB1}, "desktop", 0, 0, 0, 0, 1, 0, 0, 0xC0A80114},
    {{0, 0, 0x5E, 0, 0x53, 0xB2}, "television", 0, 0, 0, 0, 1, 0, 0, 0xC0A80115},
    {{0, 0, 0x5E, 0, 0x53, 0xB3}, "laptop", 1, 2, 0, 0, 1, 0, 48, 0xC0A80116},
};

int get_devs_cfg(dev_cfg* devices, int* count) {
    memcpy(devices, kDevices, sizeof kDevices);
    *count = 3;
    return 0;
}

int get_dev_cfg(dev_cfg* device, const uint8_t mac[6]) {
    (void)mac;
    memcpy(device, &kDevices[0], sizeof kDevices[0]);
    return 0;
}
