// The platform's side of the link: a registration and a login server for any number of agents at once.
//
// One thread of its own accepts, reads, records each frame in the event log and answers what a platform
// answers: registrations, logins and heartbeats, each as `Behaviour` says. What a turn of it costs depends on
// how many agents have sent something, not on how many are connected. Everything else is sent by the caller's
// thread. An agent is named by its MAC; a send goes to its latest logged-in connection and returns
// false when it has none.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <thread>
#include <unordered_map>

#include "bench/event_log.h"
#include "bench/frames.h"
#include "bench/poller.h"
#include "bench/tap.h"

namespace plug::bench {

/// How a registration or login is answered.
enum class Ack : std::uint8_t {
    kAccept,
    kSilent,     // never
    kEmptyBody,  // error code 0 and no body
    kRefuse,     // error code 1 and no body
    kClose,      // the connection is closed instead
};

/// How the platform answers. May be changed at any time through Platform::Behave.
struct Behaviour {
    Ack register_ack = Ack::kAccept;
    Ack login_ack = Ack::kAccept;
    bool answer_heartbeats = true;
    std::uint16_t interval = 60;         // heartbeat seconds, as sent in the login ack
    std::string token;                   // at most 32 bytes; empty: one of its own for each agent
    std::string second_value = "bench";  // at most 32 bytes, zero-filled
    std::string login_address;           // dotted; empty: the address that the agent registered at
    std::uint16_t login_port = 0;        // 0: the login server's own
    Milliseconds ack_delay{0};           // before a register or login ack
    std::function<ByteVector(ByteVector)> rewrite_ack;  // last look at the bytes of a register or login ack
};

struct PlatformOptions {
    std::string listen = "127.0.0.1";
    std::uint16_t register_port = 0;  // 0: picked by the system
    std::uint16_t login_port = 0;
    std::string key = "0123456789abcdef";
    std::string pin;  // when not empty, another PIN is refused (as Ack::kRefuse) with a note in the event
    Tap tap;          // sees what passes over every connection
    Behaviour behaviour;
    /// Network namespaces to listen in, on the same ports in each; none: the platform's own.
    std::vector<int> networks{};
    /// Takes the events in place of the event log, which would grow with a fleet; on the serving thread.
    std::function<void(const LinkEvent& event)> on_event{};
};

/// What is known of one agent.
struct AgentInfo {
    MacAddress mac{};
    std::string serial;
    std::string pin;
    std::string peer;  // of the login connection; empty when not connected
    bool logged_in = false;
    int registrations = 0;
    int logins = 0;
    int heartbeats = 0;
};

class Platform : public EventSource<LinkEvent> {
  public:
    /// Starts listening; throws std::system_error when it cannot.
    explicit Platform(PlatformOptions options = {});
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    std::uint16_t register_port() const { return ports_[0]; }
    std::uint16_t login_port() const { return ports_[1]; }
    const PlatformOptions& options() const { return options_; }
    const CipherKey& key() const { return key_; }

    void Behave(Behaviour behaviour);
    Behaviour behaviour() const;
    /// Refuses new connections to a server (its port is closed), and takes them again on the same port.
    void CloseListener(Server server);
    void OpenListener(Server server);

    std::vector<AgentInfo> Agents() const;
    std::optional<AgentInfo> Find(const MacAddress& agent) const;

    // --- commands ---
    bool SendCommand(const MacAddress& agent, std::uint16_t id, ConstBytes parameters,
                     const std::optional<MacAddress>& address = {}, std::uint16_t head = 0);
    /// `type` is kPlugCommand, which is answered, or kPlugReply, which is not.
    bool SendPlugData(const MacAddress& agent, std::uint8_t data_type, std::string_view text,
                      MsgType type = MsgType::kPlugCommand);
    /// Sends a command and waits for its answer.
    std::optional<LinkEvent> Ask(const MacAddress& agent, std::uint16_t id, ConstBytes parameters = {},
                                 Milliseconds timeout = Milliseconds(5000));
    /// The answer to a command that was sent behind `cursor` with this head. An unsupported command is
    /// answered twice; then the second answer is consumed too, into `refusal` when given, so that it is not
    /// taken for the next command's.
    static std::optional<LinkEvent> AwaitAnswer(Cursor& cursor, const MacAddress& agent, std::uint16_t id,
                                                std::uint16_t head, Milliseconds timeout,
                                                std::optional<LinkEvent>* refusal = nullptr);
    /// A head word that no other command of this platform carries (until they come round again).
    std::uint16_t NextHead() { return next_head_++; }
    bool SendFrame(const MacAddress& agent, MsgType type, ConstBytes head, ConstBytes plain);
    bool SendBytes(const MacAddress& agent, ConstBytes bytes);

    // --- mischief ---
    /// Sends the bytes in `parts` writes with a pause between them.
    bool SendSplit(const MacAddress& agent, ConstBytes bytes, std::size_t parts, Milliseconds pause);
    bool ForceDisconnect(const MacAddress& agent);
    /// Closes the agent's login connection; abruptly: with a reset.
    bool Drop(const MacAddress& agent, bool abruptly = false);
    /// Closes every connection.
    void DropAll();
    /// Neither reads from nor answers the agent for a while; sends still go out.
    bool Stall(const MacAddress& agent, Milliseconds time);

  private:
    struct Agent;
    using LinkPtr = std::shared_ptr<struct AgentLink>;

    /// A stalled link to be read again, or an ack to be sent.
    struct Due {
        LinkPtr link;
        ByteVector ack;
    };

    void Serve();
    void ServeOne(std::uint64_t id);
    /// In milliseconds, for a wait.
    int UntilDue() const;
    void CarryOutDue();
    void Accept(int listener);
    void Read(const LinkPtr& link);
    void Handle(const LinkPtr& link, LinkEvent event);
    void OnRegister(const LinkPtr& link, LinkEvent& event);
    void OnLogin(const LinkPtr& link, LinkEvent& event);
    /// `frame` is the ack that accepts.
    void SendAck(const LinkPtr& link, Ack ack, ByteVector frame);
    void Close(const LinkPtr& link, std::string note);
    void Record(const LinkPtr& link, LinkEvent event);
    LinkPtr LoginLink(const MacAddress& agent) const;

    PlatformOptions options_;
    CipherKey key_;

    mutable std::mutex mutex_;  // guards what follows; never held over a write to a socket
    Behaviour behaviour_;
    std::map<MacAddress, Agent> agents_;
    std::map<ByteVector, MacAddress> token_owners_;  // who was given it last
    std::unordered_map<int, LinkPtr> links_;         // by number
    std::map<int, Server> listeners_;                // by descriptor
    std::multimap<std::chrono::steady_clock::time_point, Due> due_;
    int link_count_ = 0;

    std::uint16_t ports_[2] = {};
    std::atomic<std::uint16_t> next_head_{1};
    std::atomic<bool> stopping_{false};
    Poller poller_;
    PollFlag wake_;
    std::thread thread_;
};

}  // namespace plug::bench
