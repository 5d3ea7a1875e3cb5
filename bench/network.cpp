#include "bench/network.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <exception>
#include <system_error>
#include <thread>

namespace plug::bench {
namespace {

void Check(bool done, const char* what) {
    if (!done) throw std::system_error(errno, std::generic_category(), what);
}

/// A thread's namespaces end with it, so what is done in others leaves nothing behind.
void OnAThread(const std::function<void()>& act) {
    std::exception_ptr thrown;
    std::thread([&] {
        try {
            act();
        } catch (...) {
            thrown = std::current_exception();
        }
    }).join();
    if (thrown) std::rethrow_exception(thrown);
}

}  // namespace

Network::Network() {
    OnAThread([this] {
        Check(unshare(CLONE_NEWNET) == 0, "a network of its own");
        RaiseLoopback();
        descriptor_ = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        Check(descriptor_ >= 0, "a network of its own");
    });
}

Network::~Network() {
    close(descriptor_);
}

void InNetwork(int network, const std::function<void()>& act) {
    OnAThread([&] {
        Check(setns(network, CLONE_NEWNET) == 0, "entering a network");
        act();
    });
}

void RaiseLoopback() {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    memcpy(request.ifr_name, "lo", sizeof "lo");
    const bool read = ioctl(any, SIOCGIFFLAGS, &request) == 0;
    request.ifr_flags |= IFF_UP;
    const bool raised = read && ioctl(any, SIOCSIFFLAGS, &request) == 0;
    const int error = errno;
    close(any);
    if (!raised) throw std::system_error(error, std::generic_category(), "loopback");
}

}  // namespace plug::bench
