// A library that returns 0 and garbage. What it lacks is the simulated router's.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <string.h>

#include "router_sdk.h"

int get_router_version(router_version* version) {
    memcpy(version, &(router_version){"1.0", {22, 12, 27, 20}}, sizeof *version);
    return 0;
}

int get_router_mac(uint8_t mac[6]) {
    memset(mac, 0, 6);
    return 0;
}

int get_router_vender(char vender[64]) {
    strcpy(vender, "Ex\x01mple");
    return 0;
}

int get_router_model(char model[64]) {
    memset(model, 'x', 64);
    return 0;
}

int get_cpu_use(uint16_t* percent) {
    *percent = 1200;
    return 0;
}

int get_mem_use(uint16_t* percent) {
    (void)percent;
    return 0;
}

int get_name(char name[32]) {
    name[0] = 'x';
    return 5;
}

// Whatever the index, the first WAN.
int get_wan_cfg(wan_cfg* wan, uint16_t index) {
    const wan_cfg first = {.index = 1, .mac = {0, 0, 0x5E, 0, 0x53, 2}};
    (void)index;
    *wan = first;
    return 0;
}

int get_wans_cfg(wan_cfg* wans, int* count) {
    for (*count = 0; *count < 2; ++*count) get_wan_cfg(&wans[*count], 0);
    return 0;
}

uint16_t get_lan_num(void) {
    return 17;
}

// Addresses in network order.
int get_lan_cfg(lan_cfg* lan) {
    const lan_cfg turned = {0x0101A8C0, 0x00FFFFFF, {0, 0, 0x5E, 0, 0x53, 1}};
    *lan = turned;
    return 0;
}

int get_wlans_cfg(uint8_t buffer[2000], int* wlan_count) {
    const uint16_t count = 17;
    memcpy(buffer, &count, sizeof count);
    *wlan_count = 1;
    return 0;
}

int get_adj_wifi_devs(adj_wifi* neighbours, int* count) {
    (void)neighbours;
    *count = 31;
    return 0;
}

int get_wps_switch(uint8_t* on) {
    *on = 7;
    return 0;
}

int get_dev_name(const uint8_t mac[6], char name[32]) {
    (void)mac;
    strcpy(name, "somebody");
    return 0;
}

int get_dev_black_list(uint8_t (*macs)[6], int* count) {
    memcpy(macs, (uint8_t[2][6]){{1, 0, 0x5E, 0, 0x53, 1}, {2}}, 9);
    *count = 2;
    return 0;
}

int set_wps_switch(uint8_t on) {
    (void)on;
    return 9;
}

int set_telnet_user(const char* text) {
    int (*const next)(const char*) = (int (*)(const char*))dlsym(RTLD_NEXT, "set_telnet_user");
    return strlen(text) > 0 ? next("nobody") : 1;
}
