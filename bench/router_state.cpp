#include "bench/router_state.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>

#include "bench/process.h"

namespace plug::bench {
namespace {

std::system_error SystemError(const std::string& what) {
    return {errno, std::generic_category(), what};
}

/// The lock on a state file, held for the object's life.
class StateLock {
  public:
    explicit StateLock(const std::string& path)
        : file_(open((path + ".lock").c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644)) {
        if (file_ < 0) throw SystemError("opening " + path + ".lock");
        while (flock(file_, LOCK_EX) != 0) {
            if (errno == EINTR) continue;
            close(file_);
            throw SystemError("locking " + path);
        }
    }
    ~StateLock() { close(file_); }
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;

  private:
    int file_;
};

/// As the simulator prints it, so that the file looks the same whoever wrote it last.
std::string Printed(const Json& home) {
    cJSON* const tree = cJSON_Parse(home.dump().c_str());
    char* const text = cJSON_Print(tree);
    cJSON_Delete(tree);
    if (text == nullptr) throw std::runtime_error("no memory for the router's state");
    std::string printed = std::string(text) + "\n";
    cJSON_free(text);
    return printed;
}

}  // namespace

RouterState RouterState::OfEnvironment() {
    const char* const path = getenv("ROUTER_SIM");
    return RouterState(path != nullptr && *path != '\0' ? path : "/tmp/router.json");
}

Json RouterState::Read() const {
    const std::string text = ReadFile(path_);
    if (text.empty()) throw std::runtime_error(path_ + " is not there yet; the router's library writes it");
    Json home = Json::parse(text, nullptr, false);
    if (!home.is_object()) throw std::runtime_error(path_ + " is no JSON object");
    return home;
}

void RouterState::Change(const std::function<void(Json& home)>& change) const {
    const StateLock lock(path_);
    Json home = Read();
    change(home);
    const std::string draft = path_ + "." + std::to_string(getpid()) + ".tmp";
    WriteFile(draft, Printed(home));
    if (rename(draft.c_str(), path_.c_str()) == 0) return;
    const std::system_error error = SystemError("replacing " + path_);
    unlink(draft.c_str());
    throw error;
}

Json* RouterState::FindDevice(Json& home, const MacAddress& mac) {
    for (Json& device : home["devices"])
        if (ParseMac(device.value("mac", "")) == mac) return &device;
    return nullptr;
}

std::optional<Json> RouterState::Device(const MacAddress& mac) const {
    Json home = Read();
    const Json* const device = FindDevice(home, mac);
    return device != nullptr ? std::optional(*device) : std::nullopt;
}

}  // namespace plug::bench
