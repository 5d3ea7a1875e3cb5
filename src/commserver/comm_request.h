// The synchronous requests to the local peer: send one frame, wait for the reply.
//
// Each returns the reply's result byte (0: success), or 1 when the send failed or no reply came in time: ten
// seconds, for the neighbouring Wi-Fi networks a minute. A getter writes its value whenever a reply arrived;
// check the result first. Any thread; one request is under way at a time, later ones wait for it.
#pragma once

#include "commserver/comm_reply.h"
#include "router_sdk.h"

namespace plug {

constexpr int kUsualPolls = 200;

/// One request: the operation that makes it, its FuncID, how long it waits for its reply (in polls of 50 ms),
/// the log text of a failed send, and whether that time includes the wait for another request under way.
struct LocalRequest {
    const char* operation;
    std::uint16_t func_id;
    int polls;
    const char* send_failure;
    bool impatient = false;
};

enum class RequestOutcome : std::uint8_t { kNotSent, kNoReply, kReplied };

/// Sends the request and waits; the reply that came is copied to `reply`, which is else left as it is.
RequestOutcome Exchange(const LocalRequest& request, ConstBytes data, LocalReply& reply);
/// The same, yielding only the result.
unsigned RequestResult(const LocalRequest& request, ConstBytes data);

unsigned ComF_get_wifi_freqband(std::uint8_t band, std::uint8_t& out);
unsigned ComF_get_mesh_support(std::uint8_t& out);
unsigned ComF_set_mesh_switch(std::uint8_t value);
unsigned ComF_get_mesh_switch(std::uint8_t& out);
unsigned ComF_set_mesh_roaming_switch(std::uint8_t value);
unsigned ComF_get_mesh_roaming_switch(std::uint8_t& out);
unsigned ComF_set_mesh_roaming_threshold(std::uint8_t first, std::uint8_t second);

struct RoamingThreshold {
    std::uint32_t first;
    std::uint32_t second;
};
unsigned ComF_get_mesh_roaming_threshold(RoamingThreshold& out);

// The large queries: the caller reads the reply itself.
unsigned ComF_get_mesh_topology(LocalReply& reply);
unsigned ComF_get_adj_wifi_info(LocalReply& reply);
unsigned ComF_get_bssid(LocalReply& reply);

unsigned ComF_set_wan_cfg(const wan_cfg& record);
unsigned ComF_trig_onekey_optimize();
unsigned ComF_trig_fault_diagnosis();

/// Tells the local peer whether the platform is reachable; waits for nothing. 0, or 1 when the send failed.
int ComF_send_pluginstate();
/// The same in the name of the caller, who answers the peer's own question.
int SendPluginState();

}  // namespace plug
