// Every frame of both links and directions, shown with its time as it passes.
#pragma once

#include <deque>
#include <map>

#include "bench/interpreter.h"
#include "bench/poll_flag.h"
#include "bench/tap.h"

namespace plug::bench {

class FrameWatch {
  public:
    explicit FrameWatch(const CipherKey& key) : key_(key) {}

    /// Any thread.
    void Note(const Passed& passed);
    /// Becomes the first part of the interpreter's news that is not registered yet; must outlive it.
    void Attach(Interpreter& interpreter);

  private:
    /// A frame, or with a note bytes that are none.
    struct Seen {
        std::chrono::system_clock::time_point time;
        Wire wire;
        bool from_agent;
        ByteVector bytes;
        std::string note;
    };
    using Direction = std::tuple<Socket, int, bool>;

    void Add(const Wire& wire, bool from_agent, ConstBytes bytes, std::string note = {});
    void Cut(const Wire& wire, bool from_agent, ByteVector& stream);
    void Show(const Seen& seen, Output& output) const;

    const CipherKey key_;
    std::mutex mutex_;  // guards what follows
    std::map<Direction, ByteVector> streams_;
    std::deque<Seen> seen_;
    PollFlag notice_;
};

}  // namespace plug::bench
