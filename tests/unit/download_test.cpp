// The HTTP client against a real server on loopback.
#include "platform/download.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <future>

#include "bench/http_server.h"
#include "platform/link_state.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

class Download : public Sandbox {
  protected:
    static constexpr char kFile[] = "/tmp/file";

    /// Fetches from a server that answers so; without an answer it sends Body(5000).
    int Fetch(const std::string& answer, const std::string& path = "/path/of.file") {
        server_.AnswerAs(answer);
        return DownLoadFIle("127.0.0.1", server_.port(), path.c_str(), kFile);
    }

    static std::string Body(std::size_t size) {
        std::string body;
        for (std::size_t i = 0; i < size; ++i) body += static_cast<char>('!' + (i * 31 + i / 256) % 90);
        return body;
    }

    static bool Exists(const char* path) { return access(path, F_OK) == 0; }

    bench::HttpServer server_{Body(5000)};
};

TEST_F(Download, StoresTheBodyThatItAskedFor) {
    WriteFile(kFile, Body(9000));
    EXPECT_EQ(0, DownLoadFIle("localhost", server_.port(), "/path/of.file", kFile)) << "a name is resolved";
    EXPECT_EQ(Body(5000), ReadFile(kFile)) << "an older, longer file is replaced";
    EXPECT_EQ(
        "GET /path/of.file HTTP/1.1\r\nHost:localhost\r\nAccept:*/*\r\n"
        "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\nConnection:Keep-Alive\r\n\r\n",
        server_.NextRequest());
}

TEST_F(Download, TheLengthLineDecides) {
    const std::string blanks(63 - 20, ' ');
    const struct {
        std::string line;
        std::size_t sent;
        int result;
        std::size_t stored;
    } kCases[] = {
        {"Content-Length: 1025", 1025, 0, 1025},
        {"Content-Length: 1024", 1024, -1, 0},  // one block or less
        {"Content-Length: -5", 2048, -1, 0},
        {"Content-Length: 4294969344", 2048, -1, 0},
        {"Content-Length:2000", 2000, 0, 2000},
        {"Content-Length: 2000" + blanks, 2000, 0, 2000},
        {"Content-Length: 2000" + blanks + " ", 2000, -1, 0},  // 64 characters
        {"content-length: 2000", 2000, -1, 0},
        {"Content-Length: 1500", 4000, 0, 1500},
        {"Content-Length: 2000", 1999, -1, 1999},  // an early end: what came is kept
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.line);
        WriteFile(kFile, "old");
        EXPECT_EQ(row.result, Fetch("HTTP/1.1 200 OK\r\n" + row.line + "\r\n\r\n" + Body(row.sent)));
        EXPECT_EQ(Body(row.stored), ReadFile(kFile));
    }
    EXPECT_EQ(-1, Fetch("HTTP/1.1 200 OK\r\nContent-Le"));
    WriteFile(kFile, "old");
    EXPECT_EQ(-1, Fetch("HTTP/1.1 404 Not Found\r\nContent-Length: 2000\r\n\r\n" + Body(2000)));
    EXPECT_TRUE(Exists(kFile) && ReadFile(kFile).empty());
}

TEST_F(Download, AHeaderIsCutAt1024BytesAndSearchedAsItIs) {
    // The length stands in the cut header, so what follows the first 1024 bytes is the body.
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 2000\r\nX-Fill: ";
    EXPECT_EQ(0, Fetch(head + std::string(1024 - head.size(), 'x') + Body(2000)));
    EXPECT_EQ(Body(2000), ReadFile(kFile));
    // Here its line end is cut off.
    const std::string start = "HTTP/1.1 200 OK\r\nX-Fill: ";
    const std::string length = "\r\nContent-Length: 2000";
    const std::string fill(1024 - start.size() - length.size(), 'x');
    EXPECT_EQ(-1, Fetch(start + fill + length + "\r\n\r\n" + Body(2000)));
}

TEST_F(Download, ARequestThatDoesNotFitIsNotSent) {
    EXPECT_EQ(0, Fetch("", "/"));
    const std::string fitting = "/" + std::string(1023 - server_.NextRequest().size(), 'p');
    EXPECT_EQ(0, Fetch("", fitting));
    EXPECT_EQ(1023U, server_.NextRequest().size());
    const std::string log = FullLogOf([&] { EXPECT_EQ(-1, Fetch("", fitting + "p")); });
    EXPECT_EQ("", server_.NextRequest());
    EXPECT_TRUE(Contains(log, "req is error."));
}

TEST_F(Download, ALostLinkEndsIt) {
    for (int link = 0; link < 2; ++link) {
        ClearLinkError();
        EXPECT_EQ(0, Fetch("")) << "the link before does not count";
        server_.NextRequest();
        auto result = std::async(std::launch::async, [this] { return Fetch("", "/file?stall"); });
        EXPECT_NE("", server_.NextRequest());
        RaiseLinkError();
        EXPECT_EQ(std::future_status::ready, result.wait_for(std::chrono::seconds(20)));
        EXPECT_EQ(-1, result.get());
    }
}

TEST_F(Download, AFileThatTakesNoMoreEndsItAtOnce) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit least{4096, RLIM_INFINITY};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &least));
    const std::string announced = "HTTP/1.1 200 OK\r\nContent-Length: 20000\r\n\r\n";
    const std::string log = LogOf([&] { EXPECT_EQ(-1, Fetch(announced + Body(15000))); });
    EXPECT_EQ("", log) << "the end of what is sent is not waited for";
}

TEST_F(Download, FailsWithoutAServerOrAFile) {
    EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", 9, "/x", kFile));
    EXPECT_EQ(-1, DownLoadFIle("no.such.host.invalid", 80, "/x", kFile));
    EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", server_.port(), "/x", "/tmp/none/file"));
    ExpectOthersMakeWay(kFile, [this] { EXPECT_EQ(0, Fetch("")); });
}

TEST_F(Download, ABodyThatTheFileSystemHasNoRoomForIsRefused) {
    ASSERT_EQ(0, mkdir("/tmp/small", 0755));
    ASSERT_EQ(0, mount("none", "/tmp/small", "tmpfs", 0, "size=8m"));
    const auto fetch = [this](const std::string& size) {
        return DownLoadFIle("127.0.0.1", server_.port(), ("/p?size=" + size).c_str(), "/tmp/small/file");
    };
    EXPECT_EQ(0, fetch("4000000"));
    EXPECT_EQ(4'000'000U, std::filesystem::file_size("/tmp/small/file"));
    const std::string log = FullLogOf([&] { EXPECT_EQ(-1, fetch("4300000")); });
    EXPECT_TRUE(Contains(log, "body of 4300000 bytes refused")) << log;
    EXPECT_EQ(0U, std::filesystem::file_size("/tmp/small/file"));
}

}  // namespace
}  // namespace plug::test
