#include "router/sdk_lock.h"

namespace plug {
namespace {

constinit Mutex subdev_mutex;

}  // namespace

Mutex& SubdevMutex() {
    return subdev_mutex;
}

}  // namespace plug
