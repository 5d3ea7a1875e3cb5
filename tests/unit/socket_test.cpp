// What goes out on a socket that does not take everything, and events without a descriptor.
#include "platform/socket.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "bench/agent_link.h"
#include "support/text.h"

namespace plug::test {
namespace {

/// Both ends of a connection; the first is non-blocking and takes few bytes.
class Narrow : public testing::Test {
  protected:
    Narrow() {
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_));
        const int small = 1;
        setsockopt(ends_[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
        for (std::size_t at = 0; at < frame_.size(); ++at) frame_[at] = static_cast<std::uint8_t>(at % 251);
    }
    ~Narrow() override { close(ends_[0]); }

    int ends_[2];
    ByteVector frame_ = ByteVector(100'000);
};

TEST_F(Narrow, AFrameIsFinishedWhenTheOtherEndReads) {
    ByteVector received;
    std::thread reader([&] {
        bench::AgentLink other(ends_[1], 1, bench::Server::kLogin, "");
        received =
            other.AwaitBytes(frame_.size(), std::chrono::steady_clock::now() + std::chrono::seconds(30));
    });
    EXPECT_EQ(frame_.size(), SendWhole(ends_[0], frame_, 30'000));
    reader.join();
    EXPECT_EQ(frame_, received);
}

TEST_F(Narrow, AnUnreadFrameIsGivenUp) {
    const std::size_t sent = SendWhole(ends_[0], frame_, 50);
    EXPECT_GT(sent, 0U);
    EXPECT_LT(sent, frame_.size());
    EXPECT_EQ(0U, SendWhole(ends_[0], frame_, 600'000)) << "nothing was taken: there is nothing to finish";
    close(ends_[1]);
    EXPECT_EQ(0U, SendWhole(ends_[0], frame_, 60'000));
}

TEST(PollableEvent, WithoutADescriptorTouchesNoOther) {
    int pipe_ends[2];
    ASSERT_EQ(0, pipe2(pipe_ends, O_NONBLOCK));
    ASSERT_EQ(0, dup2(pipe_ends[1], STDIN_FILENO));
    rlimit open_files{};
    getrlimit(RLIMIT_NOFILE, &open_files);
    const rlimit none{3, open_files.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    PollableEvent event;
    EXPECT_EQ(-1, event.Prepare());
    event.Set();
    EXPECT_EQ(Readiness::kTimeout, WaitReady(-1, Direction::kRead, event, 0));
    setrlimit(RLIMIT_NOFILE, &open_files);
    char byte = 0;
    EXPECT_EQ(-1, read(pipe_ends[0], &byte, 1)) << "a set event went to descriptor 0";
}

}  // namespace
}  // namespace plug::test
