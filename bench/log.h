// A record of events, in order, that any number of readers follow.
//
// One side appends; each reader has a cursor of its own, so it sees every event once, in order, and misses
// none, however late it looks. Events are kept for the life of the log.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

#include "bench/interruption.h"
#include "bench/poll_flag.h"

namespace plug::bench {

using Milliseconds = std::chrono::milliseconds;

/// What every event has; a log fills it in.
struct LoggedEvent {
    std::uint64_t number = 0;  // place in the log, from 0
    std::chrono::steady_clock::time_point time;
    std::chrono::system_clock::time_point wall_time;
};

/// `Event` derives from LoggedEvent and has a `kind`.
template <class Event>
class LogOf {
  public:
    /// Numbers and time-stamps the event.
    void Append(Event event) {
        event.time = std::chrono::steady_clock::now();
        event.wall_time = std::chrono::system_clock::now();
        {
            const std::lock_guard guard(mutex_);
            event.number = events_.size();
            events_.push_back(std::move(event));
        }
        appended_.notify_all();
        notice_.Set();
    }
    std::uint64_t size() const {
        const std::lock_guard guard(mutex_);
        return events_.size();
    }
    /// The event with that number, waiting for it until `deadline`. Throws Interrupted.
    std::optional<Event> At(std::uint64_t number, std::chrono::steady_clock::time_point deadline) const {
        std::unique_lock lock(mutex_);
        const auto came = [&] { return events_.size() > number; };
        while (!appended_.wait_until(lock, std::min(deadline, std::chrono::steady_clock::now() + kWaitStep),
                                     came)) {
            if (std::chrono::steady_clock::now() >= deadline) return {};
            ThrowIfInterrupted();
        }
        return events_[number];
    }
    /// Set when something is appended; for its readers to clear.
    const PollFlag& notice() const { return notice_; }

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable appended_;
    std::deque<Event> events_;
    PollFlag notice_;
};

/// A reader's place in the log. Cheap to copy: a copy reads on from the same place on its own.
template <class Event>
class CursorOf {
  public:
    using Match = std::function<bool(const Event&)>;

    explicit CursorOf(const LogOf<Event>& log, std::uint64_t next = 0) : log_(&log), next_(next) {}

    /// The next event, whatever it is; none after `timeout`.
    std::optional<Event> Next(Milliseconds timeout) {
        return NextUntil(std::chrono::steady_clock::now() + timeout);
    }
    std::optional<Event> NextUntil(std::chrono::steady_clock::time_point deadline) {
        auto event = log_->At(next_, deadline);
        if (event) ++next_;
        return event;
    }
    /// The next event that `matches`; it and those before it are consumed. After `timeout` none, and the
    /// events looked at stay consumed.
    std::optional<Event> WaitFor(const Match& matches, Milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (auto event = NextUntil(deadline))
            if (matches(*event)) return event;
        return {};
    }
    std::optional<Event> WaitFor(decltype(Event::kind) kind, Milliseconds timeout) {
        return WaitFor([kind](const Event& event) { return event.kind == kind; }, timeout);
    }

  private:
    const LogOf<Event>* log_;
    std::uint64_t next_;
};

/// What logs its events, for those who follow them.
template <class Event>
class EventSource {
  public:
    const LogOf<Event>& log() const { return log_; }
    CursorOf<Event> FromStart() const { return CursorOf<Event>(log_); }
    CursorOf<Event> FromNow() const { return CursorOf<Event>(log_, log_.size()); }
    /// Waits on the source's own cursor, which only this moves.
    template <class Wanted>
    std::optional<Event> WaitFor(const Wanted& wanted, Milliseconds timeout) {
        return own_cursor_.WaitFor(wanted, timeout);
    }

  protected:
    LogOf<Event> log_;

  private:
    CursorOf<Event> own_cursor_{log_};
};

}  // namespace plug::bench
