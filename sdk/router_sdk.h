// The router's SDK, libRouterSdk.so: its binary interface, for C (C11) and C++.
//
// The library is closed and comes with the router; the loader finds it by its soname. This header declares
// what the agent uses of it. Conventions that hold for every function:
//
//  - Result: 0 is success, anything else an error code of which the low 16 bits count. The few functions that
//    return uint16_t return a value and cannot fail.
//  - Outputs are left as they were when a call fails; clear them before the call.
//  - Lists: the caller gives the room named in router_room, the call stores the number of entries through
//    `count`. A count is never to be trusted past the room: check it before reading the entries.
//  - Records are packed; integers are in host order (little-endian). An IPv4 address is a host-order integer:
//    192.168.1.20 is 0xC0A80114.
//  - Texts are NUL-terminated within the size of their field. Only the PIN may fill all 12 bytes.
//  - Switches and states are one byte: 0 is off, 1 is on.
//  - Indexes, LAN ports, WANs and Wi-Fi modules are counted from 1.
//  - Units: counters in bytes, up-time in seconds; others are named with the field or function.
//
// Threads: calls come from several threads. Lists of devices, their names and bandwidths are read under one
// lock; other calls, also about devices, may come at the same time.
#pragma once

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

// What a caller must have ready for a list call, in entries (the buffer of get_wlans_cfg: in bytes).
enum router_room {
    router_room_wans = 4,
    router_room_neighbours = 30,
    router_room_devices = 128,
    router_room_black_list = 100,
    router_room_wlans_bytes = 2000,
};

#pragma pack(push, 1)

typedef struct router_version {
    char version[60];
    uint8_t date[4];  // 20, 22, 12, 27 is 2022-12-27
} router_version;

typedef struct cpu_cfg {
    char model[32];
    uint8_t cores;
    uint16_t clock;  // MHz
} cpu_cfg;

typedef struct mem_cfg {
    char kind[24];
    uint32_t size;  // KiB
} mem_cfg;

typedef struct wan_cfg {
    uint16_t index;
    uint8_t mode;
    uint16_t vlan;
    uint16_t service;
    uint8_t mac[6];
    char name[32];
    char user[64];
    char password[64];
    char ipv6[32];
    uint32_t address;  // IPv4, as the four below
    uint32_t netmask;
    uint32_t gateway;
    uint32_t dns1;
    uint32_t dns2;
    uint16_t mtu;
    uint8_t state;
} wan_cfg;

typedef struct lan_cfg {
    uint32_t address;  // IPv4
    uint32_t netmask;  // IPv4
    uint8_t mac[6];
} lan_cfg;

typedef struct ssid_cfg {
    uint16_t index;
    uint8_t enabled;
    uint8_t band;
    uint16_t channel;
    uint8_t hidden;
    uint8_t security;
    uint8_t bssid[6];
    uint16_t max_stations;
    char ssid[33];
    char password[65];
    uint16_t width;  // MHz
    uint32_t rate;   // kbit/s
} ssid_cfg;

typedef struct dev_cfg {
    uint8_t mac[6];
    char name[16];
    uint8_t link;
    uint8_t band;
    uint8_t by_name;  // set when access is ruled by name
    uint8_t reserved1;
    uint8_t access;  // 1 unrestricted, 0 restricted
    uint8_t reserved2;
    uint16_t rssi;
    uint32_t address;  // IPv4
} dev_cfg;

typedef struct adj_wifi {
    char ssid[64];
    uint32_t channel;
    uint8_t bssid[6];
} adj_wifi;

#pragma pack(pop)

static_assert(sizeof(router_version) == 64 && offsetof(router_version, date) == 60, "packed");
static_assert(sizeof(cpu_cfg) == 35 && offsetof(cpu_cfg, clock) == 33, "packed");
static_assert(sizeof(mem_cfg) == 28 && offsetof(mem_cfg, size) == 24, "packed");
static_assert(sizeof(wan_cfg) == 228 && offsetof(wan_cfg, name) == 13 && offsetof(wan_cfg, ipv6) == 173,
              "packed");
static_assert(offsetof(wan_cfg, address) == 205 && offsetof(wan_cfg, mtu) == 225, "packed");
static_assert(sizeof(lan_cfg) == 14 && offsetof(lan_cfg, mac) == 8, "packed");
static_assert(sizeof(ssid_cfg) == 120 && offsetof(ssid_cfg, bssid) == 8 && offsetof(ssid_cfg, ssid) == 16,
              "packed");
static_assert(offsetof(ssid_cfg, width) == 114 && offsetof(ssid_cfg, rate) == 116, "packed");
static_assert(sizeof(dev_cfg) == 34 && offsetof(dev_cfg, by_name) == 24 && offsetof(dev_cfg, access) == 26,
              "packed");
static_assert(offsetof(dev_cfg, rssi) == 28 && offsetof(dev_cfg, address) == 30, "packed");
static_assert(sizeof(adj_wifi) == 74 && offsetof(adj_wifi, channel) == 64 && offsetof(adj_wifi, bssid) == 68,
              "packed");

