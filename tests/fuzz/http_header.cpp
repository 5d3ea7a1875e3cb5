// What a server answers to a download: nothing but bytes of the answer's body is ever stored.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/process.h"
#include "core/paths.h"
#include "fuzz/surroundings.h"
#include "platform/download.h"

namespace plug::test {
namespace {

constinit ConstBytes answer;
constinit int server = -1;

}  // namespace
}  // namespace plug::test

/// In place of the C library's: connects the socket to the test, which has sent its answer and says no more.
extern "C" int __wrap_connect(int socket, const sockaddr* /*address*/, socklen_t /*size*/) {
    using namespace plug::test;
    int ends[2];
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    Require(send(ends[1], answer.data(), answer.size(), 0) == static_cast<ssize_t>(answer.size()));
    shutdown(ends[1], SHUT_WR);
    Require(dup3(ends[0], socket, O_CLOEXEC) == socket);
    close(ends[0]);
    server = ends[1];
    return 0;
}

namespace plug::test {

void Look(ByteReader input) {
    // A long body need not be found byte by byte.
    const std::size_t filler = input.U16() % 4000;
    std::vector<std::uint8_t> bytes = Exact(input.rest());
    bytes.insert(bytes.end(), filler, '.');
    answer = bytes;
    const int result = DownLoadFIle("127.0.0.1", 80, "/plug", kDownloadPath);
    close(server);
    if (result == 0) {
        const std::string stored = bench::ReadFile(kDownloadPath);
        Require(stored.size() > 1024 && AsText(bytes).find(stored) != std::string_view::npos);
    }
}

}  // namespace plug::test
