// The agent's own update where it fails, and the digest that decides.
#include "rules/self_update.h"

#include <sys/mount.h>
#include <unistd.h>

#include <thread>

#include "bench/http_server.h"
#include "rules/plug_data.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

// 3000 times 'a', by an independent tool.
constexpr char kMd5[] = "6ca003d00c9bb4569a4a27d751db7a89";
constexpr char kDownload[] = "/tmp/plug_download";

class SelfUpdate : public Sandbox {
  protected:
    std::string Command(const std::string& md5, unsigned port) const {
        return R"({"pluginID":"id","fromVersion":"1","toVersion":"2","url":"http://127.0.0.1:)" +
               std::to_string(port) + R"(/new","fileLength":3000,"fileMD5":")" + md5 + R"(","token":"t"})";
    }
};

TEST_F(SelfUpdate, FailuresAreReported) {
    PlatformPeer platform;
    bench::HttpServer server(std::string(3000, 'a'));
    const auto expect_failure = [&](const std::string& command) {
        unlink("/tmp/plugstatus");
        EXPECT_EQ(0, ParserPlugData(2, command.c_str()));
        platform.ExpectNext(MsgType::kDataReport, 3,
                            R"({"pluginID":"id","fromVersion":"1","toVersion":"2","process":0,"result":-1,)"
                            R"("resultDesc":""})");
        EXPECT_EQ("104\n", ReadFile("/tmp/plugstatus"));
    };
    std::string upper(kMd5);
    for (char& c : upper) c = static_cast<char>(toupper(c));
    expect_failure(Command(upper, server.port()));
    EXPECT_NE(0, access(kDownload, F_OK)) << "a mismatch removes the file";

    server.AnswerAs("HTTP/1.1 404 Not Found\r\n\r\n");
    expect_failure(Command(kMd5, server.port()));
    EXPECT_EQ(0, access(kDownload, F_OK)) << "a failed download leaves what there is";

    expect_failure("no json");

    // An empty digest is no digest.
    server.AnswerAs("");
    expect_failure(Command("", server.port()));
}

TEST_F(SelfUpdate, TheStepByItselfReportsNothing) {
    PlatformPeer platform;
    bench::HttpServer server(std::string(3000, 'a'));
    for (const char* md5 : {kMd5, "other"}) {
        bool matches = false;
        const std::string log =
            FullLogOf([&] { EXPECT_EQ(0, DownLoadProc(md5, "127.0.0.1", server.port(), "/new", matches)); });
        EXPECT_TRUE(Contains(log, "ParseJson.c->DownLoadProc->")) << log;
        EXPECT_EQ(md5 == kMd5, matches);
        EXPECT_EQ(md5 == kMd5 ? 0 : -1, access(kDownload, F_OK));
        EXPECT_EQ("004\n", ReadFile("/tmp/plugstatus"));
    }
    EXPECT_TRUE(platform.NothingSent());
}

// Something that fails every read takes the file's place while it comes in.
TEST_F(SelfUpdate, AFileThatCannotBeReadMatchesNoDigest) {
    bench::HttpServer server(std::string(3000, 'a'));
    std::thread other([&server] {
        server.NextRequest();
        EXPECT_EQ(0, mount("/proc/self/mem", kDownload, nullptr, MS_BIND, nullptr));
    });
    bool matches = true;
    DownLoadProc("", "127.0.0.1", server.port(), "/new?slow=1", matches);
    other.join();
    EXPECT_FALSE(matches);
    EXPECT_EQ("", ReadFile("/tmp/plugstatus"));
}

TEST_F(SelfUpdate, WhatCannotBeAnnouncedIsNoUpdate) {
    bench::HttpServer server(std::string(3000, 'a'));
    ASSERT_TRUE(std::filesystem::create_directories("/tmp/plugstatus/in-the-way"));
    bool matches = true;
    EXPECT_EQ(0, DownLoadProc(kMd5, "127.0.0.1", server.port(), "/new", matches));
    EXPECT_FALSE(matches);
    EXPECT_NE(0, access(kDownload, F_OK));
}

TEST_F(SelfUpdate, FileDigests) {
    const std::pair<std::string, const char*> files[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {std::string(1023, 'a'), "e3e210ff5dfc9da789cdbee262348db6"},
        {std::string(2048, 'a'), "b7ea2d21ad2ef3e28085d30247603e0b"}};
    Md5Text own;
    for (const auto& [content, md5] : files) {
        WriteFile("/tmp/file", content);
        EXPECT_EQ(0, Compute_file_md5("/tmp/file", own));
        EXPECT_STREQ(md5, own.data()) << content.size();
    }
    EXPECT_EQ(-1, Compute_file_md5("/tmp/none", own));
    EXPECT_STREQ("", own.data());
}

}  // namespace
}  // namespace plug::test
