// The session's set-up byte for byte, against frames put together here and encrypted by the openssl program,
// and its course: what the acks decide, when the status changes, how heartbeats come.
#include <poll.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <numeric>
#include <stdexcept>

#include "bench/sockets.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

/// What goes into the frames of one session.
struct Golden {
    const char* name;
    const char* pin;
    const char* pin_field;  // hex, as sent
    const char* key;
    const char* cipher_key;              // hex, as used
    std::vector<std::string> arguments;  // of the agent
    const char* mac;                     // hex, as sent
    const char* mac_text;                // as sent in the rules request
    bool asks_for_mac;                   // the router
};

void PrintTo(const Golden& golden, std::ostream* out) {
    *out << golden.name;
}

ByteVector OpensslEncrypt(const ByteVector& plain, const std::string& key) {
    WriteFile("/tmp/plain", std::string(plain.begin(), plain.end()));
    const Outcome outcome = Run({.argv = {"openssl", "enc", "-aes-128-cbc", "-K", key, "-iv",
                                          std::string(32, '0'), "-in", "/tmp/plain", "-out", "/tmp/cipher"},
                                 .environment = {},
                                 .directory = {}});
    if (outcome.status != 0) throw std::runtime_error("openssl: " + outcome.output);
    const std::string cipher = ReadFile("/tmp/cipher");
    return {cipher.begin(), cipher.end()};
}

/// A frame from its type byte, head and plain body.
ByteVector GoldenFrame(const Golden& golden, std::uint8_t type, const ByteVector& head,
                       const ByteVector& plain) {
    const ByteVector body = plain.empty() ? ByteVector() : OpensslEncrypt(plain, golden.cipher_key);
    const auto low = static_cast<std::uint8_t>(body.size() % 256);
    const auto high = static_cast<std::uint8_t>(body.size() / 256);
    const ByteVector summed = Join({ByteVector{low, high}, head, plain});
    const auto sum = static_cast<std::uint8_t>(std::accumulate(summed.begin(), summed.end(), 0U));
    const ByteVector header = {0xCC, 0xDD, type, static_cast<std::uint8_t>(head.size()), sum, low, high};
    return Join({header, head, body});
}

ByteVector Text(std::string_view text) {
    return {text.begin(), text.end()};
}

/// The platform's end of one connection, without any code shared with the agent.
class RawPeer {
  public:
    explicit RawPeer(int listener) {
        pollfd waiting{listener, POLLIN, 0};
        sockaddr_in peer{};
        if (poll(&waiting, 1, kPatience.count()) == 1) socket_ = AcceptFrom(listener, peer);
        if (socket_ < 0) throw std::runtime_error("nobody connects");
    }
    ~RawPeer() { close(socket_); }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    void Send(const ByteVector& bytes) const {
        if (!WriteAll(socket_, bytes)) throw std::runtime_error("the agent does not take bytes");
    }
    /// The next `count` bytes in hex; fewer when the agent closes.
    std::string Receive(std::size_t count) const {
        ByteVector bytes(count);
        std::size_t got = 0;
        pollfd waiting{socket_, POLLIN, 0};
        while (got < count && poll(&waiting, 1, kPatience.count()) == 1) {
            const ssize_t read = recv(socket_, bytes.data() + got, count - got, 0);
            if (read <= 0) break;
            got += static_cast<std::size_t>(read);
        }
        bytes.resize(got);
        return ToHex(bytes);
    }

  private:
    int socket_ = -1;
};

constexpr char kStatusFile[] = "/tmp/plugstatus";
constexpr char kToken[] = "f0e1d2c3b4a5968778695a4b3c2d1e0f00112233445566778899aabbccddeeff";
constexpr char kRouter[] = R"({"router": {"mac": "00:00:5E:00:53:01", "serial_number": "HR2100-22-0004711"},
                               "cpu": {"use_percent": 12}, "call_log": "/tmp/calls"})";

class Bytes : public AgentTest, public testing::WithParamInterface<Golden> {
  protected:
    void ExpectStatus(const char* code) {
        EXPECT_TRUE(WaitForFile(kStatusFile, std::string(code) + "\n", kPatience)) << ReadFile(kStatusFile);
    }
};

