// One router of a fleet: a real agent with an identity, a simulated router, a /tmp and a network of its own,
// and its local peer.
#pragma once

#include <memory>

#include "bench/agent_process.h"
#include "bench/local_peer.h"
#include "bench/network.h"

namespace plug::bench {

/// Who the router of that number is, the same on every machine and every day.
struct Identity {
    MacAddress mac{};    // locally administered: 02:00:00:00:00:00 is number 0
    std::string serial;  // "FLEET0000000"
    std::string pin;     // twelve digits
};
Identity FleetIdentity(int number);

/// What all routers of a fleet have in common.
struct FleetSetup {
    std::string folder;  // under /tmp; holds a folder for each router, which is its /tmp
    std::string server1;
    std::string server2;
    std::uint16_t port = 0;
    std::string key;
    std::string supervisor;  // the program that keeps the agents running; empty: they are started alone
    int spread = -1;         // of the supervisor's starts, in seconds; negative: its own choice
    bool own_network = true;
};

class FleetAgent {
  public:
    /// Prepares; nothing runs yet. Throws std::system_error.
    FleetAgent(const FleetSetup& setup, int number);

    void Start();
    /// Asks it to end; destroying it makes sure.
    void AskToEnd();
    bool Running() { return process_ != nullptr && process_->Running(); }
    pid_t pid() const { return process_->pid(); }

    /// By its status file.
    bool LoggedIn() const { return ReadFile(folder_ + "/plugstatus") == "003\n"; }
    /// Connections that were begun in its network, successful or not; since its making.
    int ConnectionAttempts() const;

    /// Connects its local peer; false when the agent does not listen.
    bool ConnectPeer();
    /// An automatic report of the local peer; false when it could not be written.
    bool Report();
    /// A device leaves or comes back, in the router's state and by the local peer's word.
    bool SwitchDevice();

    const Identity& identity() const { return identity_; }
    /// Its network; null when that is the machine's.
    const Network* network() const { return network_.get(); }

  private:
    /// Between fork and exec.
    bool Enter() const;

    const Identity identity_;
    const std::string folder_;
    std::unique_ptr<Network> network_;
    ProcessSpec spec_;
    std::string kept_path_;  // of the programs, when /tmp hides them
    std::unique_ptr<LocalPeer> peer_;
    std::unique_ptr<Process> process_;
    bool device_online_ = true;
    int reports_ = 0;
};

}  // namespace plug::bench
