#include "commserver/comm_server.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <new>

#include "commserver/auto_report_config.h"
#include "commserver/comm_dispatch.h"
#include "commserver/comm_queue.h"
#include "commserver/comm_reply.h"
#include "commserver/comm_send.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/sync.h"
#include "platform/link_state.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr int kQueueSlots = 10;
constexpr int kSlotBytes = 8200;
constexpr std::size_t kReceiveBytes = 8192;
constexpr int kBacklog = 3;
constexpr int kMostErrors = 4;  // in a row, of the wait or of the read
constexpr int kFailedAcceptMilliseconds = 100;
constexpr int kRefusedPeerMilliseconds = 5000;
constexpr int kAfterFrameMilliseconds = 10;

struct ServerState {
    std::atomic<bool> running{false};  // main sets and clears, every thread polls
    std::atomic<bool> instance{
        false};  // a connection thread is not joined yet; listener sets, release clears
    std::atomic<bool> peer_seen{false};  // listener sets
    int accepted = 0;                    // the new peer: from the listener to the ServerThread it starts
    CommRQ* queue = nullptr;             // made before the threads start, freed after they are joined
    PollableEvent stop;                  // wakes the listener and the connection
    Event received;                      // wakes the dispatcher: bytes were queued, or stop
    Event connected;                     // wakes the release: a connection thread was started, or stop
    Thread dispatcher;
    Thread listener;
    Thread release;
    Thread connection;                                 // started by the listener, joined by the release
    std::array<std::uint8_t, kReceiveBytes> buffer{};  // the connection thread's
};
constinit ServerState state;

/// Gives up a socket that may be bound already. -1.
int GiveUp(int fd, const char* text) {
    PLUG_LOG(kErr, "%s", text);
    close(fd);
    unlink(kCommServerPath);
    return -1;
}

/// The bound and listening socket, or -1.
int Listen() {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        PLUG_LOG(kErr, "Create socket failed");
        return -1;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, kCommServerPath, sizeof kCommServerPath);
    const auto length = static_cast<socklen_t>(sizeof address.sun_family + sizeof kCommServerPath - 1);
    unlink(kCommServerPath);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        chmod(kCommServerPath, S_IRUSR | S_IWUSR) != 0)
        return GiveUp(fd, "bind failed");
    return listen(fd, kBacklog) == 0 ? fd : GiveUp(fd, "listen failed");
}

/// Queues what one read of the peer's socket yields. What recv returned.
ssize_t ReceiveOnce(int socket) {
    const ssize_t count = recv(socket, state.buffer.data(), state.buffer.size(), 0);
    if (count <= 0) return count;
    if (count > static_cast<ssize_t>(kReceiveBytes)) {
        PLUG_LOG(kErr, "reveive data package too large, length: %zd", count);
        return count;
    }
    if (const int error = state.queue->Push(ConstBytes(state.buffer).first(static_cast<std::size_t>(count)));
        error != 0) {
        PLUG_LOG(kErr, "reveive data err=%d", error);
    }
    state.received.Set();
    return count;
}

/// Reads until the peer closes, its socket fails or the server stops.
void ServePeer(int socket) {
    int wait_errors = 0;
    int read_errors = 0;
    while (state.running) {
        const Readiness readiness = WaitReady(socket, Direction::kRead, state.stop, -1);
        if (readiness == Readiness::kError) {
            if (++wait_errors <= kMostErrors) continue;
            PLUG_LOG(kDebug, "Error. socket err.");
            return;
        }
        if (readiness != Readiness::kReady) continue;
        const ssize_t count = ReceiveOnce(socket);
        if (count > 0) {
            wait_errors = read_errors = 0;
        } else if (count == 0) {
            PLUG_LOG(kErr, "Close link.");
            return;
        } else if (++read_errors > kMostErrors + 1) {
            PLUG_LOG(kErr, "Close link err.");
            return;
        }
    }
}

