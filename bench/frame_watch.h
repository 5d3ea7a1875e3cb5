// Every frame of both links and directions, shown with its time as it passes.
#pragma once

#include <deque>

#include "bench/frame_cutter.h"
#include "bench/interpreter.h"
#include "bench/poll_flag.h"

namespace plug::bench {

class FrameWatch {
  public:
    explicit FrameWatch(const CipherKey& key) : key_(key) {}

    /// Any thread.
    void Note(const Passed& passed);
    /// Becomes the first part of the interpreter's news that is not registered yet, shown on `output`; must
    /// outlive it.
    void Attach(Interpreter& interpreter, Output& output);

  private:
    void Show(const PassedFrame& frame, Output& output) const;

    const CipherKey key_;
    std::mutex mutex_;  // guards what follows
    FrameCutter cutter_;
    std::deque<PassedFrame> passed_;
    PollFlag notice_;
};

}  // namespace plug::bench
