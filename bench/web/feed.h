// What the pages are told: events in order, the latest of them kept, and the state, of which only the latest
// counts. Any number of threads tell and read.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

#include "bench/layout.h"

namespace plug::bench {

class Feed {
  public:
    Feed();

    void Tell(const char* kind, const Json& event);
    /// Told only when it is another state than the one before.
    void SetState(const Json& state);
    /// Ends all reading.
    void Close();

    /// A page's place. It begins with the events that are kept; after a lost connection, behind `last_id`,
    /// which is the last that the page got, unless that is of another feed.
    class Reader {
      public:
        explicit Reader(Feed& feed, const std::string& last_id = {});
        /// What came, as Server-Sent Events; empty when nothing does within the time. None once the feed is
        /// closed.
        std::optional<std::string> Next(Milliseconds patience);

      private:
        Feed& feed_;
        std::uint64_t next_ = 0;
        std::uint64_t state_ = 0;
        bool greeted_ = false;
    };

  private:
    std::string Id(std::uint64_t number) const { return run_ + "-" + std::to_string(number); }

    const std::string run_;  // tells this feed from an earlier one

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::deque<std::string> kept_;
    std::uint64_t first_ = 0;  // number of the first one kept
    std::string state_;
    std::uint64_t state_number_ = 0;
    bool closed_ = false;
};

}  // namespace plug::bench
