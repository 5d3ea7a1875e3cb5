// What passes over both links, as the page lists it.
//
//   {"side": "platform", "way": "up", "kind": "report", "id": 63, "name": "version", "mac": .., "link": 2,
//    "time": ms, "decoded": {..}, "note": .., "hex": ".."}
//
// `side` is "platform" or "peer"; `way` is "up" for what comes from an agent and "down" for what goes to it.
// `kind` is the frame's name in the message table; "connected" and "closed" are connections and have no
// bytes.
#pragma once

#include <mutex>

#include "bench/frame_cutter.h"
#include "bench/web/feed.h"

namespace plug::bench {

class FrameReport {
  public:
    /// Tells the feed, which must outlive the connections.
    FrameReport(const CipherKey& key, Feed& feed) : key_(key), feed_(feed) {}

    /// Any thread.
    void Note(const Passed& passed);

  private:
    Json Report(const PassedFrame& frame) const;

    const CipherKey key_;
    Feed& feed_;
    std::mutex mutex_;  // guards the cutter, and the order in which it is told
    FrameCutter cutter_;
};

}  // namespace plug::bench
