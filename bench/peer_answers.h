// How the local peer answers: a small home of its own, whose settings can be set and read back,
// and what was told to be answered instead. Any thread.
#pragma once

#include <map>
#include <mutex>

#include "bench/decode.h"

namespace plug::bench {

/// What differs from the usual answer to one FuncID.
struct PeerAnswer {
    // Other than 0: nothing is set, and no data is sent that is not given.
    std::optional<std::uint8_t> result{};
    std::optional<ByteVector> data{};  // behind the result byte
    Milliseconds delay{0};
    bool silent = false;  // no answer at all
};

class PeerAnswers {
  public:
    void Set(std::uint16_t id, const PeerAnswer& answer);
    /// Answers as usual again.
    void Reset(std::uint16_t id);
    /// An object of objects by name or FuncID: {"mesh-switch": {"result": 5}, "78": {"silent": true}, "77":
    /// {"data": {"first": 60, "second": 70}, "delay": 2}}. Data is hexadecimal text, or what the answer's
    /// layout holds, or JSON where that is text. Throws std::invalid_argument.
    void Load(const Json& answers);

    struct Reply {
        ByteVector payload;
        Milliseconds delay{0};
    };
    /// The reply to a request, which is carried out; none when it stays unanswered.
    std::optional<Reply> ReplyTo(std::uint16_t id, ConstBytes payload);

    /// What differs from the usual, by name: for people.
    Json Changes() const;

  private:
    /// Carries the request out and returns the data of its reply.
    ByteVector CarryOut(std::uint16_t id, ConstBytes payload);

    mutable std::mutex mutex_;
    std::map<std::uint16_t, PeerAnswer> changed_;
    std::uint8_t mesh_ = 0;
    std::uint8_t roaming_ = 0;
    std::array<std::uint8_t, 2> thresholds_ = {60, 70};
    std::string report_config_ =
        R"({"referNum":1440,"interval1":0,"interval2":0,"interval3":0,"serverDiff":0})";
};

/// One answer as Load takes it.
PeerAnswer ReadPeerAnswer(const CommandForm& row, const Json& answer);

/// The status record that the peer reports when nothing else is said (FuncID 81).
ByteVector UsualStatus();

}  // namespace plug::bench
