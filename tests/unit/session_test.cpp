// Registration, login and the upward sends, byte by byte, over a loopback link of its own network. The frames
// were made with openssl as in frame_test.cpp.
#include "platform/session.h"

#include <ctime>
#include <thread>

#include "bench/agent_link.h"
#include "platform/identity.h"
#include "platform/inbound.h"
#include "platform/link_state.h"
#include "platform/uplink.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

constexpr char kRegister[] =
    "ccdd290fbc400000000070696e2d3437313100000000592d6c0c8cfff0c241d3437e28c56b0fc11253453ec0ff6356da34b1"
    "9a935547effc0a53f531bb0d1e7ca19628b255c325e5c94e68ecf15aa419a36e40924584";
// Token 0102..20, login server 127.0.0.1:6040.
constexpr char kRegisterAck[] =
    "ccdd0b029f5000000030252aa64f7b98dd1d91502b08e7fcf5839f7b24340e529d58244e3f5ccd25b480532359805bea7f9f"
    "a813b9efc960203f6b7b7d0a99990541fd7deb46c6a1d1b9b4483211aa48f0048b8522111c61d3";
constexpr char kLogin[] =
    "ccdd2a2cb1200070696e2d34373131000000000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"
    "2091c2e34596cf3fa06dbe2548aede5a70f3f656bb15b0434e5f28d5a374f53501";
constexpr char kLoginAck[] = "ccdd0b022e10000000661dc3684d71920fd75030da26cb91f7";  // 30 seconds
// The same acks without padding (openssl enc -nopad): the record, then bytes 40,
// or FF, up to the block's end.
constexpr char kBareRegisterAck[] =
    "ccdd0b029f5000000030252aa64f7b98dd1d91502b08e7fcf5839f7b24340e529d58244e3f5ccd25b480532359805bea7f9f"
    "a813b9efc960203f6b7b7d0a99990541fd7deb46c6a1d16b41541ceee8dc6133f317ded96dd8cf";
constexpr char kEmptyAck[] = "ccdd0b00000000";
constexpr char kBareLoginAck[] = "ccdd0b002210007c78ad5b90ed80c6224ba00fe01c9b32";
constexpr char kRulesRequest[] =
    "ccdd31005b2000cba9d1052997d9f1a375f6922d03b1d0d86091691fe3671b3337f07acae859b0";

// A report of 250 times 'x': its body of 256 bytes needs both bytes of the length. The sum is by python3:
//
//   plain = bytes([0, 0, 13, 250, 0]) + b'x' * 250
//   body = subprocess.run('openssl enc ...'.split(), input=plain, capture_output=True).stdout
//   check = (len(body) % 256 + len(body) // 256 + sum(plain)) % 256
//   frame = bytes([0xCC, 0xDD, 17 + 32, 0, check, len(body) % 256, len(body) // 256]) + body
constexpr char kLongReport[] =
    "ccdd3100380001622140a872888365f3ea6aa06248d6e4be6fbf37c8ff30560f7474a178f7e48755d561c93ec995655f00"
    "05daaafa5212949444a648595694cf882885b45b4b1ee6c416d5717b394a590f32da1580b406cf28fa343af689fb5e164b"
    "0868c830fdc10448e3b92d8038e04c2aa12d87d0712cbaca2bc5bb4ee2f17492d13e187aa5c16680f8469f4a78c52fb58b"
    "3c176b998922d8d508c2edc2e7df7dd1d652702ecd841a880c0f90ae3ea88e3606ff4752c75170273dae03211a02fd97c4"
    "c45d2d25467232b99a40421b334b038e500fa810f7be70da89ba9b3ed9ed929504622f022d3725cebb21631ab618742abf"
    "5562d614852fdc99dcbb986131dccf00c150";

/// The platform at one port of the loopback.
class Server {
  public:
    explicit Server(std::uint16_t port) : listener_(port) {}

