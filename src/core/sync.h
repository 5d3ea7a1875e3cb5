// Threads, locks and waits over pthreads.
//
// Everything here is constant-initialised and trivially destructible, so it may stand in process-wide state:
// other threads still run while the process exits. Waits measure time on the monotonic clock.
#pragma once

#include <pthread.h>

#include <cstdint>

// Lets clang prove at compile time that guarded fields are touched under their lock only; g++ has no such
// check.
#if defined(__clang__)
#define PLUG_CHECKED(attribute) __attribute__((attribute))
#else
#define PLUG_CHECKED(attribute)
#endif

namespace plug {

class PLUG_CHECKED(capability("mutex")) Mutex {
  public:
    constexpr Mutex() = default;

    /// 0, or the error number of the failed lock (the mutex is then not held).
    int Lock() PLUG_CHECKED(try_acquire_capability(0)) { return pthread_mutex_lock(&handle_); }
    void Unlock() PLUG_CHECKED(release_capability()) { pthread_mutex_unlock(&handle_); }

  private:
    friend class Event;
    pthread_mutex_t handle_ = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a mutex for a scope. For the agent's own plain mutexes, whose lock cannot fail; where a failure has
/// an answer of its own (SubdevMutex), Lock is called and its code looked at.
class PLUG_CHECKED(scoped_lockable) Guard {
  public:
    explicit Guard(Mutex& mutex) PLUG_CHECKED(acquire_capability(mutex))
        PLUG_CHECKED(no_thread_safety_analysis)
        : mutex_(mutex) {
        (void)mutex_.Lock();
    }
    ~Guard() PLUG_CHECKED(release_capability()) { mutex_.Unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

  private:
    Mutex& mutex_;
};

/// A flag that threads wait for. It stays set until Clear, so nothing is missed between a look and a wait.
class Event {
  public:
    constexpr Event() = default;

    void Set();
    void Clear();
    bool IsSet();
    /// Waits until the flag is set, at most `milliseconds`; true when it is set.
    bool WaitFor(std::int64_t milliseconds);
    /// The same, and clears the flag in the same step when it was set.
    bool TakeWithin(std::int64_t milliseconds);
    /// Waits without limit and clears the flag.
    void Take();

  private:
    bool WaitLocked(std::int64_t milliseconds) PLUG_CHECKED(requires_capability(mutex_));
    void PrepareLocked() PLUG_CHECKED(requires_capability(mutex_));

    Mutex mutex_;
    pthread_cond_t condition_ PLUG_CHECKED(guarded_by(mutex_)) = PTHREAD_COND_INITIALIZER;
    bool set_ PLUG_CHECKED(guarded_by(mutex_)) = false;
    bool prepared_ PLUG_CHECKED(guarded_by(mutex_)) = false;  // condition_ measures monotonic time
};

/// A flag that a thread waits for together with a socket (an eventfd underneath, opened once and kept).
class PollableEvent {
  public:
    constexpr PollableEvent() = default;

    /// Opens the descriptor when it is not open yet and clears the flag. 0; -1 when it cannot be cleared, and
    /// without descriptors: then Set does nothing and no wait sees it.
    int Prepare();
    void Set();
    /// -1 when it is not open.
    int descriptor() const { return descriptor_ > 0 ? descriptor_ : -1; }

  private:
    int descriptor_ = 0;  // 0: not open yet
};

/// What a wait on a descriptor is for, and what it saw; a signal in between looks like a time-out.
enum class Direction : std::uint8_t { kRead, kWrite };
enum class Readiness : std::uint8_t { kReady, kStopped, kTimeout, kError };

/// Waits until `socket` can be read (bytes, or its end) or written, or `stop` is set. A negative time waits
/// without limit, a negative socket for `stop` only.
Readiness WaitReady(int socket, Direction direction, const PollableEvent& stop, int milliseconds);

/// One thread, started and joined by its owner, where it stays until then. Start and Join are called by one
/// thread at a time.
class Thread {
  public:
    constexpr Thread() = default;

    /// Starts `body` in a thread that tools such as top show as `name`, of at most 15 characters. 0, or the
    /// error number of pthread_create.
    int Start(void (*body)(), const char* name);
    /// Waits for the body to return; 0 at once when none was started, else the error number.
    int Join();
    bool started() const { return started_; }

  private:
    static void* Run(void* thread);

    // Read by the thread at its start.
    void (*body_)() = nullptr;
    const char* name_ = nullptr;
    pthread_t handle_{};
    bool started_ = false;
};

}  // namespace plug
