#include "bench/router_state.h"

#include <cjson/cJSON.h>

#include <set>
#include <stdexcept>
#include <system_error>

#include "bench/process.h"
#include "sdk/simulator/shared_file.h"

namespace plug::bench {
namespace {

std::system_error SystemError(const std::string& what) {
    return {errno, std::generic_category(), what};
}

/// As the simulator prints it, so that the file looks the same whoever wrote it last.
std::string Printed(const Json& home) {
    cJSON* const tree = cJSON_Parse(home.dump().c_str());
    char* const text = cJSON_Print(tree);
    cJSON_Delete(tree);
    if (text == nullptr) throw std::runtime_error("no memory for the router's state");
    std::string printed = text;
    cJSON_free(text);
    return printed;
}

}  // namespace

RouterState RouterState::OfEnvironment() {
    return RouterState(simulator::StatePath());
}

Json RouterState::Read() const {
    const std::string text = ReadFile(path_);
    if (text.empty()) throw std::runtime_error(path_ + " is not there yet; the router's library writes it");
    Json home = Json::parse(text, nullptr, false);
    if (!home.is_object()) throw std::runtime_error(path_ + " is no JSON object");
    return home;
}

void RouterState::Change(const std::function<void(Json& home)>& change) const {
    const simulator::WriteLock lock(path_);
    if (!lock.held()) throw SystemError("locking " + path_);
    Json home = Read();
    change(home);
    if (!simulator::PublishFile(path_, Printed(home), simulator::Publish::kReplace))
        throw SystemError("replacing " + path_);
}

Json* RouterState::FindDevice(Json& home, const MacAddress& mac) {
    for (Json& device : home["devices"])
        if (ParseMac(device.value("mac", "")) == mac) return &device;
    return nullptr;
}

std::optional<std::string> RouterState::FreeAddress(const Json& home) {
    std::set<std::string> taken;
    for (const Json& device : home.value("devices", Json::array())) taken.insert(device.value("address", ""));
    const std::string own = home.contains("lan") ? home["lan"].value("address", "") : "";
    const std::string net = own.substr(0, own.rfind('.') + 1);
    for (int host = 100; host < 255; ++host)
        if (std::string address = net + std::to_string(host); !taken.contains(address)) return address;
    return {};
}

std::vector<std::string> RouterState::DeviceMacs() const {
    std::vector<std::string> macs;
    const Json home = Json::parse(ReadFile(path_), nullptr, false);
    if (!home.is_object() || !home.contains("devices")) return macs;
    for (const Json& device : home["devices"]) macs.push_back(device.value("mac", ""));
    return macs;
}

std::optional<Json> RouterState::Device(const MacAddress& mac) const {
    Json home = Read();
    const Json* const device = FindDevice(home, mac);
    return device != nullptr ? std::optional(*device) : std::nullopt;
}

}  // namespace plug::bench
