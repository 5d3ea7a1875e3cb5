#include "platform/settings.h"

#include <cstdlib>

#include "core/log.h"
#include "core/profile.h"
#include "core/text.h"
#include "platform/tcp_server.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Protool.c";

constexpr char kDefaultServer1[] = "plug1.example.com";
constexpr char kDefaultServer2[] = "plug2.example.com";
constexpr char kDefaultPort[] = "6039";
constexpr long kLowestPort = 2048;
constexpr long kHighestPort = 65530;

struct SettingsState {
    Settings settings;  // written by the main thread before any other starts
};
constinit SettingsState state;

/// SERVER1 and SERVER2 as written in the profile.
struct ServerNames {
    std::array<char, 32> first{};
    std::array<char, 32> second{};
};

/// The port of `text`, or -1 outside the allowed range.
int ReadPort(const char* text) {
    const long port = strtol(text, nullptr, 10);
    return port < kLowestPort || port > kHighestPort ? -1 : static_cast<int>(port);
}

ServerChoice ResolveServers(const ServerNames& names, Settings& settings) {
    const bool first = GetServerIp(names.first.data(), settings.address1) == 0;
    const bool second = GetServerIp(names.second.data(), settings.address2) == 0;
    if (!first) PLUG_LOG(kErr, "DNS resolve addres1 error !!!\n");
    if (!second) PLUG_LOG(kErr, "DNS resolve addres2 error !!!\n");
    if (first && second) return ServerChoice::kBoth;
    if (first) {
        PLUG_LOG(kDebug, "Only access server1.\n");
        return ServerChoice::kOnlyFirst;
    }
    if (second) {
        PLUG_LOG(kDebug, "Only access server2.\n");
        return ServerChoice::kOnlySecond;
    }
    return ServerChoice::kNone;
}

}  // namespace

ServerChoice InitProtool() {
    const LogAuthor author(__func__);
    Settings& settings = state.settings;
    ServerNames names;
    std::array<char, 8> port{};
    getKeyValueStr("Dev", "PIN", "", settings.pin);
    getKeyValueStr("Protool", "KEY", "", settings.key);
    getKeyValueStr("Protool", "SERVER1", kDefaultServer1, names.first);
    getKeyValueStr("Protool", "SERVER2", kDefaultServer2, names.second);
    getKeyValueStr("Protool", "PORT", kDefaultPort, port);
    settings.port = ReadPort(port.data());
    if (settings.port < 0) {
        PLUG_LOG(kErr, "RegPort error.\n");
        return ServerChoice::kNone;
    }
    PLUG_LOG(kDebug, "PIN:\t%s", settings.pin.data());
    PLUG_LOG(kDebug, "KEY:\t%s", settings.key.data());
    PLUG_LOG(kDebug, "SERVER1:\t%s", names.first.data());
    PLUG_LOG(kDebug, "SERVER2:\t%s", names.second.data());
    PLUG_LOG(kDebug, "PORT:\t%s", port.data());
    PLUG_LOG(kDebug, "byte order: no swap");

    settings.run_mode = strstr(names.first.data(), "com") != nullptr;
    if (settings.run_mode) return ResolveServers(names, settings);
    CopyText(settings.address1, names.first.data());
    CopyText(settings.address2, names.first.data());
    return ServerChoice::kBoth;
}

const Settings& PlatformSettings() {
    return state.settings;
}

}  // namespace plug
