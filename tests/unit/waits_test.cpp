// Events, pauses and the flags of the link, as the threads wait for them.
#include <sys/time.h>

#include <csignal>

#include "core/clock.h"
#include "core/sync.h"
#include "platform/link_state.h"
#include "platform/session.h"
#include "support/text.h"

namespace plug::test {
namespace {

/// Sends this process a signal that it ignores but for the interruption, in so many milliseconds.
void InterruptIn(int milliseconds) {
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    sigaction(SIGALRM, &nothing, nullptr);
    const itimerval once{{}, {0, milliseconds * 1000}};
    setitimer(ITIMER_REAL, &once, nullptr);
}

TEST(Waits, LastAsLongAsTheyShould) {
    // Together they pass a whole second, wherever in it they begin.
    for (int wait = 0; wait < 3; ++wait) {
        Event event;
        const std::int64_t begin = MonotonicMilliseconds();
        EXPECT_FALSE(event.WaitFor(400));
        EXPECT_GE(MonotonicMilliseconds() - begin, 399);
    }
    const std::int64_t begin = MonotonicMilliseconds();
    InterruptIn(20);
    Pace(100);
    EXPECT_GE(MonotonicMilliseconds() - begin, 99) << "served in full";
}

TEST(Waits, AnInterruptedOneIsOverLikeATimeOut) {
    InterruptIn(20);
    EXPECT_EQ(Readiness::kTimeout, WaitReady(-1, Direction::kRead, {}, 60'000));
}

TEST(Waits, AnEventIsTakenOnce) {
    Event event;
    event.Set();
    EXPECT_TRUE(event.WaitFor(0) && event.TakeWithin(0));
    EXPECT_FALSE(event.TakeWithin(0));
}

TEST(LinkState, ALostLinkEndsTheWaitOfAnAttempt) {
    ClearLinkError();
    RaiseLinkError();
    BeginAttempt();
    const std::int64_t begin = MonotonicSeconds();
    WaitAttempt(60'000);
    EXPECT_LT(MonotonicSeconds() - begin, 50);
}

TEST(LinkState, AFreshLinkKnowsNoAck) {
    NoteHeartbeatAck();
    EXPECT_TRUE(HeartbeatAckOlderThan(-1));
    WaitUntil([] {  // but for a second that ends in between
        NoteHeartbeatAck();
        return !HeartbeatAckOlderThan(0);
    });
    LinkThreads threads;
    ResetLinkState(threads);
    EXPECT_FALSE(HeartbeatAckOlderThan(-1));
}

}  // namespace
}  // namespace plug::test
