// The simulated router's state file, for programs beside the agent: read as a whole, changed under the lock
// that the simulator takes, and replaced in one step, so neither loses what the other wrote.
#pragma once

#include <functional>

#include "bench/layout.h"

namespace plug::bench {

class RouterState {
  public:
    explicit RouterState(std::string path) : path_(std::move(path)) {}
    /// The file that the agents started here use: the environment's ROUTER_SIM, or the simulator's own
    /// choice.
    static RouterState OfEnvironment();

    /// The whole state. Throws std::runtime_error when there is no file yet or it is no JSON object.
    Json Read() const;
    /// Reads the state, lets `change` work on it and writes it, all under the lock. What `change` throws
    /// leaves the file as it was. Throws as Read, and std::system_error when it cannot be written.
    void Change(const std::function<void(Json& home)>& change) const;

    /// The device with that MAC in a state, or nullptr.
    static Json* FindDevice(Json& home, const MacAddress& mac);
    /// An address of the LAN, its hosts 100 to 254, that no device of the state has.
    static std::optional<std::string> FreeAddress(const Json& home);
    /// The MACs of all devices; none while there is no file.
    std::vector<std::string> DeviceMacs() const;
    /// One device as it is now; none when it is not in the file.
    std::optional<Json> Device(const MacAddress& mac) const;

  private:
    std::string path_;
};

}  // namespace plug::bench
