#include "support/local_peer.h"

#include "commserver/comm_send.h"
#include "commserver/comm_server.h"
#include "platform/link_state.h"

namespace plug::test {
namespace {

using bench::PeerEventKind;

constexpr std::uint16_t kMarker = 1;  // a FuncID that nothing else sends; never answered
constexpr bench::Milliseconds kPatience{30'000};

}  // namespace

LocalServer::LocalServer() {
    SetLoggedIn(true);
    EXPECT_EQ(0, CommServerStart());
}

LocalServer::~LocalServer() {
    EXPECT_EQ(0, CommServerStop());
}

TestPeer::TestPeer(const Answer& answer)
    : LocalPeer({.answer = [answer](const PeerEvent& request) {
          return request.func_id == kMarker ? std::nullopt : answer(request);
      }}) {}

void TestPeer::ConnectServed() {
    std::optional<PeerEvent> first;
    do {
        if (!Connect(kPatience)) throw std::runtime_error("nobody listens at the local socket");
        WaitFor(PeerEventKind::kConnected, kPatience);
        test::WaitUntil([this] { return CommSendCmd(kMarker, {}) == 0 || !connected(); });
        first = WaitFor([](const PeerEvent&) { return true; }, kPatience);
    } while (first && first->kind == PeerEventKind::kClosed);
    EXPECT_TRUE(first && first->func_id == kMarker);
}

PeerEvent TestPeer::Next() {
    auto event =
        WaitFor([](const PeerEvent& any) { return any.kind != PeerEventKind::kConnected; }, kPatience);
    if (!event || event->kind != PeerEventKind::kRequest)
        throw std::runtime_error("no sound frame: " + (event ? event->note : std::string("none at all")));
    return *event;
}

std::vector<PeerEvent> TestPeer::Unread() {
    EXPECT_EQ(0, CommSendCmd(kMarker, {}));
    std::vector<PeerEvent> unread;
    for (PeerEvent next = Next(); next.func_id != kMarker; next = Next()) unread.push_back(std::move(next));
    return unread;
}

}  // namespace plug::test
