// What came from the agents, in order: every frame decoded, every connection opened and closed. The
// platform's thread appends.
#pragma once

#include <string>
#include <vector>

#include "bench/log.h"
#include "platform/frame.h"

namespace plug::bench {

using ByteVector = std::vector<std::uint8_t>;

enum class EventKind : std::uint8_t {
    kConnected,  // a connection was accepted; nothing is known of the agent yet
    kRegister,   // serial, mac, pin
    kLogin,      // pin, token; mac by way of the token
    kHeartbeat,  // agent_time
    kReport,     // MsgType 17 and 19: data_type, data; address when addressed
    kReply,      // MsgType 25 and 26: code, data_type, data; address when addressed
    kBadFrame,   // note says what was wrong with it
    kClosed,     // note says who closed
};
const char* Name(EventKind kind);

enum class Server : std::uint8_t { kRegistration, kLogin };
const char* Name(Server server);

struct LinkEvent : LoggedEvent {
    EventKind kind = EventKind::kConnected;
    Server server = Server::kRegistration;
    int link = 0;      // the connection, counted from 1
    MacAddress mac{};  // the agent; all zero while unknown

    ByteVector frame;    // the raw bytes; empty for kConnected and kClosed
    FrameHeader header;  // of that frame
    ByteVector head;     // its clear head
    ByteVector plain;    // its body, decrypted and without padding

    std::string peer;              // kConnected: "127.0.0.1:40312"
    std::string serial;            // kRegister
    std::string pin;               // kRegister, kLogin
    ByteVector token;              // kLogin: 32 bytes
    std::uint32_t agent_time = 0;  // kHeartbeat
    std::uint16_t code = 0;        // kReply: the result code in the head
    std::uint8_t data_type = 0;    // kReport, kReply
    MacAddress address{};          // kReport, kReply: all zero without one
    ByteVector data;               // kReport, kReply: the record's data
    std::string note;              // kBadFrame, kClosed

    std::string_view text() const { return AsText(data); }
    /// True when the data begins with the echo and the result of an answer, and is no error text.
    bool has_echo() const;
    /// The function ID echoed in an answer (or in a report of that shape); 0 without an echo.
    std::uint16_t function_id() const { return has_echo() ? Word(2) : std::uint16_t{0}; }
    /// The result field of such an answer.
    std::uint16_t result() const { return has_echo() ? Word(4) : std::uint16_t{0}; }
    /// The little-endian u16 at `offset` of the data, which must be long enough.
    std::uint16_t Word(std::size_t offset) const {
        return ByteReader(ConstBytes(data).subspan(offset)).U16();
    }
};

using EventMatch = std::function<bool(const LinkEvent&)>;

EventMatch IsKind(EventKind kind);
EventMatch IsReport(std::uint8_t data_type);
EventMatch IsAnswer(std::uint16_t function_id);
/// An answer to the command sent with that `head`: one that echoes it, or one without an echo (an error text
/// or a bare code), which says nothing of the command it answers.
EventMatch IsAnswerTo(const MacAddress& agent, std::uint16_t function_id, std::uint16_t head);
/// A reply to plug data.
EventMatch IsPlugReply(const MacAddress& agent);

using EventLog = LogOf<LinkEvent>;
using Cursor = CursorOf<LinkEvent>;

}  // namespace plug::bench
