#include "platform/socket.h"

#include <sys/socket.h>

#include <cerrno>

#include "core/clock.h"

namespace plug {
namespace {

constexpr std::int64_t kNoDeadline = -1;

std::int64_t Deadline(int milliseconds) {
    return milliseconds < 0 ? kNoDeadline : MonotonicMilliseconds() + milliseconds;
}

/// Waits until the socket can be written. False at the deadline, or when `stop` is set.
bool WaitWritable(int socket, const PollableEvent& stop, std::int64_t deadline) {
    Readiness readiness = Readiness::kTimeout;
    while (readiness == Readiness::kTimeout) {
        const std::int64_t left = deadline - MonotonicMilliseconds();
        if (deadline != kNoDeadline && left <= 0) return false;
        const int milliseconds = deadline != kNoDeadline ? static_cast<int>(left) : -1;
        readiness = WaitReady(socket, Direction::kWrite, stop, milliseconds);
    }
    return readiness == Readiness::kReady;
}

}  // namespace

bool ConnectTo(int socket, const sockaddr_in& server, const PollableEvent& stop, int milliseconds) {
    if (connect(socket, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) return true;
    if (errno != EINPROGRESS || !WaitWritable(socket, stop, Deadline(milliseconds))) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

std::size_t SendWhole(int socket, std::span<const std::uint8_t> bytes, int milliseconds) {
    const std::int64_t deadline = Deadline(milliseconds);
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else if (count == 0 || errno != EAGAIN || sent == 0 || !WaitWritable(socket, {}, deadline)) {
            break;
        }
    }
    return sent;
}

}  // namespace plug
