// SubdevMutex: the lock under which the SDK's device table is read where the agent goes through it: the scan,
// the online reports, a pass of the access windows, and the commands that list devices or read a name or
// bandwidths. Single settings of a device are made without it, so that they never wait for a slow list.
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
