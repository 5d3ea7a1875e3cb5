// The home that a new state file describes.
#include "default_home.h"

namespace simulator {

const char kDefaultHome[] = R"json({
"router": {
    "name": "Home", "mac": "00:00:5E:00:53:01", "serial_number": "HR2100-22-0004711", "vendor": "Example Networks",
    "model": "HR-2100", "pin": "31415926", "version": "2.4.18", "date": "2022-12-27",
    "is_plug": true, "support_ipv6": true, "started": 0
},
"cpu": {"model": "Cortex-A53", "cores": 4, "clock_mhz": 1350, "use_percent": 12},
"memory": {"kind": "DDR3", "size_kib": 524288, "use_percent": 41},
"wans": [
    {"index": 1, "name": "Internet", "mode": 2, "vlan": 100, "service": 1, "mac": "00:00:5E:00:53:02",
     "user": "home@example.net", "password": "s3cret", "ipv6": "2001:db8::24",
     "address": "203.0.113.24", "netmask": "255.255.255.0", "gateway": "203.0.113.1",
     "dns1": "192.0.2.53", "dns2": "198.51.100.53", "mtu": 1492, "connected": true,
     "tcp_connections": 143, "udp_connections": 58, "received": {"bytes": 734003200, "rate": 412000}},
    {"index": 2, "name": "Television", "mode": 1, "vlan": 200, "service": 2, "mac": "00:00:5E:00:53:03",
     "user": "", "password": "", "ipv6": "",
     "address": "198.51.100.77", "netmask": "255.255.255.0", "gateway": "198.51.100.1",
     "dns1": "192.0.2.53", "dns2": "0.0.0.0", "mtu": 1500, "connected": true,
     "tcp_connections": 0, "udp_connections": 4, "received": {"bytes": 52428800, "rate": 96000}}
],
"lan": {"address": "192.168.1.1", "netmask": "255.255.255.0", "mac": "00:00:5E:00:53:01"},
"lan_ports": [
    {"connected": true, "up": {"bytes": 31457280, "rate": 21000}, "down": {"bytes": 419430400, "rate": 250000}},
    {"connected": true, "up": {"bytes": 1048576, "rate": 900}, "down": {"bytes": 52428800, "rate": 96000}},
    {"connected": false, "up": {"bytes": 0, "rate": 0}, "down": {"bytes": 0, "rate": 0}},
    {"connected": false, "up": {"bytes": 0, "rate": 0}, "down": {"bytes": 0, "rate": 0}}
],
"radios": [
    {"name": "2.4 GHz", "ssids": [
        {"index": 1, "ssid": "Home", "password": "correct horse", "enabled": true, "hidden": false, "security": 4,
         "band": 1, "channel": 6, "width_mhz": 20, "rate_kbit": 300000, "max_stations": 32,
         "bssid": "00:00:5E:00:53:10"},
        {"index": 2, "ssid": "Home guests", "password": "welcome in", "enabled": true, "hidden": false, "security": 4,
         "band": 1, "channel": 6, "width_mhz": 20, "rate_kbit": 300000, "max_stations": 8,
         "bssid": "00:00:5E:00:53:11"},
        {"index": 3, "ssid": "Home things", "password": "0123456789", "enabled": false, "hidden": true, "security": 3,
         "band": 1, "channel": 6, "width_mhz": 20, "rate_kbit": 300000, "max_stations": 16,
         "bssid": "00:00:5E:00:53:12"}
    ]},
    {"name": "5 GHz", "ssids": [
        {"index": 4, "ssid": "Home 5G", "password": "correct horse", "enabled": true, "hidden": false, "security": 4,
         "band": 2, "channel": 44, "width_mhz": 80, "rate_kbit": 866700, "max_stations": 32,
         "bssid": "00:00:5E:00:53:20"},
        {"index": 5, "ssid": "Home guests 5G", "password": "welcome in", "enabled": false, "hidden": false,
         "security": 4, "band": 2, "channel": 44, "width_mhz": 80, "rate_kbit": 866700, "max_stations": 8,
         "bssid": "00:00:5E:00:53:21"}
    ]}
],
"wifi_modules": [true, true, false, false],
"switches": {"wifi_radio": true, "led": true, "wps": false, "ftp": false, "samba": true, "telnet": false},
"accounts": {
    "ftp_user": "ftp", "ftp_password": "ftp-pass", "samba_user": "family", "samba_password": "photos",
    "telnet_user": "admin", "telnet_password": "admin-pass"
},
"neighbours": [
    {"ssid": "Next door", "channel": 1, "bssid": "00:00:5E:00:53:A1"},
    {"ssid": "Cafe downstairs", "channel": 11, "bssid": "00:00:5E:00:53:A2"},
    {"ssid": "Next door 5G", "channel": 36, "bssid": "00:00:5E:00:53:A3"}
],
"devices": [
    {"online": true, "name": "desktop", "mac": "00:00:5E:00:53:B1", "address": "192.168.1.20", "link": 0, "band": 0,
     "rssi": 0, "access": true, "by_name": false, "up_bandwidth": 21000, "down_bandwidth": 250000,
     "up_limit": 0, "down_limit": 0, "speeds": [1000, 1000, 1000]},
    {"online": true, "name": "television", "mac": "00:00:5E:00:53:B2", "address": "192.168.1.21", "link": 0, "band": 0,
     "rssi": 0, "access": true, "by_name": false, "up_bandwidth": 900, "down_bandwidth": 96000,
     "up_limit": 0, "down_limit": 0, "speeds": [100, 100, 100]},
    {"online": true, "name": "laptop", "mac": "00:00:5E:00:53:B3", "address": "192.168.1.22", "link": 1, "band": 2,
     "rssi": 48, "access": true, "by_name": false, "up_bandwidth": 5200, "down_bandwidth": 61000,
     "up_limit": 0, "down_limit": 0, "speeds": [866, 780, 866]},
    {"online": true, "name": "phone", "mac": "00:00:5E:00:53:B4", "address": "192.168.1.23", "link": 1, "band": 2,
     "rssi": 55, "access": true, "by_name": false, "up_bandwidth": 300, "down_bandwidth": 4100,
     "up_limit": 0, "down_limit": 2048, "speeds": [433, 390, 433]},
    {"online": true, "name": "thermostat", "mac": "00:00:5E:00:53:B5", "address": "192.168.1.24", "link": 1, "band": 1,
     "rssi": 67, "access": true, "by_name": false, "up_bandwidth": 20, "down_bandwidth": 35,
     "up_limit": 0, "down_limit": 0, "speeds": [72, 65, 72]},
    {"online": false, "name": "tablet of the youngest", "mac": "00:00:5E:00:53:B6", "address": "192.168.1.25",
     "link": 1, "band": 1, "rssi": 71, "access": false, "by_name": true, "up_bandwidth": 0, "down_bandwidth": 0,
     "up_limit": 512, "down_limit": 1024, "speeds": [72, 58, 72]}
],
"black_list": ["00:00:5E:00:53:B6", "00:00:5E:00:53:C0"],
"dns": ["192.0.2.53", "198.51.100.53"],
"flows": {"up_rate": 38000, "down_rate": 508000},
"full_load": {"index": 0, "enabled": false},
"faults": {},
"delays": {},
"counts": {},
"call_log": ""
})json";

}  // namespace simulator
