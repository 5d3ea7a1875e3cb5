// Drives the world through time: fast while nothing is due, slow where the agent's own waits would not fit
// between what this machine needs. At every look it holds what the platform and the router saw against what
// must be.
#pragma once

#include <map>
#include <random>
#include <set>

#include "bench/local_peer.h"
#include "week/judge.h"
#include "week/samples.h"
#include "week/world.h"

namespace plug::week {

/// What was counted.
struct Counts {
    int asked = 0;
    int answered = 0;
    int refused = 0;  // of those answered: a result other than 0
    int lost = 0;     // with their link
    int reports = 0;
    int relayed = 0;
    int announced = 0;  // devices that came online
    int online = 0;     // of these, reported
    int measured = 0;   // rates of downloads
    int links_lost = 0;
    int processes = 0;
    int peer_connections = 0;
};

class Driver : public World {
  protected:
    static constexpr int kQuiet = 3600;  // how fast the agent's clock runs: while nothing is due,
    static constexpr int kSwitch = 40;   // around a switch of access,
    static constexpr int kBusy = 20;     // and where answers are awaited

    void SetUp() override;

    double Hours() const { return (clock_->Elapsed() - begin_) / 3600; }
    Moment Now() const;
    std::uint32_t Random(std::uint32_t below) { return static_cast<std::uint32_t>(random_()) % below; }

    /// Lets time pass until that hour.
    void RunUntil(double hours);
    /// Lets it pass, at the speed it has, until `done`; throws when that does not come.
    void Await(const std::string& what, const std::function<bool()>& done);
    /// The agent has given the link up, which the platform does not see yet.
    void GiveUpLink();
    /// The agent is logged in, has its orders and the local peer.
    void AwaitService();

    /// Asks without waiting for the answer. The question's head.
    std::uint16_t Send(std::uint16_t id, ConstBytes parameters = {});
    /// Asks, and waits for the answer or for the end of the link. The result, -1 without one.
    int Ask(std::uint16_t id, ConstBytes parameters = {});
    int AskWith(const char* command, const std::string& parameter);

    void Give(const Order& order);
    void TakeBack(const Order& order);

    /// A report of the local peer; it must reach the platform.
    void Report(std::uint16_t id, ConstBytes payload);
    /// The local peer tells that a device came online; the platform must be told.
    void Announce(const MacAddress& mac, const std::string& name);
    void SetPeerWanted(bool wanted);

    /// What is wrong so far; the judge has a list of its own.
    void Blame(const std::string& what);

    Counts counts_;
    Judge judge_;
    std::vector<Order> orders_;
    std::unique_ptr<LocalPeer> peer_;
    std::unique_ptr<Samples> samples_;
    int link_ = 0;  // the standing login's connection
    pid_t process_ = 0;
    std::vector<std::string> progress_;  // reports of an update
    std::vector<std::string> faults_;

  private:
    struct Asked {
        std::uint16_t id;
        int link;
        std::chrono::steady_clock::time_point time;
    };

    void Look();
    void LookAtPlatform();
    void LookAtProcess();
    void LookAtWaits();
    void TakeSample();
    void OnReport(const LinkEvent& event);
    void OnReply(const LinkEvent& event);
    void OnClosed(int link);
    void Serve();
    bool Settled() const;
    static Json Element(const char* flag, const Order& order);

    int newest_link_ = 0;
    double begin_ = 0;
    std::mt19937 random_;
    std::optional<Cursor> cursor_;
    std::map<std::uint16_t, Asked> asked_;
    std::map<std::uint16_t, int> results_;
    std::map<MacAddress, Moment> announced_;
    bool orders_due_ = false;
    bool orders_known_ = false;
    bool peer_wanted_ = true;
    double unsettled_ = 0;  // when link or peer was missing last
    int sampled_hours_ = -1;
    Json devices_ = Json::array();
    std::filesystem::file_time_type router_time_{};
};

}  // namespace plug::week
