// A flag that other threads set and that a thread polls for.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace plug::bench {

class PollFlag {
  public:
    PollFlag() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    ~PollFlag() { close(descriptor_); }
    PollFlag(const PollFlag&) = delete;
    PollFlag& operator=(const PollFlag&) = delete;

    void Set() const { eventfd_write(descriptor_, 1); }
    void Clear() const {
        eventfd_t count;
        eventfd_read(descriptor_, &count);
    }
    /// Readable while the flag is set.
    int descriptor() const { return descriptor_; }

  private:
    const int descriptor_;
};

}  // namespace plug::bench
