#include "bench/fleet_agent.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bench/router_state.h"
#include "bench/text.h"
#include "sdk/simulator/default_home.h"

namespace plug::bench {
namespace {

constexpr std::uint16_t kReport = 84;
constexpr std::uint16_t kOnlineDevices = 40;

std::string HomeOf(const Identity& identity) {
    Json home = Json::parse(simulator::kDefaultHome);
    home["router"]["mac"] = MacText(identity.mac);
    home["lan"]["mac"] = MacText(identity.mac);
    home["router"]["serial_number"] = identity.serial;
    home["router"]["started"] = time(nullptr);
    return home.dump(1);
}

}  // namespace

Identity FleetIdentity(int number) {
    Identity identity;
    identity.mac[0] = 2;
    for (std::size_t byte = 5, rest = static_cast<std::size_t>(number); byte > 1; --byte, rest >>= 8)
        identity.mac[byte] = static_cast<std::uint8_t>(rest);
    identity.serial = Format("FLEET%07d", number);
    identity.pin = Format("%012d", number);
    return identity;
}

FleetAgent::FleetAgent(const FleetSetup& setup, int number)
    : identity_(FleetIdentity(number)), folder_(setup.folder + "/" + std::to_string(number)) {
    std::filesystem::create_directories(folder_ + "/bin");
    AgentSetup agent;
    agent.pin = identity_.pin;
    agent.key = setup.key;
    agent.server1 = setup.server1;
    agent.server2 = setup.server2;
    agent.port = setup.port;
    WriteFile(folder_ + "/plug.conf", ProfileText(agent));
    WriteFile(folder_ + "/router.json", HomeOf(identity_));

    spec_.argv = {ProgramFolder() + "/plug", "-f", "/tmp/plug.conf"};
    if (!setup.supervisor.empty()) spec_.argv.insert(spec_.argv.begin(), setup.supervisor);
    spec_.environment = {"ROUTER_SIM=/tmp/router.json", "PLUG_RUN=/tmp/run", "PLUG_PUBLIC_KEY=/tmp/plug.pub"};
    if (setup.spread >= 0) spec_.environment.push_back("PLUG_SPREAD=" + std::to_string(setup.spread));
    spec_.capture = false;
    spec_.own_group = true;
    spec_.enter = [this] { return Enter(); };
    if (setup.own_network) {
        network_ = std::make_unique<Network>();
    } else {
        // The rules of forwarded ports are the machine's then, which an agent must not touch.
        WriteFile(folder_ + "/bin/iptables", "#!/bin/sh\n");
        chmod((folder_ + "/bin/iptables").c_str(), 0755);
        spec_.environment.push_back("PATH=/tmp/bin:" + std::string(getenv("PATH")));
    }
    if (ProgramFolder().starts_with("/tmp/")) {
        kept_path_ = ProgramFolder();
        std::filesystem::create_directories(folder_ + kept_path_.substr(4));
    }
    PeerOptions peer;
    peer.path = folder_ + "/CommServer";
    peer_ = std::make_unique<LocalPeer>(peer);
}

bool FleetAgent::Enter() const {
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);  // for what supervisors say
    if (dup2(nowhere, STDOUT_FILENO) < 0 || dup2(nowhere, STDERR_FILENO) < 0) return false;
    if (network_ != nullptr && setns(network_->descriptor(), CLONE_NEWNET) != 0) return false;
    if (unshare(CLONE_NEWNS) != 0) return false;
    const int kept = kept_path_.empty() ? -1 : open(kept_path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (mount(folder_.c_str(), "/tmp", nullptr, MS_BIND, nullptr) != 0) return false;
    if (kept < 0) return true;
    std::array<char, 32> source;
    snprintf(source.data(), source.size(), "/proc/self/fd/%d", kept);
    return mount(source.data(), kept_path_.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

void FleetAgent::Start() {
    process_ = std::make_unique<Process>(spec_);
}

void FleetAgent::AskToEnd() {
    if (process_ != nullptr) process_->Signal(SIGTERM);
}

int FleetAgent::ConnectionAttempts() const {
    if (network_ == nullptr || process_ == nullptr) return 0;
    std::ifstream counters("/proc/" + std::to_string(process_->pid()) + "/net/snmp");
    std::string line;
    while (std::getline(counters, line)) {
        int attempts = 0;
        if (sscanf(line.c_str(), "Tcp: %*d %*d %*d %*d %d", &attempts) == 1) return attempts;
    }
    return 0;
}

bool FleetAgent::ConnectPeer() {
    return peer_->Connect();
}

bool FleetAgent::Report() {
    return peer_->Send(kReport, AsBytes(R"({"report":)" + std::to_string(++reports_) + "}"));
}

bool FleetAgent::SwitchDevice() {
    device_online_ = !device_online_;
    ReportedDevice device;
    RouterState(folder_ + "/router.json").Change([&](Json& home) {
        Json& first = home["devices"][0];
        first["online"] = device_online_;
        device = {ParseMac(first["mac"].get<std::string>()).value(), first["name"], device_online_};
    });
    return peer_->Send(kOnlineDevices, DevicesPayload({device}));
}

}  // namespace plug::bench