#ifdef __cplusplus
extern "C" {
#endif

// The router itself.
int get_router_version(router_version* version);
int get_router_mac(uint8_t mac[6]);
int get_router_sn(char sn[64]);
int get_router_vender(char vender[64]);
int get_router_model(char model[64]);
int get_router_pin(char pin[12]);  // no NUL when the PIN is 12 long
int get_router_is_plug(uint8_t* is_plug);
int get_router_support_ipv6(uint8_t* support_ipv6);
int get_cpu_cfg(cpu_cfg* cpu);
int get_mem_cfg(mem_cfg* memory);
int get_cpu_use(uint16_t* percent);
int get_mem_use(uint16_t* percent);
int get_name(char name[32]);
int set_name(const char* name);
int get_duration_time(uint64_t* seconds);

// WAN.
uint16_t get_wan_num(void);
int get_wan_cfg(wan_cfg* wan, uint16_t index);
int get_wans_cfg(wan_cfg* wans, int* count);  // room for 4
int get_wan_tcp_con_num(uint16_t index, uint32_t* connections);
int get_wan_udp_con_num(uint16_t index, uint32_t* connections);
int get_wan_receive_bytes(uint16_t index, uint64_t* bytes);
int get_wan_con_status(uint16_t wan, uint8_t* connected);
int get_dns(uint32_t* first, uint32_t* second);
int set_dns(uint32_t first, uint32_t second);
int get_flows_up_rate(uint64_t* rate);    // bytes per second
int get_flows_down_rate(uint64_t* rate);  // bytes per second

// LAN.
uint16_t get_lan_num(void);
int get_lan_cfg(lan_cfg* lan);
int get_lan_con_status(uint16_t port, uint8_t* connected);
int get_lan_port_up_flow(uint16_t port, uint64_t* bytes);
int get_lan_port_down_flow(uint16_t port, uint64_t* bytes);

// Wi-Fi. The buffer of get_wlans_cfg takes, per WLAN, a u16 SSID count and that many ssid_cfg, one after
// another.
int get_wlans_cfg(uint8_t buffer[2000], int* wlan_count);
int get_ssid_switch(uint16_t index, uint8_t* on);
int set_ssid_switch(uint16_t index, uint8_t on);
int get_ssid_cfg(ssid_cfg* ssid, uint16_t index);
int set_ssid_cfg(const ssid_cfg* ssid);                        // the SSID with the record's index
int get_wifi_module_status(uint16_t module, uint8_t* status);  // modules 1 to 4
int get_adj_wifi_devs(adj_wifi* neighbours, int* count);       // room for 30

// Switches.
int get_wifi_radio_switch(uint8_t* on);
int set_wifi_radio_switch(uint8_t on);
int get_led_switch(uint8_t* on);
int set_led_switch(uint8_t on);
int get_wps_switch(uint8_t* on);
int set_wps_switch(uint8_t on);
int get_ftp_switch(uint8_t* on);
int set_ftp_switch(uint8_t on);
int get_sambaenable_switch(uint8_t* on);
int set_sambaenable_switch(uint8_t on);
int get_telnetenable_switch(uint8_t* on);
int set_telnetenable_switch(uint8_t on);

// Accounts of the router's services.
int get_ftp_user(char text[16]);
int set_ftp_user(const char* text);
int get_ftp_password(char text[16]);
int set_ftp_password(const char* text);
int get_samba_user(char text[16]);
int set_samba_user(const char* text);
int get_samba_password(char text[16]);
int set_samba_password(const char* text);
int get_telnet_user(char text[16]);
int set_telnet_user(const char* text);
int get_telnet_password(char text[16]);
int set_telnet_password(const char* text);

// Attached devices, known by their MAC.
int get_devs_cfg(dev_cfg* devices, int* count);  // room for 128
int get_dev_cfg(dev_cfg* device, const uint8_t mac[6]);
int get_dev_name(const uint8_t mac[6], char name[32]);
int set_dev_name(const uint8_t mac[6], const char* name);
int get_dev_us_bw(const uint8_t mac[6], uint64_t* bandwidth);
int get_dev_ds_bw(const uint8_t mac[6], uint64_t* bandwidth);
int get_dev_us_max_bw(const uint8_t mac[6], uint64_t* limit);
int get_dev_ds_max_bw(const uint8_t mac[6], uint64_t* limit);
// A limit of 0 is none; a signed 32-bit one is widened with its sign.
int set_dev_us_max_bw(const uint8_t mac[6], uint64_t limit);
int set_dev_ds_max_bw(const uint8_t mac[6], uint64_t limit);
uint16_t get_dev_speed(const uint8_t mac[6], int which);  // which 0, 1, 2; Mbps
int get_dev_black_list(uint8_t (*macs)[6], int* count);   // room for 100
int set_dev_access_control(const dev_cfg* device);

// Actions.
int set_full_load_enable(uint16_t index, uint8_t on);
int sync_time(void);
int restart(void);
int set_redirection(void);
int update_rom_version(void);
int set_http_test_url(void);

#ifdef __cplusplus
}  // extern "C"
#endif
