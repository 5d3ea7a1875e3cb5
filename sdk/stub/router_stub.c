// The least that lets the agent log in: a template for a router's library. Replace function by function what
// answers kNotYet; plug-sdk-check tells what is left.
#include <string.h>

#include "router_sdk.h"

enum { kNotYet = 1 };

// The router's identity: what the agent registers with.

int get_router_mac(uint8_t mac[6]) {
    static const uint8_t kMac[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0x01};
    memcpy(mac, kMac, sizeof kMac);
    return 0;
}

int get_router_sn(char sn[64]) {
    strcpy(sn, "HR2100-22-0004711");
    return 0;
}

// These return a value and cannot fail.

uint16_t get_wan_num(void) { return 0; }
uint16_t get_lan_num(void) { return 0; }
uint16_t get_dev_speed(const uint8_t mac[6], int which) { return 0; }

// To be written.

int get_router_version(router_version* version) { return kNotYet; }
int get_router_vender(char vender[64]) { return kNotYet; }
int get_router_model(char model[64]) { return kNotYet; }
int get_router_pin(char pin[12]) { return kNotYet; }
int get_router_is_plug(uint8_t* is_plug) { return kNotYet; }
int get_router_support_ipv6(uint8_t* support_ipv6) { return kNotYet; }
int get_cpu_cfg(cpu_cfg* cpu) { return kNotYet; }
int get_mem_cfg(mem_cfg* memory) { return kNotYet; }
int get_cpu_use(uint16_t* percent) { return kNotYet; }
int get_mem_use(uint16_t* percent) { return kNotYet; }
int get_name(char name[32]) { return kNotYet; }
int set_name(const char* name) { return kNotYet; }
int get_duration_time(uint64_t* seconds) { return kNotYet; }
int get_wan_cfg(wan_cfg* wan, uint16_t index) { return kNotYet; }
int get_wans_cfg(wan_cfg* wans, int* count) { return kNotYet; }
int get_wan_tcp_con_num(uint16_t index, uint32_t* connections) { return kNotYet; }
int get_wan_udp_con_num(uint16_t index, uint32_t* connections) { return kNotYet; }
int get_wan_receive_bytes(uint16_t index, uint64_t* bytes) { return kNotYet; }
int get_wan_con_status(uint16_t wan, uint8_t* connected) { return kNotYet; }
int get_dns(uint32_t* first, uint32_t* second) { return kNotYet; }
int set_dns(uint32_t first, uint32_t second) { return kNotYet; }
int get_flows_up_rate(uint64_t* rate) { return kNotYet; }
int get_flows_down_rate(uint64_t* rate) { return kNotYet; }
int get_lan_cfg(lan_cfg* lan) { return kNotYet; }
int get_lan_con_status(uint16_t port, uint8_t* connected) { return kNotYet; }
int get_lan_port_up_flow(uint16_t port, uint64_t* bytes) { return kNotYet; }
int get_lan_port_down_flow(uint16_t port, uint64_t* bytes) { return kNotYet; }
int get_wlans_cfg(uint8_t buffer[2000], int* wlan_count) { return kNotYet; }
int get_ssid_switch(uint16_t index, uint8_t* on) { return kNotYet; }
int set_ssid_switch(uint16_t index, uint8_t on) { return kNotYet; }
int get_ssid_cfg(ssid_cfg* ssid, uint16_t index) { return kNotYet; }
int set_ssid_cfg(const ssid_cfg* ssid) { return kNotYet; }
int get_wifi_module_status(uint16_t module, uint8_t* status) { return kNotYet; }
int get_adj_wifi_devs(adj_wifi* neighbours, int* count) { return kNotYet; }
int get_wifi_radio_switch(uint8_t* on) { return kNotYet; }
int set_wifi_radio_switch(uint8_t on) { return kNotYet; }
int get_led_switch(uint8_t* on) { return kNotYet; }
int set_led_switch(uint8_t on) { return kNotYet; }
int get_wps_switch(uint8_t* on) { return kNotYet; }
int set_wps_switch(uint8_t on) { return kNotYet; }
int get_ftp_switch(uint8_t* on) { return kNotYet; }
int set_ftp_switch(uint8_t on) { return kNotYet; }
int get_sambaenable_switch(uint8_t* on) { return kNotYet; }
int set_sambaenable_switch(uint8_t on) { return kNotYet; }
int get_telnetenable_switch(uint8_t* on) { return kNotYet; }
int set_telnetenable_switch(uint8_t on) { return kNotYet; }
int get_ftp_user(char text[16]) { return kNotYet; }
int set_ftp_user(const char* text) { return kNotYet; }
int get_ftp_password(char text[16]) { return kNotYet; }
int set_ftp_password(const char* text) { return kNotYet; }
int get_samba_user(char text[16]) { return kNotYet; }
int set_samba_user(const char* text) { return kNotYet; }
int get_samba_password(char text[16]) { return kNotYet; }
int set_samba_password(const char* text) { return kNotYet; }
int get_telnet_user(char text[16]) { return kNotYet; }
int set_telnet_user(const char* text) { return kNotYet; }
int get_telnet_password(char text[16]) { return kNotYet; }
int set_telnet_password(const char* text) { return kNotYet; }
int get_devs_cfg(dev_cfg* devices, int* count) { return kNotYet; }
int get_dev_cfg(dev_cfg* device, const uint8_t mac[6]) { return kNotYet; }
int get_dev_name(const uint8_t mac[6], char name[32]) { return kNotYet; }
int set_dev_name(const uint8_t mac[6], const char* name) { return kNotYet; }
int get_dev_us_bw(const uint8_t mac[6], uint64_t* bandwidth) { return kNotYet; }
int get_dev_ds_bw(const uint8_t mac[6], uint64_t* bandwidth) { return kNotYet; }
int get_dev_us_max_bw(const uint8_t mac[6], uint64_t* limit) { return kNotYet; }
int get_dev_ds_max_bw(const uint8_t mac[6], uint64_t* limit) { return kNotYet; }
int set_dev_us_max_bw(const uint8_t mac[6], uint64_t limit) { return kNotYet; }
int set_dev_ds_max_bw(const uint8_t mac[6], uint64_t limit) { return kNotYet; }
int get_dev_black_list(uint8_t (*macs)[6], int* count) { return kNotYet; }
int set_dev_access_control(const dev_cfg* device) { return kNotYet; }
int set_full_load_enable(uint16_t index, uint8_t on) { return kNotYet; }
int sync_time(void) { return kNotYet; }
int restart(void) { return kNotYet; }
int set_redirection(void) { return kNotYet; }
int update_rom_version(void) { return kNotYet; }
int set_http_test_url(void) { return kNotYet; }
