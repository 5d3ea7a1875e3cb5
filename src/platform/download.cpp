#include "platform/download.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <span>

#include "core/clock.h"
#include "core/file.h"
#include "core/log.h"
#include "core/sync.h"
#include "core/text.h"
#include "platform/link_state.h"
#include "platform/socket.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Download.c";

constexpr std::size_t kRequestBytes = 1024;
constexpr std::size_t kMostHeaderBytes = 1024;
constexpr std::size_t kChunkBytes = 1024;
constexpr std::size_t kLengthLineBytes = 64;  // of the Content-Length line, with its NUL
constexpr long kShortestBody = 1025;
constexpr std::int64_t kStepMilliseconds = 30'000;
constexpr std::size_t kLeastStepBytes = 1024;
constexpr std::int64_t kFileMilliseconds = 30 * 60'000;
constexpr std::int64_t kRateMilliseconds = 90'000;
constexpr std::uint64_t kSpareBytes = 4 << 20;  // what a download leaves of the file system
constexpr int kNoRate = -1;

struct DownloadState {
    Mutex resolver;  // gethostbyname is not reentrant
    std::atomic<int> rate{kNoRate};
};
constinit DownloadState state;

/// The first address of the host; false when there is none.
bool Resolve(const char* host, in_addr& address) {
    const Guard guard(state.resolver);
    const hostent* const entry = gethostbyname(host);
    if (entry == nullptr || entry->h_addrtype != AF_INET || entry->h_addr_list[0] == nullptr) return false;
    memcpy(&address, entry->h_addr_list[0], sizeof address);
    return true;
}

/// The time that a transfer still has: in all, and for what it is about to do.
class Limits {
  public:
    explicit Limits(std::int64_t all_milliseconds) : end_(MonotonicMilliseconds() + all_milliseconds) {
        Begin();
    }

    /// Begins what may take 30 seconds.
    void Begin() {
        step_end_ = MonotonicMilliseconds() + kStepMilliseconds;
        step_bytes_ = 0;
    }
    /// Counts bytes of the body; every 1024 of them begin 30 seconds anew.
    void Count(std::size_t bytes) {
        step_bytes_ += bytes;
        if (step_bytes_ >= kLeastStepBytes) Begin();
    }
    /// In milliseconds; 0 when there are none.
    int Left() const {
        return static_cast<int>(
            std::max<std::int64_t>(std::min(end_, step_end_) - MonotonicMilliseconds(), 0));
    }

  private:
    const std::int64_t end_;
    std::int64_t step_end_ = 0;
    std::size_t step_bytes_ = 0;
};

/// A connection to a server, closed with its scope.
class Connection {
  public:
    explicit Connection(std::int64_t all_milliseconds) : limits_(all_milliseconds) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        if (socket_ >= 0) close(socket_);
    }

    bool Open(const char* host, unsigned port) {
        sockaddr_in server{};
        server.sin_family = AF_INET;
        server.sin_port = htons(static_cast<std::uint16_t>(port));
        if (!Resolve(host, server.sin_addr)) {
            PLUG_LOG(kErr, "gethostbyname error for host:%s", host);
            return false;
        }
        socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
        limits_.Begin();
        if (socket_ >= 0 && ConnectTo(socket_, server, LinkErrorEvent(), limits_.Left())) return true;
        PLUG_LOG(kErr, "can't connect to %s, port %u", host, port);
        return false;
    }

    bool Send(std::string_view text) {
        limits_.Begin();
        return send(socket_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }

    /// The next bytes of the header, which must be whole within its time. 0 or less at the end, after an
    /// error, when the time is over or the link is lost.
    ssize_t ReceiveHeader(std::span<char> room) { return Receive(room); }
    /// The same for the body, within its limits.
    ssize_t ReceiveBody(std::span<char> room) {
        const ssize_t received = Receive(room);
        if (received > 0) limits_.Count(static_cast<std::size_t>(received));
        return received;
    }
    void BeginBody() { limits_.Begin(); }

  private:
    ssize_t Receive(std::span<char> room) {
        while (limits_.Left() > 0) {
            const ssize_t received = recv(socket_, room.data(), room.size(), 0);
            if (received >= 0 || (errno != EAGAIN && errno != EINTR)) return received;
            const Readiness readiness =
                WaitReady(socket_, Direction::kRead, LinkErrorEvent(), limits_.Left());
            if (readiness == Readiness::kStopped || readiness == Readiness::kError) return -1;
        }
        return -1;
    }

    Limits limits_;
    int socket_ = -1;
};

/// The request, or an empty text when it does not fit.
std::string_view BuildRequest(std::span<char> room, const char* host, const char* path) {
    const int length = snprintf(room.data(), room.size(),
                                "GET %s HTTP/1.1\r\n"
                                "Host:%s\r\n"
                                "Accept:*/*\r\n"
                                "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                                "Connection:Keep-Alive\r\n"
                                "\r\n",
                                path, host);
    if (length < 0 || static_cast<std::size_t>(length) >= room.size()) return {};
    return {room.data(), static_cast<std::size_t>(length)};
}

/// The header with its empty line, cut at the room: read byte by byte, so that the body stays in the socket.
/// Empty when the connection ends before.
std::string_view ReadHeader(Connection& connection, std::span<char> room) {
    std::size_t used = 0;
    while (used < room.size() && !std::string_view(room.data(), used).ends_with("\r\n\r\n")) {
        if (connection.ReceiveHeader(room.subspan(used, 1)) <= 0) return {};
        ++used;
    }
    return {room.data(), used};
}

