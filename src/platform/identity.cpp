#include "platform/identity.h"

#include "core/log.h"
#include "core/process.h"
#include "core/sdk_code.h"
#include "router_sdk.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Protool.c";

struct IdentityState {
    // Main thread; other threads read the MAC only once it is known.
    MacAddress mac{};
    std::array<char, 64> serial{};
};
constinit IdentityState state;

void LearnMac() {
    if (AllZero(state.mac)) get_router_mac(state.mac.data());
    const MacAddress& mac = state.mac;
    PLUG_LOG(kDebug, "ROUTER MAC: %02X %02X %02X %02X %02X %02X", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
}

void LearnSerial() {
    if (AllZero(state.serial)) {
        if (SdkCode(get_router_sn(state.serial.data())) != 0) {
            PLUG_LOG(kErr, "ERROR: get sn failed!");
            EndProcess();
        }
        state.serial.back() = '\0';
        if (state.serial[0] == '\0') {
            PLUG_LOG(kErr, "ERROR: SN is invalid!");
            EndProcess();
        }
    }
    PLUG_LOG(kDebug, "SN: %s LEN: %zu", state.serial.data(), strlen(state.serial.data()));
}

}  // namespace

void SetRouterIdentity(const MacAddress& mac) {
    state.mac = mac;
    state.serial = {};
}

void LearnRouterIdentity() {
    LearnMac();
    LearnSerial();
}

const MacAddress& RouterMac() {
    return state.mac;
}

std::string_view RouterSerial() {
    return state.serial.data();
}

}  // namespace plug
