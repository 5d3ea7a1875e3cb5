#include "platform/tcp_server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>

#include "core/clock.h"
#include "core/log.h"
#include "core/text.h"
#include "platform/link_state.h"
#include "platform/socket.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "TcpServer.c";

constexpr int kSendBufferBytes = 16384;
constexpr std::size_t kReadBytes = 1500;
constexpr int kMostErrors = 5;  // in a row, of the wait or of the read
constexpr int kMostEmptyReads =
    300;  // in a row, ten milliseconds apart: a closed peer is lost after three seconds
constexpr int kNoSocket = 0;
constexpr int kSendMilliseconds = 2000;  // in which a frame that was sent in part must be whole

struct TcpState {
    LinkHandlers handlers{};            // set once at start-up
    std::atomic<bool> running{false};   // main sets and clears, both threads poll
    std::atomic<bool> handling{false};  // a frame, by RespProc
    Mutex link;                         // held around one recv, send or close
    int socket PLUG_CHECKED(guarded_by(link)) = kNoSocket;
    bool torn PLUG_CHECKED(guarded_by(link)) = false;  // half a frame went out: nothing may follow it
    PollableEvent stop;                                // wakes ServerRecv
    Event work;                                        // wakes RespProc: bytes were queued, or stop
    ReceiveQueue queue;
    InboundFrame frame;  // RespProc only
};
constinit TcpState state;

/// Sets up the socket and connects it to the server. 0 or -1.
int Connect(int fd, const char* ip, int port) {
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
        PLUG_LOG(kErr, "setsockopt(SO_REUSEADDR) Failed!");
        return -1;
    }
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBufferBytes, sizeof kSendBufferBytes) != 0) {
        PLUG_LOG(kErr, "setsockopt(SO_SNDBUF) Failed!");
        return -1;
    }
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<std::uint16_t>(port));
    server.sin_addr.s_addr = inet_addr(ip);
    if (!ConnectTo(fd, server, LinkErrorEvent(), -1)) {
        PLUG_LOG(kErr, "connect failed!......");
        return -1;
    }
    return 0;
}

int SocketInit(const char* ip, int port) {
    const LogAuthor author(__func__);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        PLUG_LOG(kErr, "Create socket failed!");
        return -1;
    }
    if (Connect(fd, ip, port) != 0) {
        close(fd);
        return -1;
    }
    PLUG_LOG(kDebug, "connected.");
    const Guard guard(state.link);
    state.socket = fd;
    state.torn = false;
    return 0;
}

void CloseSocket() {
    const Guard guard(state.link);
    if (state.socket != kNoSocket) close(state.socket);
    state.socket = kNoSocket;
}

int CurrentSocket() {
    const Guard guard(state.link);
    return state.socket;
}

/// One read under the link mutex, its bytes queued. What recv returned.
ssize_t ReceiveOnce() {
    std::array<std::uint8_t, kReadBytes> chunk;
    ssize_t received = 0;
    {
        const Guard guard(state.link);
        received = recv(state.socket, chunk.data(), chunk.size(), 0);
    }
    if (received > 0) {
        if (state.handling) NoteBytesBehind();
        state.queue.Push(ConstBytes(chunk).first(static_cast<std::size_t>(received)));
        state.work.Set();
    }
    return received;
}

/// Reads until the link is lost (true) or DeleteServer stops it (false).
bool ReceiveUntilLost() {
    const int socket = CurrentSocket();
    int wait_errors = 0;
    int read_errors = 0;
    int empty_reads = 0;
    while (state.running) {
        const Readiness readiness = WaitReady(socket, Direction::kRead, state.stop, -1);
        if (!state.running) return false;
        if (readiness == Readiness::kError) {
            if (++wait_errors > kMostErrors) return true;
            PLUG_LOG(kErr, "Net error.");
            continue;
        }
        wait_errors = 0;
        if (readiness != Readiness::kReady) continue;
        const ssize_t received = ReceiveOnce();
        if (received > 0) {
            read_errors = empty_reads = 0;
        } else if (received < 0) {
            if (++read_errors <= kMostErrors) continue;
            PLUG_LOG(kErr, "receive error.");
            return true;
        } else {
            if (++empty_reads > kMostEmptyReads) {
                PLUG_LOG(kErr, "Close link.");
                return true;
            }
            Pace(10);
        }
    }
    return false;
}

