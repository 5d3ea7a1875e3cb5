// The router's side of console and scripts: the devices of the simulated home, and its life. It works on the
// state file of the environment.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "bench/interpreter.h"
#include "bench/poll_flag.h"

namespace plug::bench {

class RouterSide {
  public:
    /// Registers its commands with the interpreter.
    explicit RouterSide(Interpreter& interpreter);
    ~RouterSide();
    RouterSide(const RouterSide&) = delete;
    RouterSide& operator=(const RouterSide&) = delete;

    bool home_lives() const { return lives_; }

  private:
    void RunHome(const Invocation& words);
    void StopHome();
    void Live(std::uint32_t seed, Milliseconds step);  // the thread
    void ShowEvents();

    Interpreter& interpreter_;
    std::thread thread_;
    PollFlag stop_;
    std::atomic<bool> lives_{false};

    std::mutex mutex_;  // guards what follows
    std::vector<Json> events_;
    PollFlag notice_;
};

}  // namespace plug::bench
