// Frames in a stream as the dissector finds and names them, and what it says of those that are not sound.
#include <sys/socket.h>

#include "bench/local_peer.h"
#include "bench/message_table.h"
#include "bench/platform.h"
#include "bench/sockets.h"
#include "dissector/tshark.h"

namespace plug::dissector {
namespace {

constexpr MacAddress kMac = {2, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr std::uint8_t kIndex[] = {7, 0};

ByteVector Command(std::uint16_t id = 3) {
    return BuildCommand(kKey, id, kIndex, kMac, 0x0102);
}

ByteVector RegisterFrame() {
    ByteVector head(15);
    ByteWriter(Bytes(head).subspan(3)).Text("123456789012", 12);
    ByteVector plain(41 + 5);
    ByteWriter body(plain);
    body.Zeros(2);
    body.U8(5);
    body.Text("HR-21", 5);
    body.Copy(kMac);
    return BuildFrame(kKey, MsgType::kRegister, head, plain);
}

class StreamsTest : public DissectorTest {};

TEST_F(StreamsTest, Session) {
    const ByteVector token = ToBytes("a-token");
    Up(RegisterFrame());
    Down(BuildRegisterAck(kKey, token, 0xC6336407, 6041, AsBytes("second")));
    ByteVector login(44);
    ByteWriter head(login);
    head.Text("123456789012", 12);
    head.Text("a-token", 32);
    ByteVector login_record(25);
    login_record[19] = 2;
    Up(BuildFrame(kKey, MsgType::kLogin, login, login_record));
    Down(BuildLoginAck(kKey, 61));
    Up(BuildFrame(kKey, MsgType::kHeartbeat, std::array<std::uint8_t, 4>{1, 2, 0, 0}, {}));
    Down(BuildFrame(kKey, MsgType::kHeartbeatAck, {}, {}));
    Down(BuildFrame(kKey, MsgType::kAck, std::array<std::uint8_t, 2>{1, 0}, {}));
    Down(BuildFrame(kKey, MsgType::kForcedDisconnect, {}, {}));
    EXPECT_EQ((Row{"register", "register ack", "login", "login ack", "heartbeat", "heartbeat ack",
                   "ack, code 1", "forced disconnect"}),
              Infos());
    ExpectSoundTcp();
    EXPECT_EQ((Rows{{"9", "123456789012", "HR-21", "02:11:22:33:44:55"}}),
              Fields("plug.serial", {"plug.type", "plug.pin", "plug.serial", "plug.mac"}));
    EXPECT_EQ((Rows{{"0", "a-token", "198.51.100.7", "6041", "second"}}),
              Fields("plug.login_server", {"plug.code", "plug.token", "plug.login_server", "plug.login_port",
                                           "plug.second_value"}));
    EXPECT_EQ((Rows{{"10", "123456789012", "a-token", "02000000"}}),
              Fields("plug.version", {"plug.type", "plug.pin", "plug.token", "plug.version"}));
    EXPECT_EQ((Rows{{"61"}}), Fields("plug.interval", {"plug.interval"}));
    EXPECT_EQ((Rows{{"513"}}), Fields("plug.type == 1", {"plug.agent_time"}));
}

TEST_F(StreamsTest, FunctionsByName) {
    Row names;
    for (const CommandForm& form : CommandForms()) {
        Down(BuildCommand(kKey, form.id, {}, kMac, 1));
        names.push_back("function command " + std::to_string(form.id) + " " + form.name);
    }
    EXPECT_EQ(names, Infos());
    Down(Command(3));
    EXPECT_EQ(
        (Rows{{"3", "258", "02:11:22:33:44:55"}}),
        Fields("plug.function == 3 && plug.data.index == 7", {"plug.function", "plug.head", "plug.address"}));
}

TEST_F(StreamsTest, PlugDataAndErrors) {
    Down(BuildPlugData(kKey, MsgType::kPlugCommand, 9, R"({"FLAG":"1"})"));
    const auto reply = [](ConstBytes head, std::string_view text) {
        ByteVector plain(kAddressedRecordHeader + text.size());
        ByteWriter record(plain);
        WriteDataRecord(record, 0, &kMac, AsBytes(text));
        return BuildFrame(kKey, MsgType::kFunctionReply, head, plain);
    };
    static constexpr std::uint8_t kDone[] = {0, 0};
    static constexpr std::uint8_t kFailed[] = {0xFF, 0xFF};
    Up(reply(kDone, std::string_view("\1\0\3\0\5\0", 6)));
    Up(reply(kFailed, "parser error"));
    Up(BuildFrame(kKey, MsgType::kFunctionReply, std::array<std::uint8_t, 2>{11, 0}, {}));
    EXPECT_EQ((Row{"plug command 9 port-forwarding", "function reply 3 wan-config, result 5",
                   "function reply parser error, code 65535", "function reply, code 11"}),
              Infos());
    EXPECT_EQ((Rows{{R"({"FLAG":"1"})"}}), Fields("plug.plug_data == 9", {"plug.text"}));
}

TEST_F(StreamsTest, SplitFrames) {
    const ByteVector frame = Command();
    const ConstBytes bytes = frame;
    for (const std::size_t first : {std::size_t{1}, std::size_t{5}, std::size_t{20}}) {
        Down(bytes.first(first));
        Down(bytes.subspan(first, 3));
        Down(bytes.subspan(first + 3));
    }
    const ByteVector more = Join({frame, bytes.first(9)});
    Down(more);
    Down(bytes.subspan(9));
    const Rows rows = Fields("plug", {"frame.number", "plug.function", "plug.data.index"});
    EXPECT_EQ((Rows{{"3", "3", "7"}, {"6", "3", "7"}, {"9", "3", "7"}, {"10", "3", "7"}, {"11", "3", "7"}}),
              rows);
}

TEST_F(StreamsTest, SeveralInASegmentAndWhatIsNone) {
    Down(Join({Command(3), Command(5)}));
    Down(Join({ToBytes("junk"), Command(6)}));
    Down(Join({HugeHeader(), Command(7)}));
    Down(LeadWordFrame());
    Down(Command(16));
    EXPECT_EQ((Row{"function command 3 wan-config; function command 5 wan-tcp-connections",
                   "[no frame]; function command 6 wan-udp-connections",
                   "[huge header]; [no frame]; function command 7 wan-received",
                   "heartbeat ack [not decrypted]", "function command 16 ssid-config"}),
              Infos());
    EXPECT_EQ((Rows{{"6a756e6b"}}), Fields("plug.no_frame && plug.function == 6", {"plug.junk"}));
    EXPECT_EQ(1U, Fields("plug.blocks", {"frame.number"}).size());
}

TEST_F(StreamsTest, Checksums) {
    Down(Command());
    Down(WithWrongChecksum(Command()));
    ByteVector head = BuildFrame(kKey, MsgType::kHeartbeat, std::array<std::uint8_t, 4>{1, 2, 3, 4}, {});
    Up(head);
    ++head[8];
    Up(head);
    EXPECT_EQ((Rows{{"2", "3"}, {"4", ""}}),
              Fields("plug.wrong_checksum", {"frame.number", "plug.function"}));
    EXPECT_EQ("function command 3 wan-config [wrong checksum]", Infos()[1]);
}

TEST_F(StreamsTest, KeyIsAPreference) {
    const CipherKey other = MakeKey("fedcba98");
    Up(BuildFrame(other, MsgType::kLogin, ByteVector(44), ByteVector(25)));
    Down(BuildCommand(other, 3, kIndex, kMac, 1));
    Down(BuildFrame(other, MsgType::kHeartbeatAck, {}, {}));
    EXPECT_EQ((Row{"login [not decrypted]", "function command [not decrypted]", "heartbeat ack"}), Infos());
    EXPECT_EQ((Rows{{"1", ""}, {"2", ""}}), Fields("plug.wrong_key", {"frame.number", "plug.function"}));
    const Row key = {"-o", "plug.key:fedcba98"};
    EXPECT_EQ((Rows{{"3", "7"}}), Fields("plug.function", {"plug.function", "plug.data.index"}, key));
    EXPECT_TRUE(Fields("plug.wrong_key || plug.wrong_checksum", {"frame.number"}, key).empty());
}

TEST_F(StreamsTest, CutCapture) {
    const ByteVector frame = Command();
    Down(ConstBytes(frame).first(20));
    Down(ConstBytes(frame).subspan(20));
    Down(Command(5));
    Down(Command(6));
    capture_.reset();
    const std::string whole = file_;
    const std::string content = ReadFile(whole);
    file_ = folder_.path() + "/cut.pcapng";
    // Begun within a frame.
    Run({"editcap", whole, file_, "1"});
    EXPECT_EQ((Rows{{"5"}, {"6"}}), Fields("plug.function", {"plug.function"}));
    EXPECT_EQ(1U, Fields("plug.no_frame", {"frame.number"}).size());
    // Only the first bytes of each packet.
    Run({"editcap", "-s", "55", whole, file_});
    EXPECT_EQ((Rows{{"1"}, {"3"}, {"4"}}), Fields("plug.cut && !plug.function", {"frame.number"}));
    // Ended within a packet.
    WriteFile(file_, content.substr(0, content.size() - 30));
    EXPECT_EQ((Rows{{"3"}, {"5"}}), Fields("plug.function", {"plug.function"}));
}

TEST_F(StreamsTest, AnyPort) {
    platform_.bench.sin_port = htons(7777);
    Up(RegisterFrame());
    Down(ConstBytes(Command()).first(9));
    Down(ConstBytes(Command()).subspan(9));
    EXPECT_EQ((Rows{{"", "HR-21"}, {"3", ""}}), Fields("plug", {"plug.function", "plug.serial"}));
}

TEST_F(StreamsTest, LocalSocket) {
    const ByteVector request = LocalFrame(78, 5, AsBytes("i"));
    LocalUp(ConstBytes(request).first(8));
    LocalUp(ConstBytes(request).subspan(8));
    LocalDown(LocalFrame(78, 6, AsBytes(std::string_view("\0{}", 3))));
    LocalDown(LocalFrame(70, 7, std::array<std::uint8_t, 1>{5}));
    LocalDown(LocalFrame(998, 8, AsBytes("i")));
    const ByteVector report = LocalFrame(84, 9, AsBytes("{}"));
    LocalDown(WithWrongSum(report));
    LocalDown(Join({report, report}));
    LocalDown(WithLength(report, 4096));
    LocalDown(WithWrongHead(report));
    LocalDown(report);
    Row infos = Infos();
    infos.erase(infos.begin());  // a part of a frame
    EXPECT_EQ(
        (Row{"request 78 mesh-topology", "reply 78 mesh-topology", "reply 70 wifi-band, result 5",
             "question 998 plugin-state", "report 84 json-84 [wrong checksum]",
             "report 84 json-84; report 84 json-84", "[short frame]", "[no frame]", "report 84 json-84"}),
        infos);
    EXPECT_EQ((Rows{{"6", "0", "{}"}}),
              Fields("pluglocal.function == 78 && pluglocal.result == 0",
                     {"pluglocal.sequence", "pluglocal.result", "plug.data.topology"}));
    EXPECT_EQ(1U, Fields("plug.unread", {"frame.number"}).size());
}

TEST_F(StreamsTest, HeadsAreShownWithoutACipher) {
    before_ = "GcryptCipher = nil package.path = '' package.cpath = ''";
    Up(RegisterFrame());
    const ByteVector command = Command();
    Down(ConstBytes(command).first(20));
    Down(Join({ConstBytes(command).subspan(20), command}));
    Up(BuildFrame(kKey, MsgType::kHeartbeat, std::array<std::uint8_t, 4>{1, 2, 0, 0}, {}));
    Down(WithWrongChecksum(BuildFrame(kKey, MsgType::kHeartbeatAck, {}, {})));
    Row infos = Infos();
    infos.erase(infos.begin() + 1);  // a part of a frame
    EXPECT_EQ(
        (Row{"register [not decrypted]", "function command [not decrypted]; function command [not decrypted]",
             "heartbeat", "heartbeat ack [wrong checksum]"}),
        infos);
    EXPECT_EQ((Rows{{"9", "123456789012", ""}, {"20,20", "", ""}}),
              Fields("plug.no_cipher", {"plug.type", "plug.pin", "plug.serial"}));
}

TEST_F(StreamsTest, NothingFollowsTheEnd) {
    capture_->Note({platform_, Passage::kOpened});
    Up(RegisterFrame());
    capture_->Note({platform_, Passage::kClosed, {}, false, true});
    Down(Command());
    EXPECT_EQ((Row{"register"}), Infos());
    EXPECT_EQ((Rows{{"6040"}}), Fields("tcp.flags.reset == 1", {"tcp.srcport"}));
}

/// What the bench's own sockets put into a capture.
class HooksTest : public DissectorTest {
  protected:
    Tap tap() {
        return [this](const Passed& passed) { capture_->Note(passed); };
    }
};

TEST_F(HooksTest, Platform) {
    PrepareCipher();
    PlatformOptions options;
    options.tap = tap();
    std::string port;
    {
        Platform platform(options);
        const int agent = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        name.sin_port = htons(platform.register_port());
        ASSERT_EQ(0, connect(agent, reinterpret_cast<sockaddr*>(&name), sizeof name));
        port = std::to_string(ntohs(OwnName(agent).sin_port));
        ASSERT_TRUE(WriteAll(agent, RegisterFrame()));
        ASSERT_TRUE(platform.WaitFor(EventKind::kRegister, std::chrono::seconds(5)));
        ASSERT_TRUE(Readable(agent, std::chrono::steady_clock::now() + std::chrono::seconds(5)));
        close(agent);
        ASSERT_TRUE(platform.WaitFor(EventKind::kClosed, std::chrono::seconds(5)));
        // The kernel's choice of a port may be one that another protocol has.
        EXPECT_EQ((Rows{{port, std::to_string(platform.register_port()), "9"},
                        {std::to_string(platform.register_port()), port, "11"}}),
                  Fields("plug", {"tcp.srcport", "tcp.dstport", "plug.type"},
                         {"-o", "tcp.try_heuristic_first:TRUE"}));
    }
    ExpectSoundTcp();
    EXPECT_EQ((Rows{{port}}), Fields("tcp.flags.syn == 1 && tcp.flags.ack == 0", {"tcp.srcport"}));
    // It closed with the ack unread.
    EXPECT_EQ((Rows{{port}}), Fields("tcp.flags.reset == 1 || tcp.flags.fin == 1", {"tcp.srcport"}));
}

TEST_F(HooksTest, LocalPeer) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends));
    {
        PeerOptions options;
        options.tap = tap();
        LocalPeer peer(options);
        peer.Adopt(ends[0]);
        ASSERT_TRUE(WriteAll(ends[1], LocalFrame(71, 1, AsBytes("i"))));
        ASSERT_TRUE(peer.WaitFor(IsRequest(71), std::chrono::seconds(5)));
        ASSERT_TRUE(Readable(ends[1], std::chrono::steady_clock::now() + std::chrono::seconds(5)));
        std::array<char, 64> reply;
        ASSERT_LT(0, recv(ends[1], reply.data(), reply.size(), 0));
        peer.Disconnect();
        ASSERT_TRUE(peer.WaitFor(PeerEventKind::kClosed, std::chrono::seconds(5)));
    }
    close(ends[1]);
    ExpectSoundTcp();
    EXPECT_EQ((Row{"request 71 mesh-support", "reply 71 mesh-support"}), Infos());
    EXPECT_EQ((Rows{{"local", "23130"}}),
              Fields("tcp.flags.syn == 1 && tcp.flags.ack == 0", {"frame.interface_name", "tcp.dstport"}));
    EXPECT_EQ((Rows{{"10001"}, {"23130"}}), Fields("tcp.flags.fin == 1", {"tcp.srcport"}));
}

}  // namespace
}  // namespace plug::dissector