/// Gives up the link whose other end would read the next frame as the rest of this one.
void GiveUpLink(std::size_t sent, std::size_t size) PLUG_CHECKED(requires_capability(state.link)) {
    PLUG_LOG(kErr, "link given up, only %zu bytes of a frame of %zu went out", sent, size);
    state.torn = true;
    shutdown(state.socket, SHUT_RDWR);
    RaiseLinkError();
}

void ServerRecv() {
    const LogAuthor author(__func__);
    if (ReceiveUntilLost()) state.handlers.on_lost();
    CloseSocket();
}

void RespProc() {
    const LogAuthor author(__func__);
    while (state.running) {
        if (state.queue.Pop(state.frame) != 0) {
            state.work.Take();
            continue;
        }
        const FrameHeader& header = state.frame.header;
        if (header.type() == MsgType::kAck)
            PLUG_LOG(kDebug, "regist or connnect ack len = %d,%d", header.head_length, header.body_length);
        state.handling = true;
        state.handlers.on_frame(state.frame);
        state.handling = false;
        Pace(10);
    }
}

}  // namespace

void SetLinkHandlers(const LinkHandlers& handlers) {
    state.handlers = handlers;
}

int GetServerIp(const char* name, std::span<char> ip) {
    const LogAuthor author(__func__);
    const hostent* const host = gethostbyname(name);
    if (host == nullptr) {
        PLUG_LOG(kErr, "gethostbyname error for host:%s", name);
        return -1;
    }
    ip[0] = '\0';
    if (host->h_addrtype == AF_INET && host->h_addr_list[0] != nullptr) {
        PLUG_LOG(kDebug, "hostname: %s", host->h_name);
        inet_ntop(AF_INET, host->h_addr_list[0], ip.data(), static_cast<socklen_t>(ip.size()));
        PLUG_LOG(kDebug, "ip: %s", ip.data());
    }
    if (ip[0] == '\0') {
        PLUG_LOG(kErr, "server_ip is empty.");
        return -2;
    }
    return 0;
}

int ServerInit(const char* ip, int port, LinkThreads& threads) {
    const LogAuthor author(__func__);
    if (state.running) {
        PLUG_LOG(kErr, "Client running.");
        return -1;
    }
    state.running = true;
    state.queue.Reset();
    state.work.Clear();
    if (state.stop.Prepare() != 0 || SocketInit(ip, port) != 0) {
        PLUG_LOG(kErr, "SocketInit error");
        return -1;
    }
    if (threads.response.Start(RespProc, "RespProc") != 0) {
        PLUG_LOG(kErr, "Create response thread failed");
        return -1;
    }
    if (threads.receive.Start(ServerRecv, "ServerRecv") != 0) {
        PLUG_LOG(kErr, "Create receive thread error.");
        return -1;
    }
    return 0;
}

void DeleteServer(LinkThreads& threads) {
    const LogAuthor author(__func__);
    state.running = false;
    state.work.Set();
    state.stop.Set();
    Pace(1000);
    if (threads.response.Join() != 0) PLUG_LOG(kErr, "Stop response thread error...");
    if (threads.receive.Join() != 0) PLUG_LOG(kErr, "Stop rtsp client stream error...");
    CloseSocket();
}

void ResetLinkRunning() {
    state.running = false;
}

int SendFrame(ConstBytes frame) {
    if (frame.empty() || frame.size() > kMaxFrameSize) return -1;
    const Guard guard(state.link);
    if (state.socket == kNoSocket || state.torn) return -1;
    const std::size_t sent = SendWhole(state.socket, frame, kSendMilliseconds);
    if (sent == frame.size()) return 0;
    if (sent > 0) GiveUpLink(sent, frame.size());
    return -1;
}

}  // namespace plug
