// The SDK's functions about the router itself: identity, switches, accounts and actions.
#include <router_sdk.h>

#include <ctime>

#include "shapes.h"

using namespace simulator;

namespace {

// An action that shows in the call log only.
int Act(const char* function) {
    return Get(function, {}, [](const cJSON*) { return kOk; });
}

}  // namespace

// --- The router itself ---

int get_router_version(router_version* version) {
    return GetRecord(__func__, "router", version);
}

int get_router_mac(std::uint8_t mac[6]) {
    return GetValue(__func__, "router", {"mac", 0, 6, Kind::kMac}, mac);
}

int get_router_sn(char sn[64]) {
    return GetText(__func__, "router", "serial_number", sn, 64);
}

int get_router_vender(char vender[64]) {
    return GetText(__func__, "router", "vendor", vender, 64);
}

int get_router_model(char model[64]) {
    return GetText(__func__, "router", "model", model, 64);
}

int get_router_pin(char pin[12]) {
    return GetValue(__func__, "router", {"pin", 0, 12, Kind::kFullText}, pin);
}

int get_router_is_plug(std::uint8_t* is_plug) {
    return GetFlag(__func__, "router", "is_plug", is_plug);
}

int get_router_support_ipv6(std::uint8_t* support_ipv6) {
    return GetFlag(__func__, "router", "support_ipv6", support_ipv6);
}

int get_cpu_cfg(cpu_cfg* cpu) {
    return GetRecord(__func__, "cpu", cpu);
}

int get_mem_cfg(mem_cfg* memory) {
    return GetRecord(__func__, "memory", memory);
}

int get_cpu_use(std::uint16_t* percent) {
    return GetNumber(__func__, "cpu", "use_percent", percent);
}

int get_mem_use(std::uint16_t* percent) {
    return GetNumber(__func__, "memory", "use_percent", percent);
}

int get_name(char name[32]) {
    return GetText(__func__, "router", "name", name, 32);
}

int set_name(const char* name) {
    return SetText(__func__, "router", "name", name, 32);
}

int get_duration_time(std::uint64_t* seconds) {
    return Get(__func__, {}, [&](const cJSON* home) { return LoadUpTime(home, seconds); });
}

// --- Switches ---

int get_wifi_radio_switch(std::uint8_t* on) {
    return GetFlag(__func__, "switches", "wifi_radio", on);
}
int set_wifi_radio_switch(std::uint8_t on) {
    return SetFlag(__func__, "switches", "wifi_radio", on);
}
int get_led_switch(std::uint8_t* on) {
    return GetFlag(__func__, "switches", "led", on);
}
int set_led_switch(std::uint8_t on) {
    return SetFlag(__func__, "switches", "led", on);
}
int get_wps_switch(std::uint8_t* on) {
    return GetFlag(__func__, "switches", "wps", on);
}
int set_wps_switch(std::uint8_t on) {
    return SetFlag(__func__, "switches", "wps", on);
}
int get_ftp_switch(std::uint8_t* on) {
    return GetFlag(__func__, "switches", "ftp", on);
}
int set_ftp_switch(std::uint8_t on) {
    return SetFlag(__func__, "switches", "ftp", on);
}
int get_sambaenable_switch(std::uint8_t* on) {
    return GetFlag(__func__, "switches", "samba", on);
}
int set_sambaenable_switch(std::uint8_t on) {
    return SetFlag(__func__, "switches", "samba", on);
}
int get_telnetenable_switch(std::uint8_t* on) {
    return GetFlag(__func__, "switches", "telnet", on);
}
int set_telnetenable_switch(std::uint8_t on) {
    return SetFlag(__func__, "switches", "telnet", on);
}

// --- Accounts ---

int get_ftp_user(char text[16]) {
    return GetText(__func__, "accounts", "ftp_user", text, 16);
}
int set_ftp_user(const char* text) {
    return SetText(__func__, "accounts", "ftp_user", text, 16);
}
int get_ftp_password(char text[16]) {
    return GetText(__func__, "accounts", "ftp_password", text, 16);
}
int set_ftp_password(const char* text) {
    return SetText(__func__, "accounts", "ftp_password", text, 16);
}
int get_samba_user(char text[16]) {
    return GetText(__func__, "accounts", "samba_user", text, 16);
}
int set_samba_user(const char* text) {
    return SetText(__func__, "accounts", "samba_user", text, 16);
}
int get_samba_password(char text[16]) {
    return GetText(__func__, "accounts", "samba_password", text, 16);
}
int set_samba_password(const char* text) {
    return SetText(__func__, "accounts", "samba_password", text, 16);
}
int get_telnet_user(char text[16]) {
    return GetText(__func__, "accounts", "telnet_user", text, 16);
}
int set_telnet_user(const char* text) {
    return SetText(__func__, "accounts", "telnet_user", text, 16);
}
int get_telnet_password(char text[16]) {
    return GetText(__func__, "accounts", "telnet_password", text, 16);
}
int set_telnet_password(const char* text) {
    return SetText(__func__, "accounts", "telnet_password", text, 16);
}

// --- Actions ---

int set_full_load_enable(std::uint16_t index, std::uint8_t on) {
    return Set(__func__, {index, on}, [&](cJSON* home) {
        const int result = StoreNumber(Section(home, "full_load"), "index", index);
        return result == kOk ? StoreFlag(Section(home, "full_load"), "enabled", on) : result;
    });
}

int restart() {
    return Set(__func__, {}, [](cJSON* home) {
        return StoreNumber(Section(home, "router"), "started",
                           static_cast<std::uint64_t>(std::time(nullptr)));
    });
}

int sync_time() {
    return Act(__func__);
}

int set_redirection() {
    return Act(__func__);
}

int update_rom_version() {
    return Act(__func__);
}

int set_http_test_url() {
    return Act(__func__);
}
