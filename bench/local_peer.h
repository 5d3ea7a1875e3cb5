// The local peer: the router's mesh/Wi-Fi process, the one client of the agent's local command server.
//
// One thread of its own reads, records every frame in the log and answers requests as PeerAnswers says. The
// agent takes what one read yields as one frame, so a frame is written only after the agent has read the one
// before; what breaks that rule on purpose goes out through SendBytes in one write. Sequences run on over
// connections. Any thread.
#pragma once

#include <atomic>
#include <thread>

#include "bench/event_log.h"
#include "bench/peer_answers.h"
#include "bench/tap.h"
#include "commserver/comm_frame.h"
#include "core/paths.h"

namespace plug::bench {

enum class PeerEventKind : std::uint8_t {
    kConnected,
    kRequest,   // a whole frame: func_id, sequence, payload
    kBadFrame,  // note says what was wrong with it
    kClosed,    // note says who closed
};
const char* Name(PeerEventKind kind);

struct PeerEvent : LoggedEvent {
    PeerEventKind kind = PeerEventKind::kConnected;
    int link = 0;      // the connection, counted from 1
    ByteVector frame;  // the raw bytes; empty for kConnected and kClosed
    std::uint16_t func_id = 0;
    std::uint32_t sequence = 0;
    ByteVector payload;
    std::string note;

    std::string_view text() const { return AsText(payload); }
};
using PeerMatch = std::function<bool(const PeerEvent&)>;
PeerMatch IsRequest(std::uint16_t func_id);

/// {"event": "request", "id": .., "name": .., "fields": {..}}
Json DecodePeerEvent(const PeerEvent& event);

struct PeerOptions {
    std::string path{kCommServerPath};
    std::uint32_t first_sequence = 1;
    /// Answers instead of PeerAnswers, on the peer's thread: the reply's payload, or none.
    std::function<std::optional<ByteVector>(const PeerEvent& request)> answer{};
    Tap tap{};  // sees what passes over every connection
};

class LocalPeer : public EventSource<PeerEvent> {
  public:
    explicit LocalPeer(PeerOptions options = {});
    ~LocalPeer();
    LocalPeer(const LocalPeer&) = delete;
    LocalPeer& operator=(const LocalPeer&) = delete;

    /// Connects, in place of an earlier connection; false when nobody listens within `timeout`. The agent may
    /// still turn a client away that it has no use for: it closes.
    bool Connect(Milliseconds timeout = Milliseconds(10000));
    /// Takes a connected socket in place of an earlier connection, which must be closed.
    void Adopt(int socket);
    void Disconnect();
    bool connected() const;

    PeerAnswers& answers() { return answers_; }

    // False when not connected.
    bool Send(std::uint16_t func_id, ConstBytes payload) { return SendBytes(Frame(func_id, payload)); }
    /// Asks for the plug-in state (FuncID 998).
    bool AskState() { return Send(998, AsBytes("i")); }
    bool SendBytes(ConstBytes bytes);

    /// A whole frame with the next sequence.
    ByteVector Frame(std::uint16_t func_id, ConstBytes payload);
    /// The same with the sequence of the frame before.
    ByteVector RepeatedFrame(std::uint16_t func_id, ConstBytes payload) const;

  private:
    void Serve();
    void Read();
    void Handle(PeerEvent event);
    std::optional<PeerAnswers::Reply> ReplyTo(const PeerEvent& request);
    void AnswerDue();
    Milliseconds UntilDue() const;
    void Close(std::string note);
    void Record(PeerEvent event);
    void Tell(Passage kind, ConstBytes bytes = {}, bool by_agent = false) const;

    const PeerOptions options_;
    PeerAnswers answers_;
    std::atomic<std::uint32_t> next_sequence_;

    mutable std::mutex mutex_;  // guards the socket: replaced and written under it
    int socket_ = -1;
    std::atomic<int> link_{0};
    std::atomic<bool> dropped_{false};  // by this side

    // Of the serving thread.
    struct Due {
        std::chrono::steady_clock::time_point time;
        int link;
        std::uint16_t func_id;
        ByteVector payload;
    };
    std::vector<Due> due_;
    ByteVector received_;

    std::atomic<bool> stopping_{false};
    PollFlag wake_;
    std::thread thread_;
};

/// What a stream of local frames begins with; a header gone wrong takes all that is there.
std::optional<Piece> FirstLocalPiece(ConstBytes stream);
/// A whole frame of the local socket.
ByteVector LocalFrame(std::uint16_t func_id, std::uint32_t sequence, ConstBytes payload);

// --- frames that break the rules ---

ByteVector WithWrongHead(ByteVector frame);
ByteVector WithWrongSum(ByteVector frame);
/// Announces that many payload bytes, whatever follows.
ByteVector WithLength(ByteVector frame, std::uint32_t length);

/// The payload of FuncID 40: a count, and for each device its MAC, its name and whether it is online.
struct ReportedDevice {
    MacAddress mac{};
    std::string name;
    bool online = true;
};
ByteVector DevicesPayload(const std::vector<ReportedDevice>& devices);

}  // namespace plug::bench
