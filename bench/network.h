// A network of its own for each router of a fleet: a network namespace with nothing but a loopback. Whatever
// is to be reached from inside listens there, so no links between networks are needed. It ends with the
// object and the last process inside.
#pragma once

#include <functional>

namespace plug::bench {

class Network {
  public:
    /// Throws std::system_error without the right to make one (a sandbox has it).
    Network();
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

/// Calls `act` on a thread of its own, inside the network of that descriptor; sockets that it opens stay
/// there. What it throws is thrown here.
void InNetwork(int network, const std::function<void()>& act);

/// Raises the loopback of the calling thread's network.
void RaiseLoopback();

}  // namespace plug::bench
