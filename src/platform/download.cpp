#include "platform/download.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <span>

#include "core/clock.h"
#include "core/file.h"
#include "core/log.h"
#include "core/sync.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Download.c";

constexpr std::size_t kRequestBytes = 1024;
constexpr std::size_t kMostHeaderBytes = 1024;
constexpr std::size_t kChunkBytes = 1024;
constexpr std::size_t kLengthLineBytes = 64;  // of the Content-Length line, with its NUL
constexpr long kShortestBody = 1025;
constexpr int kSilenceSeconds = 30;
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

/// A connection to a server, closed with its scope.
class Connection {
  public:
    Connection() = default;
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
        socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
        if (socket_ < 0 || !SetTimeout(SO_SNDTIMEO) || !SetTimeout(SO_RCVTIMEO) ||
            connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
            PLUG_LOG(kErr, "can't connect to %s, port %u", host, port);
            return false;
        }
        return true;
    }

    bool Send(std::string_view text) {
        return send(socket_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }

    /// The number of bytes received, or 0 or less at the end, after an error or after 30 s of silence.
    ssize_t Receive(std::span<char> room) { return recv(socket_, room.data(), room.size(), 0); }

  private:
    bool SetTimeout(int direction) {
        const timeval limit{kSilenceSeconds, 0};
        return setsockopt(socket_, SOL_SOCKET, direction, &limit, sizeof limit) == 0;
    }

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
        if (connection.Receive(room.subspan(used, 1)) <= 0) return {};
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

/// Receives the whole body, into `file` unless that is null. True when all of it came and was written.
bool ReceiveBody(Connection& connection, int length, FILE* file) {
    std::array<char, kChunkBytes> chunk;
    for (std::size_t left = static_cast<std::size_t>(length); left > 0;) {
        const ssize_t received = connection.Receive(std::span(chunk).first(std::min(left, chunk.size())));
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
    Connection connection;
    int length = 0;
    switch (Open(connection, host, port, path, length)) {
        case Opening::kBody:
            return ReceiveBody(connection, length, file.get()) ? 0 : -1;
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
    Connection connection;
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
