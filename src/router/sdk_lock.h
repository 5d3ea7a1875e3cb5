// SubdevMutex: the lock around every use of the SDK's device table, which is not safe for two threads at
// once.
#pragma once

#include "core/sync.h"

namespace plug {

Mutex& SubdevMutex();

/// Holds SubdevMutex for a scope, when it could be taken.
class SubdevLock {
  public:
    SubdevLock() PLUG_CHECKED(no_thread_safety_analysis) : error_(SubdevMutex().Lock()) {}
    ~SubdevLock() PLUG_CHECKED(no_thread_safety_analysis) {
        if (error_ == 0) SubdevMutex().Unlock();
    }
    SubdevLock(const SubdevLock&) = delete;
    SubdevLock& operator=(const SubdevLock&) = delete;

    /// 0 while the lock is held, else the error number of the failed lock.
    int error() const { return error_; }

  private:
    int error_;
};

}  // namespace plug