    /// Takes one connection, expects a frame and answers it.
    void Exchange(std::string_view expected, std::string_view answer) {
        link_ = listener_.Accept();
        EXPECT_EQ(expected, Receive(expected.size() / 2));
        link_->Send(ParseHex(answer));
    }
    /// The next bytes; fewer when the connection ends.
    std::string Receive(std::size_t size) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        return ToHex(link_->AwaitBytes(size, deadline));
    }

  private:
    bench::DirectServer listener_;
    bench::LinkPtr link_;
};

void OnLost() {
    SetLoggedIn(false);
    RaiseLinkError();
}

class Session : public Sandbox {
  protected:
    void SetUp() override {
        SetLogMask(0);
        ASSERT_NO_FATAL_FAILURE(UseProfile("[Dev]\nPIN=pin-4711\n[Protool]\nKEY=abc\nSERVER1=127.0.0.1\n"));
        SetLinkHandlers({CBHandle, OnLost});
    }

    /// Registers and logs in, with one server thread for each.
    void LogIn(Server& login, const char* register_ack = kRegisterAck, const char* login_ack = kLoginAck) {
        Server registration(6039);
        std::thread first([&] { registration.Exchange(kRegister, register_ack); });
        EXPECT_EQ(0, RegisterStart(threads_, "127.0.0.1"));
        first.join();
        EXPECT_EQ("002\n", ReadFile("/tmp/plugstatus"));
        std::thread second([&] { login.Exchange(kLogin, login_ack); });
        EXPECT_EQ(0, LoginStart(threads_));
        second.join();
        EXPECT_EQ("003\n", ReadFile("/tmp/plugstatus"));
    }

    /// Takes the link down and logs in again. What ReLogin returns.
    int LogInAgain(Server& login, const char* ack) {
        DeleteServer(threads_);
        ClearLinkError();
        SetLoggedIn(false);
        std::thread server([&] { login.Exchange(kLogin, ack); });
        const int result = ReLogin(threads_);
        server.join();
        return result;
    }

    LinkThreads threads_;
};

TEST_F(Session, RegistersAtOneServerAndLogsInAtTheOther) {
    Server login(6040);
    EXPECT_EQ(-1, LoginStart(threads_)) << "no registration, no login server";
    LogIn(login, kBareRegisterAck, kBareLoginAck);
    EXPECT_EQ("00005e005301", ToHex(RouterMac())) << "the router's own";
    EXPECT_EQ(-1, LoginServer()) << "logged in already";
    EXPECT_EQ(0, RulesRequest());
    EXPECT_EQ(kRulesRequest, login.Receive(sizeof kRulesRequest / 2));
    DeleteServer(threads_);
    EXPECT_EQ("", login.Receive(1)) << "closed";
}

TEST_F(Session, AFailedAttemptLeavesNothingOpen) {
    Server login(6040);
    LogIn(login);
    DeleteServer(threads_);
    const std::ptrdiff_t descriptors = CountEntries("/proc/self/fd");
    EXPECT_EQ(-1, LogInAgain(login, kEmptyAck));
    EXPECT_EQ(descriptors, CountEntries("/proc/self/fd"));
    EXPECT_EQ(-1, RegisterStart(threads_, "127.0.0.1")) << "nobody listens";
    EXPECT_EQ(descriptors, CountEntries("/proc/self/fd"));
}

TEST_F(Session, TheLinkBehindATornFrameSends) {
    Server login(6040);
    LogIn(login);
    const ByteVector data(8100);
    // Nothing reads, until a frame goes out in part; where none does, there is made room for a part.
    while (!LinkError()) {
        if (SendIpUpData(data, 3, nullptr) != 0 && !LinkError()) login.Receive(1000);
    }
    EXPECT_EQ(0, LogInAgain(login, kLoginAck));
    EXPECT_EQ(0, SendHeartbeat());
    EXPECT_EQ("ccdd2104", login.Receive(11).substr(0, 8));
    DeleteServer(threads_);
}

