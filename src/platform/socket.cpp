#include "platform/socket.h"

#include <sys/socket.h>

#include <cerrno>

namespace plug {

bool ConnectTo(int socket, const sockaddr_in& server, const PollableEvent& stop) {
    if (connect(socket, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) return true;
    if (errno != EINPROGRESS) return false;
    Readiness readiness = Readiness::kTimeout;
    while (readiness == Readiness::kTimeout) readiness = WaitReady(socket, Direction::kWrite, stop, -1);
    if (readiness != Readiness::kReady) {
        errno = ECANCELED;
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    errno = error;
    return error == 0;
}

}  // namespace plug
