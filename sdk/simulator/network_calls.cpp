// The SDK's functions about WAN, LAN and Wi-Fi.
#include <router_sdk.h>

#include <array>
#include <cstring>

#include "shapes.h"

using namespace simulator;

// --- WAN ---

std::uint16_t get_wan_num() {
    return CountValue(__func__, "wans");
}

int get_wan_cfg(wan_cfg* wan, std::uint16_t index) {
    return Get(__func__, {index},
               [&](const cJSON* home) { return LoadRecordFrom(FindWan(home, index), wan); });
}

int get_wans_cfg(wan_cfg* wans, int* count) {
    return GetList<router_room_wans>(__func__, "wans", wans, count, LoadRecord<wan_cfg>);
}

int get_wan_tcp_con_num(std::uint16_t index, std::uint32_t* connections) {
    return Get(__func__, {index}, [&](const cJSON* home) {
        return LoadNumber(FindWan(home, index), "tcp_connections", connections);
    });
}

int get_wan_udp_con_num(std::uint16_t index, std::uint32_t* connections) {
    return Get(__func__, {index}, [&](const cJSON* home) {
        return LoadNumber(FindWan(home, index), "udp_connections", connections);
    });
}

int get_wan_receive_bytes(std::uint16_t index, std::uint64_t* bytes) {
    return Get(__func__, {index},
               [&](const cJSON* home) { return LoadCounter(home, FindWan(home, index), "received", bytes); });
}

int get_wan_con_status(std::uint16_t wan, std::uint8_t* connected) {
    return Get(__func__, {wan},
               [&](const cJSON* home) { return LoadFlag(FindWan(home, wan), "connected", connected); });
}

int get_dns(std::uint32_t* first, std::uint32_t* second) {
    return Get(__func__, {}, [&](const cJSON* home) -> int {
        constexpr Field kDns = {"dns", 0, 4, Kind::kAddress};
        const cJSON* servers = Member(home, "dns");
        std::uint32_t loaded[2] = {};
        for (int i = 0; i < 2; ++i) {
            if (const int result = LoadValue(cJSON_GetArrayItem(servers, i), kDns, &loaded[i]); result != kOk)
                return result;
        }
        *first = loaded[0];
        *second = loaded[1];
        return kOk;
    });
}

int set_dns(std::uint32_t first, std::uint32_t second) {
    return Set(__func__, {Address{first}, Address{second}}, [&](cJSON* home) -> int {
        cJSON_DeleteItemFromObjectCaseSensitive(home, "dns");
        cJSON* servers = cJSON_AddArrayToObject(home, "dns");
        for (const std::uint32_t server : {first, second}) {
            cJSON_AddItemToArray(servers, cJSON_CreateString(AddressText(server).c_str()));
        }
        return kOk;
    });
}

int get_flows_up_rate(std::uint64_t* rate) {
    return GetNumber(__func__, "flows", "up_rate", rate);
}

int get_flows_down_rate(std::uint64_t* rate) {
    return GetNumber(__func__, "flows", "down_rate", rate);
}

// --- LAN ---

std::uint16_t get_lan_num() {
    return CountValue(__func__, "lan_ports");
}

int get_lan_cfg(lan_cfg* lan) {
    return GetRecord(__func__, "lan", lan);
}

int get_lan_con_status(std::uint16_t port, std::uint8_t* connected) {
    return Get(__func__, {port},
               [&](const cJSON* home) { return LoadFlag(FindPort(home, port), "connected", connected); });
}

int get_lan_port_up_flow(std::uint16_t port, std::uint64_t* bytes) {
    return Get(__func__, {port},
               [&](const cJSON* home) { return LoadCounter(home, FindPort(home, port), "up", bytes); });
}

int get_lan_port_down_flow(std::uint16_t port, std::uint64_t* bytes) {
    return Get(__func__, {port},
               [&](const cJSON* home) { return LoadCounter(home, FindPort(home, port), "down", bytes); });
}

// --- Wi-Fi ---

int get_wlans_cfg(std::uint8_t buffer[2000], int* wlan_count) {
    const char* function = __func__;
    return Get(function, {}, [&](const cJSON* home) -> int {
        std::array<std::uint8_t, router_room_wlans_bytes> loaded{};
        std::size_t used = 0;
        bool full = false;  // from the first thing on that does not fit nothing is written
        const auto append = [&](const auto& thing) {
            full = full || loaded.size() - used < sizeof thing;
            if (full) return;
            std::memcpy(loaded.data() + used, &thing, sizeof thing);
            used += sizeof thing;
        };

        const cJSON* radios = Member(home, "radios");
        const cJSON* radio = nullptr;
        cJSON_ArrayForEach(radio, radios) {
            const cJSON* ssids = Member(radio, "ssids");
            append(static_cast<std::uint16_t>(cJSON_GetArraySize(ssids)));
            const cJSON* item = nullptr;
            cJSON_ArrayForEach(item, ssids) {
                ssid_cfg ssid;
                if (const int result = LoadRecord(item, &ssid); result != kOk) return result;
                append(ssid);
            }
        }
        std::copy_n(loaded.begin(), used, buffer);
        *wlan_count = ReportedCount(home, function, cJSON_GetArraySize(radios));
        return kOk;
    });
}

int get_ssid_switch(std::uint16_t index, std::uint8_t* on) {
    return Get(__func__, {index},
               [&](const cJSON* home) { return LoadFlag(FindSsid(home, index), "enabled", on); });
}

int set_ssid_switch(std::uint16_t index, std::uint8_t on) {
    return Set(__func__, {index, on},
               [&](cJSON* home) { return StoreFlag(FindSsid(home, index), "enabled", on); });
}

int get_ssid_cfg(ssid_cfg* ssid, std::uint16_t index) {
    return Get(__func__, {index},
               [&](const cJSON* home) { return LoadRecordFrom(FindSsid(home, index), ssid); });
}

int set_ssid_cfg(const ssid_cfg* ssid) {
    return Set(__func__, {*ssid}, [&](cJSON* home) {
        cJSON* found = FindSsid(home, ssid->index);
        if (found == nullptr) return kUnknown;
        StoreFields(found, kFields<ssid_cfg>, ssid);
        return kOk;
    });
}

int get_wifi_module_status(std::uint16_t module, std::uint8_t* status) {
    return Get(__func__, {module}, [&](const cJSON* home) {
        const cJSON* item = cJSON_GetArrayItem(Member(home, "wifi_modules"), module - 1);
        return item != nullptr ? LoadValue(item, {"wifi_modules", 0, 1, Kind::kFlag}, status) : int{kUnknown};
    });
}

int get_adj_wifi_devs(adj_wifi* neighbours, int* count) {
    return GetList<router_room_neighbours>(__func__, "neighbours", neighbours, count, LoadRecord<adj_wifi>);
}
