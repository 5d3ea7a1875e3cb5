// Descriptors that one thread watches for input. What it costs depends on how many are readable, not on how
// many there are.
#pragma once

#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>
#include <system_error>

namespace plug::bench {

class Poller {
  public:
    Poller() : descriptor_(epoll_create1(EPOLL_CLOEXEC)) {
        if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "epoll");
    }
    ~Poller() { close(descriptor_); }
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    // Any thread.
    void Add(int descriptor, std::uint64_t id) const {
        epoll_event event{EPOLLIN, {.u64 = id}};
        epoll_ctl(descriptor_, EPOLL_CTL_ADD, descriptor, &event);
    }
    void Remove(int descriptor) const { epoll_ctl(descriptor_, EPOLL_CTL_DEL, descriptor, nullptr); }

    /// The events of descriptors that have something to read, or have ended, known by the ids in data.u64;
    /// none after the time-out.
    std::span<const epoll_event> Wait(int milliseconds) {
        const int count =
            epoll_wait(descriptor_, events_.data(), static_cast<int>(events_.size()), milliseconds);
        return std::span(events_).first(count > 0 ? static_cast<std::size_t>(count) : 0);
    }

  private:
    const int descriptor_;
    std::array<epoll_event, 128> events_{};
};

}  // namespace plug::bench
