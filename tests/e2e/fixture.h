// The agent's real binary between a bench platform and the simulated router, in a sandbox of its own.
//
// It is the one beside the tests' program, or what PLUG_TEST_AGENT names, with its preload beside it. One of
// another machine is run by the emulator that PLUG_TEST_EMULATOR names.
//
// A test prepares (platform, set-up, clock), starts the agent and waits for what must come; what does not
// come within kPatience throws, which ends the test as failed. Afterwards the agent must not have sent a
// malformed frame, logged in the name of nobody nor printed a sanitizer's report. Its log level is full and
// its time zone UTC.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "bench/agent_process.h"
#include "bench/local_peer.h"
#include "preload/test_clock.h"
#include "support/sanitized.h"

namespace plug::e2e {

using namespace plug::bench;  // NOLINT: the tests are written in its words

/// The longest wait for anything: as long as a slow machine needs for a re-login in real time.
constexpr Milliseconds kPatience{60'000};

constexpr std::uint16_t kCpuUse = 47;

/// The simulated home's router.
constexpr MacAddress kRouterMac = {0x00, 0x00, 0x5E, 0x00, 0x53, 0x01};

/// The emulator that runs the agent; empty without one.
std::string Emulator();

class AgentTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // --- before the agent starts ---

    /// Starts the platform with behaviour_ and points setup_ at it.
    void StartPlatform();
    /// Lets the platform behave as behaviour_ has become.
    void Behave() { platform_->Behave(behaviour_); }
    /// Lets the agent's clock run faster than the true one.
    void RunFast(int factor);
    /// Sets the agent's clock forward.
    void JumpAhead(std::int64_t seconds);

    // --- the agent ---

    /// Starts it with setup_, in place of an earlier one.
    void StartAgent();
    /// Starts the platform too when there is none, and waits for the login and the first heartbeat.
    void LogIn();
    /// Ends it and looks at what it has printed.
    void StopAgent();
    int AwaitExit();
    /// Connects a local peer and asks for the agent's state, which is returned: from then on it is served.
    static PeerEvent Connect(LocalPeer& peer);
    /// The numbers of its threads, by name.
    std::map<std::string, pid_t> Threads() const;

    /// Waits until the agent has written exactly these codes to its status file since the last call, as
    /// "001 001 002"; each write is noted, so none goes unseen.
    void AwaitStatuses(const std::string& codes);
    /// Waits for a text of the log, and for its `count`-th appearance.
    void AwaitLog(const std::string& text, int count = 1);
    /// The text must appear as often and no more; what was logged before the last event may still be on its
    /// way.
    void ExpectLogged(const std::string& text, int count = 1);
    int CountLog(const std::string& text) const;
    /// The agent's clock, in seconds, at the last entry with that text, or at the `nth`, counted from 1.
    std::int64_t LoggedAt(const std::string& text, int nth = 0);
    /// Between the `nth` entries with two texts (or their last) the agent's clock must have counted at least
    /// `least` seconds and fewer than `limit`.
    void ExpectWait(const std::string& from, const std::string& to, int least, int limit, int nth = 0);

    // --- the platform ---

    LinkEvent Await(EventKind kind);
    LinkEvent Await(const std::string& what, const EventMatch& matches);
    /// Asks and returns the answer, which must be the next reply that comes.
    LinkEvent Ask(std::uint16_t id, ConstBytes parameters = {});
    /// The next reply, whatever it answers.
    LinkEvent AwaitReply() { return Await(EventKind::kReply); }
    /// A question is answered, and nothing else before it: the processor's use in the simulated home.
    void ExpectAnswers() { EXPECT_EQ(12, Ask(kCpuUse).Word(6)); }
    /// Sends plug data that is answered; that result must be the next reply.
    void ExpectResult(int result, std::uint8_t data_type, const std::string& json);
    /// Waits for the next login and heartbeat; no registration may come before it.
    LinkEvent AwaitReLogin();

    std::unique_ptr<Platform> platform_;
    std::unique_ptr<Process> agent_;
    Behaviour behaviour_;
    AgentSetup setup_;
    MacAddress mac_ = kRouterMac;
    int speed_ = 1;  // of the agent's clock

  private:
    void ReadStatuses();

    std::optional<Cursor> cursor_;
    std::unique_ptr<preload::TestClock> clock_;
    std::size_t statuses_read_ = 0;  // bytes of the noted ones
    std::string statuses_;           // read, not yet waited for
};

/// Bytes behind their 16-bit count.
ByteVector Counted(ConstBytes bytes);

}  // namespace plug::e2e
