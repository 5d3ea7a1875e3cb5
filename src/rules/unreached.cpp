#include "rules/unreached.h"

#include <sys/socket.h>

#include <cstdio>

#include "core/log.h"
#include "core/text.h"

namespace plug {

void hash_table_print() {
    constexpr char kLogModule[] = "eaccess.c";  // not that of the functions below
    const LogAuthor author(__func__);
    for (std::size_t bucket = 0; bucket < kRuleBuckets; ++bucket) {
        const RuleEntry* entry = hash_table_bucket(bucket);
        if (entry != nullptr) PLUG_LOG(kDebug, "%zu=>", bucket);
        for (; entry != nullptr; entry = entry->next) {
            PLUG_LOG(kDebug, "%s", entry->key);
            for (const RuleNode* node = entry->windows; node != nullptr; node = node->next) {
                const AccessWindow& window = node->window;
                PLUG_LOG(kDebug, "START %d:%d STOP %d:%d ", window.start_hour, window.start_minute,
                         window.stop_hour, window.stop_minute);
            }
        }
    }
}

namespace {

constexpr char kLogModule[] = "iot_signal.c";

constinit DaemonSettings daemon_settings{};

constexpr std::size_t kLongestCopy = 1024;
constexpr int kTries = 5;
constexpr int kNoSocket = -1;

}  // namespace

void KeepDaemonSettings(const DaemonSettings& settings) {
    daemon_settings = settings;
}

void thread_epoll() {}

int eaccess_send(const char* function, int line) {
    const LogAuthor author(__func__);
    PLUG_LOG(kErr, " %s %d error!", function, line);
    return -1;
}

int SendDatagram(ConstBytes data, const sockaddr_in* to) {
    if (data.data() == nullptr || to == nullptr) return eaccess_send(__func__, __LINE__);
    return static_cast<int>(
        sendto(kNoSocket, data.data(), data.size(), 0, reinterpret_cast<const sockaddr*>(to), sizeof *to));
}

int SendDatagramCopy(ConstBytes data, const sockaddr_in* to) {
    if (data.data() == nullptr || to == nullptr) return eaccess_send(__func__, __LINE__);
    std::array<std::uint8_t, kLongestCopy> copy;
    const std::size_t length = std::min(data.size(), copy.size());
    std::copy_n(data.begin(), length, copy.begin());
    int sent = -1;
    for (int tries = 0; tries < kTries && sent <= 0; ++tries)
        sent = SendDatagram(Bytes(copy).first(length), to);
    return sent;
}

std::array<char, 16> DottedAddress(std::uint32_t address) {
    std::array<char, 16> text{};
    snprintf(text.data(), text.size(), "%d.%d.%d.%d", static_cast<int>(address & 0xFF),
             static_cast<int>(address >> 8 & 0xFF), static_cast<int>(address >> 16 & 0xFF),
             static_cast<int>(address >> 24));
    return text;
}

void printhex(ConstBytes bytes) {
    const LogAuthor author(__func__);
    if (!DebugMode()) return;
    std::array<char, 3071 * 3> room;
    const std::string_view text = HexPairs(bytes, room);
    PLUG_LOG(kDebug, "%.*s", static_cast<int>(text.size()), text.data());
}

}  // namespace plug