TEST_P(Bytes, OfTheWholeSetUp) {
    const Golden& golden = GetParam();
    const auto frame = [&](std::uint8_t type, const ByteVector& head, const ByteVector& plain) {
        return GoldenFrame(golden, type, head, plain);
    };
    const auto expect = [](const RawPeer& peer, const ByteVector& wanted) {
        EXPECT_EQ(ToHex(wanted), peer.Receive(wanted.size()));
    };
    std::filesystem::remove(kStatusFile);
    std::uint16_t login_port = 0;
    const int registration = Listen("127.0.0.1", setup_.port);
    const int login = Listen("127.0.0.3", login_port);
    setup_.pin = golden.pin;
    setup_.key = golden.key;
    setup_.router = kRouter;
    setup_.arguments.insert(setup_.arguments.end(), golden.arguments.begin(), golden.arguments.end());
    StartAgent();

    const ByteVector pin = ParseHex(golden.pin_field);
    const ByteVector mac = ParseHex(golden.mac);
    const ByteVector login_address = {127,
                                      0,
                                      0,
                                      3,
                                      static_cast<std::uint8_t>(login_port % 256),
                                      static_cast<std::uint8_t>(login_port / 256)};
    {
        const RawPeer peer(registration);
        expect(peer, frame(0x29, Join({ParseHex("000000"), pin}),
                           Join({ParseHex("0000 11"), Text("HR2100-22-0004711"), mac, ByteVector(32)})));
        ExpectStatus("001");
        const ByteVector second_value(32, 0x5A);
        peer.Send(frame(0x0B, {0, 0}, Join({ByteVector(2), ParseHex(kToken), login_address, second_value})));
        EXPECT_EQ("", peer.Receive(1)) << "the agent closes this connection";
        ExpectStatus("002");
    }
    const RawPeer peer(login);
    expect(peer,
           frame(0x2A, Join({pin, ParseHex(kToken)}), Join({ByteVector(19), ParseHex("02 00 00 07 01 36")})));
    ExpectStatus("002");
    peer.Send(frame(0x0B, {0, 0}, ParseHex("0000 3c00")));
    ExpectStatus("003");

    const ByteVector rules = Text("{\n\t\"MAC\":\t\"" + std::string(golden.mac_text) + "\"\n}");
    const auto rules_size = static_cast<std::uint8_t>(rules.size());
    expect(peer, frame(0x31, {}, Join({ByteVector{0, 0, 13, rules_size, 0}, rules})));

    // The heartbeat: a head with the time and nothing else.
    const ByteVector heartbeat = ParseHex(peer.Receive(11));
    ASSERT_EQ(11U, heartbeat.size());
    const std::uint32_t time = ByteReader(ConstBytes(heartbeat).subspan(7)).U32();
    EXPECT_NEAR(static_cast<double>(std::time(nullptr)), time, 30);
    EXPECT_EQ(ToHex(frame(0x21, {heartbeat.begin() + 7, heartbeat.end()}, {})), ToHex(heartbeat));

    // A command and its answer, with another address and a DataType of its own.
    const ByteVector address = ParseHex("7a 020304050607");
    peer.Send(frame(0x14, {}, Join({ByteVector(2), address, ParseHex("0a00 efbe 2f00 000000000000")})));
    expect(peer, frame(0x1A, {0, 0}, Join({ByteVector(2), address, ParseHex("0800 efbe 2f00 0000 0c00")})));

    const std::string calls = ReadFile("/tmp/calls");
    EXPECT_EQ(golden.asks_for_mac, calls.find("get_router_mac() = 0\n") != std::string::npos) << calls;
    EXPECT_EQ(calls.find("get_router_mac"), calls.rfind("get_router_mac")) << "asked once";
    EXPECT_EQ(calls.find("get_router_sn"), calls.rfind("get_router_sn")) << "asked once";
}

const Golden kGoldens[] = {
    {"FullFields",
     "1234567890123",
     "313233343536373839303132",
     "0123456789abcdefNOT USED",
     "30313233343536373839616263646566",
     {},
     "00005E005301",
     "00005E005301",
     true},
    // Characters of -m that are no hex digits leave their half of the byte as it was.
    {"ShortFieldsAndTheMacOfTheCommandLine",
     "99",
     "393900000000000000000000",
     "abc",
     "61626300000000000000000000000000",
     {"-m", "aB1g2C3d4Ez5"},
     "AB102C3D4E05",
     "AB102C3D4E05",
     false},
};
INSTANTIATE_TEST_SUITE_P(Session, Bytes, testing::ValuesIn(kGoldens),
                         [](const auto& golden) { return golden.param.name; });

class Session : public AgentTest {};

TEST_F(Session, WithoutAGoodLoginAckComesARegistration) {
    RunFast(10);
    StartPlatform();
    Behaviour behaviour;
    for (const Ack ack : {Ack::kEmptyBody, Ack::kRefuse, Ack::kClose, Ack::kSilent}) {
        behaviour.login_ack = ack;
        platform_->Behave(behaviour);
        if (!agent_) StartAgent();
        AwaitStatuses("001 001 002");
        Await(EventKind::kLogin);
        if (ack == Ack::kClose) AwaitStatuses("103");
    }
    platform_->Behave(Behaviour());
    AwaitStatuses("001");
    const std::int64_t waited = LoggedAt("login failed !") - LoggedAt("LoginServer command");
    EXPECT_GE(waited, 9) << "ten seconds for a silent one";
    EXPECT_LT(waited, 20);
    AwaitStatuses("001 002 003");
    ExpectLogged("register ack error", 2);
    ExpectLogged("login failed !", 4);
    EXPECT_EQ(0, CountLog("RegisterStart error.")) << "every registration was good";
}

TEST_F(Session, HeartbeatsComeAtTheIntervalOfTheLastLogin) {
    if (kSanitized) GTEST_SKIP() << kNeedsOwnClock;
    StartPlatform();
    RunFast(20);
    Behaviour behaviour;
    struct Case {
        std::uint16_t sent;
        std::uint32_t seconds;
    };
    // At least twenty seconds; the interval is a signed number.
    for (const Case& interval : {Case{5, 20}, Case{40, 40}, Case{0xFFFF, 20}}) {
        behaviour.interval = interval.sent;
        platform_->Behave(behaviour);
        LinkEvent last;
        if (agent_) {
            platform_->Drop(mac_);
            last = AwaitReLogin();
        } else {
            StartAgent();
            last = Await(EventKind::kHeartbeat);
        }
        const std::uint32_t waited = Await(EventKind::kHeartbeat).agent_time - last.agent_time;
        EXPECT_GE(waited, interval.seconds);
        EXPECT_LT(waited, interval.seconds + 19);
    }
}

}  // namespace
}  // namespace plug::e2e