void ServerThread() {
    const LogAuthor author(__func__);
    PLUG_LOG(kDebug, "create a instance...");
    const int socket = state.accepted;
    SetLocalPeer(socket);
    ServePeer(socket);
    CloseLocalPeer();
    PLUG_LOG(kDebug, "Close instance.");
}

/// Takes a new peer, or turns it away while another one is served.
void Admit(int peer) {
    if (state.instance) {
        close(peer);
        PLUG_LOG(kErr, "link quntity is large.");
        WaitReady(-1, Direction::kRead, state.stop, kRefusedPeerMilliseconds);
        return;
    }
    state.accepted = peer;
    if (state.connection.Start(ServerThread, "ServerThread") != 0) {
        PLUG_LOG(kErr, "create instance err.");
        close(peer);
        return;
    }
    state.instance = true;
    state.peer_seen = true;
    state.connected.Set();
}

void CommServerProc() {
    const LogAuthor author(__func__);
    const int listener = Listen();
    if (listener < 0) return;
    state.instance = false;
    while (state.running) {
        const Readiness readiness = WaitReady(listener, Direction::kRead, state.stop, -1);
        if (readiness == Readiness::kStopped || readiness == Readiness::kTimeout) continue;
        const int peer = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (peer >= 0) {
            Admit(peer);
        } else {
            PLUG_LOG(kErr, "accept err");
            Pace(kFailedAcceptMilliseconds);
        }
    }
    close(listener);
    unlink(kCommServerPath);
}

/// Joins each connection thread once it has ended, which lets the listener take the next peer.
void CommReleaseProc() {
    const LogAuthor author(__func__);
    while (state.running) {
        state.connected.Take();
        if (!state.instance) continue;
        state.connection.Join();
        state.instance = false;
        PLUG_LOG(kDebug, "release ok");
    }
}

/// Hands out what was received, frame by frame. Without a platform to report to, frames are discarded.
void CommRecvHandle() {
    const LogAuthor author(__func__);
    while (state.running) {
        const ConstBytes received = state.queue->Pop();
        if (received.empty()) {
            state.received.Take();
            continue;
        }
        if (LoggedIn()) HandleLocalFrame(received);
        Pace(kAfterFrameMilliseconds);
    }
}

int CreateQueue() {
    state.queue = new (std::nothrow) CommRQ;
    if (state.queue == nullptr) {
        PLUG_LOG(kErr, "Malloc CommRQ failed.");
        return -1;
    }
    if (state.queue->Create(kQueueSlots, kSlotBytes) == 0) return 0;
    PLUG_LOG(kErr, "Queue Init error");
    delete state.queue;
    state.queue = nullptr;
    return -1;
}

}  // namespace

int CommServerStart() {
    const LogAuthor author(__func__);
    state.instance = false;
    state.peer_seen = false;
    state.received.Clear();
    state.connected.Clear();
    ResetCommSend();
    ResetReply();
    ResetDispatch();
    ResetAutoReport();
    if (CreateQueue() != 0) return -1;
    state.running = true;
    if (state.stop.Prepare() != 0 || state.dispatcher.Start(CommRecvHandle, "CommRecvHandle") != 0 ||
        state.listener.Start(CommServerProc, "CommServerProc") != 0) {
        PLUG_LOG(kErr, "Create CommServerProc failed.");
        return -1;
    }
    if (state.release.Start(CommReleaseProc, "CommReleaseProc") != 0) {
        PLUG_LOG(kErr, "Create CommReleaseProc failed.");
        return -1;
    }
    return 0;
}

int CommServerStop() {
    state.running = false;
    state.stop.Set();
    state.connected.Set();
    state.received.Set();
    // The connection last: the listener may have started one that the release did not see any more.
    int error = 0;
    for (Thread* thread : {&state.listener, &state.release, &state.connection, &state.dispatcher})
        error |= thread->Join();
    delete state.queue;
    state.queue = nullptr;
    return error == 0 ? 0 : -1;
}

bool LocalPeerSeen() {
    return state.peer_seen;
}

}  // namespace plug