/// The body length that the header announces, or -1 when there is none or it is not accepted.
int BodyLength(std::string_view header) {
    constexpr std::string_view kKey = "Content-Length:";
    const std::size_t start = header.find(kKey);
    if (start == std::string_view::npos) {
        PLUG_LOG(kErr, "Can't find Content-Length");
        return -1;
    }
    const std::size_t end = header.find("\r\n", start);
    if (end == std::string_view::npos) {
        PLUG_LOG(kErr, "Can't find newline and return characters.");
        return -1;
    }
    const std::string_view text = header.substr(start, end - start);
    PLUG_LOG(kDebug, "lengthlen %d", static_cast<int>(text.size()));
    std::array<char, kLengthLineBytes> line;
    if (text.size() >= line.size()) return -1;
    CopyText(line, text);
    const long length = strtol(line.data() + kKey.size(), nullptr, 10);
    PLUG_LOG(kDebug, "lens = %ld", length);
    return length >= kShortestBody && length <= INT_MAX ? static_cast<int>(length) : -1;
}

/// How far the exchange before the body came.
enum class Opening : std::uint8_t { kBody, kNoRequest, kNotFound, kFailed };

/// Connects, asks for `path` and reads the header; the connection is then at the body, of `length` bytes.
Opening Open(Connection& connection, const char* host, unsigned port, const char* path, int& length) {
    if (!connection.Open(host, port)) return Opening::kFailed;
    std::array<char, kRequestBytes> request_room;
    const std::string_view request = BuildRequest(request_room, host, path);
    if (request.empty()) return Opening::kNoRequest;
    std::array<char, kMostHeaderBytes> header_room;
    std::string_view header;
    if (connection.Send(request)) header = ReadHeader(connection, header_room);
    if (header.empty()) {
        PLUG_LOG(kDebug, "head error");
        return Opening::kFailed;
    }
    PLUG_LOG(kDebug, "head %.*s", static_cast<int>(header.size()), header.data());
    if (header.find("404 Not Found") != std::string_view::npos) return Opening::kNotFound;
    length = BodyLength(header);
    return length > 0 ? Opening::kBody : Opening::kFailed;
}

/// False when the file system has no room for a body of that length.
bool HasRoom(FILE* file, int length) {
    struct statvfs room {};
    if (fstatvfs(fileno(file), &room) != 0) return true;
    const std::uint64_t free_bytes = std::uint64_t{room.f_bavail} * room.f_frsize;
    if (static_cast<std::uint64_t>(length) + kSpareBytes <= free_bytes) return true;
    PLUG_LOG(kErr, "body of %d bytes refused, there is room for %llu less %llu", length,
             static_cast<unsigned long long>(free_bytes), static_cast<unsigned long long>(kSpareBytes));
    return false;
}

/// Receives the whole body, into `file` unless that is null. True when all of it came and was written.
bool ReceiveBody(Connection& connection, int length, FILE* file) {
    connection.BeginBody();
    std::array<char, kChunkBytes> chunk;
    for (std::size_t left = static_cast<std::size_t>(length); left > 0;) {
        const ssize_t received = connection.ReceiveBody(std::span(chunk).first(std::min(left, chunk.size())));
        if (received <= 0) {
            PLUG_LOG(kErr, "body of %d bytes ended %zu bytes early", length, left);
            return false;
        }
        const auto count = static_cast<std::size_t>(received);
        if (file != nullptr && fwrite(chunk.data(), 1, count, file) != count) return false;
        left -= count;
    }
    return file == nullptr || fflush(file) == 0;
}

}  // namespace

int DownLoadFIle(const char* host, unsigned port, const char* path, const char* local_file) {
    const LogAuthor author(__func__);
    const FilePtr file = OpenToWrite(local_file);
    if (!file) {
        PLUG_LOG(kDebug, "download filename: %s", local_file);
        PLUG_LOG(kDebug, "can't open local file");
        return -1;
    }
    Connection connection(kFileMilliseconds);
    int length = 0;
    switch (Open(connection, host, port, path, length)) {
        case Opening::kBody:
            return HasRoom(file.get(), length) && ReceiveBody(connection, length, file.get()) ? 0 : -1;
        case Opening::kNoRequest:
            PLUG_LOG(kErr, "req is error.");
            break;
        case Opening::kNotFound:
            PLUG_LOG(kDebug, "found");
            break;
        case Opening::kFailed:
            break;
    }
    return -1;
}

int DownTestRateFIle(const char* host, unsigned port, const char* path, const char* /*file_name*/) {
    const LogAuthor author(__func__);
    state.rate = kNoRate;
    Connection connection(kRateMilliseconds);
    int length = 0;
    const Opening opening = Open(connection, host, port, path, length);
    if (opening == Opening::kNoRequest) PLUG_LOG(kErr, "req error.");
    if (opening == Opening::kNotFound) PLUG_LOG(kErr, "404 Not Found");
    if (opening != Opening::kBody) return -1;

    const std::int64_t start = MonotonicSeconds();
    if (!ReceiveBody(connection, length, nullptr)) return -1;
    const std::int64_t elapsed = MonotonicSeconds() - start;
    PLUG_LOG(kDebug, "--------------subtime %ld,lens = %d", static_cast<long>(elapsed), length);
    const int rate = elapsed == 0 ? 0 : static_cast<int>(length / elapsed);
    state.rate = rate;
    PLUG_LOG(kDebug, "--------------rate %d", rate);
    return 0;
}

int MeasuredRate() {
    return state.rate;
}

}  // namespace plug