TEST_F(Session, UpwardSendsHaveTheirBytesAndLimits) {
    const MacAddress mac = {0x00, 0x00, 0x5E, 0x00, 0x53, 0x01};
    const ByteVector data(8101);
    EXPECT_EQ(-1, SendIpUpData(AsBytes("hello"), 13, nullptr)) << "not logged in";
    EXPECT_EQ(-1, SendReplyUpData(0, {}, 3, nullptr));
    EXPECT_EQ(-1, SendHeartbeat()) << "no socket";

    Server login(6040);
    LogIn(login);
    const struct {
        int result;
        const char* frame;
    } kSends[] = {
        {SendIpUpData(AsBytes("hello"), 13, nullptr), "ccdd310036100063a0b4851690af8c3afb511dd82fab77"},
        {SendIpUpData(AsBytes("hello"), 3, &mac),
         "ccdd3300ee2000eb2aa7e5b13cd281b9db588740cc9aa2f91e761a1bded5f59340fd7568018f9b"},
        {SendIpUpData(AsBytes(std::string(250, 'x')), 13, nullptr), kLongReport},
        {SendReplyUpData(7, AsBytes("hello"), 3, &mac),
         "ccdd1a02f520000700eb2aa7e5b13cd281b9db588740cc9aa2f91e761a1bded5f59340fd7568018f9b"},
        {SendReplyUpData(0xFFFF, AsBytes("hello"), 3, nullptr),
         "ccdd19022a1000ffff014f0cfb517d7cda610de6fd451717bf"},
        {SendReplyUpData(11, {}, 3, nullptr), "ccdd19020b00000b00"},
        {SendReplyUpData(0x1234, {}, 3, &mac), "ccdd1a024600003412"},
    };
    for (const auto& row : kSends) {
        EXPECT_EQ(0, row.result);
        EXPECT_EQ(row.frame, login.Receive(std::string_view(row.frame).size() / 2));
    }
    EXPECT_EQ(-1, SendIpUpData({}, 3, nullptr));
    EXPECT_EQ(-1, SendIpUpData(data, 3, &mac));
    EXPECT_EQ(-1, SendReplyUpData(0, data, 3, &mac));
    EXPECT_EQ(-1, SendRouteUpData({}, {}, MsgType::kDataReport, 1, 0));
    EXPECT_EQ(0, SendIpUpData(ConstBytes(data).first(8100), 3, &mac));
    EXPECT_EQ("ccdd3300", login.Receive(8119).substr(0, 8)) << "the refused ones sent nothing";

    EXPECT_EQ(0, SendHeartbeat());
    const auto heartbeat = ParseHex(login.Receive(11));
    const auto time_bytes = ConstBytes(heartbeat).subspan(7);
    const int sum = time_bytes[0] + time_bytes[1] + time_bytes[2] + time_bytes[3];
    const std::uint8_t head[] = {0xCC, 0xDD, 0x21, 4, static_cast<std::uint8_t>(sum), 0, 0};
    EXPECT_EQ(ToHex(head), ToHex(ConstBytes(heartbeat).first(7)));
    EXPECT_NEAR(static_cast<double>(time(nullptr)), ByteReader(time_bytes).U32(), 60);
    DeleteServer(threads_);
}

// The platform reads nothing more, then all that there is.
TEST_F(Session, AFrameSentInPartIsTheLastOfItsLink) {
    WriteFile("/proc/sys/net/ipv4/tcp_wmem", "4096 4096 4096");
    WriteFile("/proc/sys/net/ipv4/tcp_rmem", "4096 4096 4096");
    PlatformPeer platform;
    const ByteVector report(8100, 'r');
    int whole = 0;
    while (SendIpUpData(report, 3, nullptr) == 0) ++whole;
    EXPECT_EQ(-1, SendIpUpData(report, 3, nullptr));
    for (; whole > 0; --whole) platform.ExpectNext(MsgType::kDataReport, 3, AsText(report));
    EXPECT_THROW(platform.Next(), std::runtime_error) << "nothing behind the part";
}

}  // namespace
}  // namespace plug::test
