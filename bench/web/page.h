// The page: the bench in a browser. It runs the interpreter's lines like the console, one after the other,
// and tells every open page what state everything is in; FrameReport tells them what passes over the links.
#pragma once

#include <deque>
#include <future>
#include <mutex>
#include <thread>

#include "bench/local_peer.h"
#include "bench/platform_side.h"
#include "bench/router_commands.h"
#include "bench/web/page_server.h"

namespace plug::bench {

class Page {
  public:
    /// All of these must outlive it.
    Page(Interpreter& interpreter, Platform& platform, const PlatformSide& side, const RouterSide& router,
         LocalPeer& peer, Feed& feed);
    ~Page();
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    /// Serves pages until `quit`, or until the process is told to end.
    void Run(PageServer& server);

  private:
    struct Order {
        std::string line;
        std::promise<Json> outcome;
    };

    // The threads of the server.
    Json OrderLine(const std::string& line);
    Json Cancel(const std::string& line);
    // The caller's thread, which alone works with the interpreter.
    void CarryOut(Order& order);
    Json Execute(const std::string& line);
    void NoteOwn();
    // A thread of its own.
    void FollowState();
    Json State();
    Json Router();

    Interpreter& interpreter_;
    Platform& platform_;
    const PlatformSide& side_;
    const RouterSide& router_side_;
    LocalPeer& peer_;
    Feed& feed_;
    PollFlag ordered_;

    std::mutex mutex_;  // guards what follows
    std::deque<Order> orders_;
    bool ended_ = false;
    Json own_;   // the state of what only the caller's thread knows
    Json busy_;  // with what it is

    std::string router_text_;  // of the state file, as last read; FollowState's
    Json router_;

    std::atomic<bool> stopping_{false};
    std::thread follower_;
};

}  // namespace plug::bench
