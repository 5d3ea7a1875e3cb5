// The plug data commands: what each DataType stores, returns and sends up, and how they come in.
#include "rules/plug_data.h"

#include "commserver/comm_server.h"
#include "platform/inbound.h"
#include "platform/link_state.h"
#include "platform/security.h"
#include "platform/settings.h"
#include "rules/plug_json.h"
#include "subdev/online_report.h"
#include "support/local_peer.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

class PlugData : public Sandbox {
  protected:
    void ExpectAnswer(const std::string& result, const std::string& text) {
        platform_.ExpectNext(MsgType::kDataReport, 17,
                             R"({"result":)" + result + R"(,"resultDesc":")" + text + R"("})");
    }

    PlatformPeer platform_;
};

std::string Quoted(const std::string& text) {
    return '"' + text + '"';
}

/// A firmware file command; in place of one of its keys something else, which may end in another key.
std::string FirmwareFile(const std::string& key = "x", const std::string& replaced = R"("x")") {
    std::string json =
        R"({"x":0,"fromVersion":"1.0","toVersion":"2.0","url":"http://h/f","fileLength":66051,)"
        R"("checkMethod":3,"chkSum":"0123456789abcdef0123456789abcdef"})";
    return json.replace(json.find(Quoted(key)), key.size() + 2, replaced);
}

TEST_F(PlugData, ResultsByDataType) {
    const std::tuple<std::uint32_t, const char*, int> cases[] = {
        {1, "{}", 0},
        {4, "{}", -1},
        {4, R"({"result":"text"})", 0},
        {4, R"({"RESULT":null})", 0},  // the case of a key does not count
        {5, R"({"mac":12})", -1},
        {6, R"({"mac":"001122AABBCC"})", -1},
        {6, R"({"mac":"001122AABBCC","result":"1"})", 0},          // no number counts as 0
        {7, R"({"mac":"00112233445566778899001122334455"})", -1},  // 32 characters, 31 fit
        {7, "", -1},
        {9, "{}", -3},
        {18, R"({"func40Interval":"25"})", 0},
        {18, R"({"func40Interval":1})", 0},
        {18, R"({"func40Interval":-1})", -1},
    };
    for (const auto& [type, json, result] : cases)
        EXPECT_EQ(result, ParserPlugData(type, json)) << type << " " << json;
    for (const std::uint32_t type : {0U, 3U, 8U, 10U, 11U, 12U, 13U, 14U, 17U, 19U, 255U})
        EXPECT_EQ("", FullLogOf([&] { EXPECT_EQ(0, ParserPlugData(type, "{}")); })) << type;
    EXPECT_EQ(-1, ParserPlug(5, nullptr));
    EXPECT_TRUE(platform_.NothingSent());
}

TEST_F(PlugData, WhatIsLogged) {
    const std::tuple<std::uint32_t, std::string, std::string> cases[] = {
        {1, "{}", "update cmd ok"},
        {4, "{}", "datatype_online"},
        {5, "{}", "datatype_vip"},
        {6, "{}", "datatype_recog"},
        {7, "{}", "datatype_rerecog"},
        {9, "{}", "datatype_route_set"},
        {15, FirmwareFile(), "update firmware cmd ok"},
        {15, "{}", "update firmware cmd error."},
        {16, "{}", "update firmware file error."},
        {16, FirmwareFile(), "send update firmware command failed."},
    };
    for (const auto& [type, json, text] : cases)
        EXPECT_TRUE(
            Contains(FullLogOf([type = type, json = json] { ParserPlugData(type, json.c_str()); }), text))
            << text;
}

TEST_F(PlugData, TheReportIntervalIsInMinutes) {
    const std::tuple<const char*, int, bool, int, const char*> cases[] = {
        {R"({"func40Interval":20})", -1, true, 30, "Set subdev auto report error."},
        {R"({"func40Interval":0})", 0, false, 30, "Close subdev auto report."},
        {R"({"func40Interval":19})", 0, true, 114, "Set subdev auto report 19 minute."},
        {"{}", -1, true, 114, "func40Interval not found."},
    };
    for (const auto& [json, result, on, rounds, said] : cases) {
        const std::string log =
            FullLogOf([json = json, result = result] { EXPECT_EQ(result, ParserPlugData(18, json)); });
        EXPECT_EQ(on, OnlineReportOn()) << json;
        EXPECT_EQ(rounds, OnlineRoundLimit()) << json;
        EXPECT_TRUE(Contains(log, said) && Contains(log, "datatype_fn40_interval.")) << log;
    }
}

TEST_F(PlugData, WhatIsReadBeforeAMissingKeyStays) {
    const auto stored = [](const std::string& json) {
        ParserPlugData(1, json.c_str());
        const PluginUpdate& record = PluginRecord();
        return std::string(record.plugin_id.data()) + " " + record.from_version.data() + " " +
               record.to_version.data();
    };
    EXPECT_EQ("p1 1 2", stored(R"({"pluginID":"p1","fromVersion":"1","toVersion":"2"})"));
    EXPECT_EQ("p2 1 2", stored(R"({"pluginID":"p2"})"));
    // A text that is too long counts as missing; the longest one fits.
    const std::string fifteen(15, '5');
    const std::string rest = R"(","toVersion":"3"})";
    EXPECT_TRUE(Contains(
        LogOf([&] { EXPECT_EQ("p3 1 2", stored(R"({"pluginID":"p3","fromVersion":"6)" + fifteen + rest)); }),
        "fromVersion of 16 characters"));
    EXPECT_EQ("p3 " + fifteen + " 3", stored(R"({"pluginID":"p3","fromVersion":")" + fifteen + rest));
}

TEST_F(PlugData, MacTexts) {
    for (const auto& [mac, stored] : {std::pair{"001122aABBcc", "001122aabbcc"},
                                      {"ff1", "ff0122aabbcc"},  // the rest is left
                                      {"", "ff0122aabbcc"}}) {
        EXPECT_EQ(0, ParserPlug(5, (R"({"mac":")" + std::string(mac) + R"("})").c_str()));
        EXPECT_EQ(stored, ToHex(PluginRecord().device));
    }
    EXPECT_EQ(0, ParserPlug(6, R"({"mac":"010203040506","result":511})"));
    EXPECT_EQ(0xFF, PluginRecord().recognition);
}

TEST_F(PlugData, DownloadUrls) {
    const std::string longest_host(31, 'h');
    const std::pair<std::string, std::string> cases[] = {
        // server, port and path; or nothing
        {"http://host/file", "host 80 /file"},
        {"http://host:8080/a/b", "host 8080 /a/b"},
        {"http://host/a:b/file", "host/a 0 /file"},
        {"http://host:1234567/x", "host 1234567 /x"},
        {"http://host:12345678/x", ""},
        {"http://:80/x", " 80 /x"},
        {"http://" + longest_host + "/x", longest_host + " 80 /x"},
        {"http://" + longest_host + "h/x", ""},
        {"http://host", ""},
        {"http://host:80", ""},
        {"host/file", ""},
        {"", ""},
        {"http://h/" + std::string(246, 'x'), "h 80 /" + std::string(246, 'x')},
        {"http://h/" + std::string(247, 'x'), ""},
    };
    for (const auto& [url, parts] : cases) {
        const std::string json = R"({"pluginID":"p","fromVersion":"1","toVersion":"2","url":")" + url +
                                 R"(","fileLength":1,"fileMD5":"m","token":"t"})";
        EXPECT_EQ(parts.empty() ? -1 : 0, ParserPlug(2, json.c_str())) << url;
        const PluginUpdate& record = PluginRecord();
        const std::string stored =
            record.server.data() + (" " + std::to_string(record.port)) + " " + record.path.data();
        EXPECT_TRUE(parts.empty() || parts == stored) << url << " is " << stored;
    }
}

TEST_F(PlugData, FirmwareCommandsAreAnswered) {
    const struct {
        std::uint32_t type;
        std::string json;
        int returned;
        const char *result, *text;
    } cases[] = {
        {15, R"({"fromVersion":"1","toVersion":"2"})", 0, "0", "success"},
        {15, R"({"toVersion":"2"})", 1, "1", "fromVersion not match"},
        {15, R"({"fromVersion":"1"})", 2, "2", "toVersion not support."},
        {15, "{", -1, "9", "unknown error."},
        {16, FirmwareFile("fromVersion"), -1, "1", "fromVersion not match."},
        {16, FirmwareFile("toVersion"), -1, "2", "toVersion not support."},
        {16, FirmwareFile("url"), -1, "3", "url address error."},
        {16, FirmwareFile("fileLength"), -1, "5", "fileLength error."},
        {16, FirmwareFile("checkMethod"), -1, "4", "check method not match."},
        {16, FirmwareFile("chkSum"), -1, "7", "check sum error."},
        // the first in their order counts, not in that of the codes
        {16, R"({"fromVersion":"1","toVersion":"2","url":"u"})", -1, "5", "fileLength error."},
        {16, "[", -1, "-1", "unKnown error."},
        // one character too many
        {16, FirmwareFile("toVersion", R"("toVersion":")" + std::string(64, 'v') + R"(","y")"), -1, "2",
         "toVersion not support."},
        {16, FirmwareFile("url", R"("url":")" + std::string(256, 'u') + R"(","y")"), -1, "3",
         "url address error."},
        {16, FirmwareFile("chkSum", R"("chkSum":")" + std::string(40, 'c') + R"(","y")"), -1, "7",
         "check sum error."},
        // no local peer is there to take it
        {16, FirmwareFile(), -1, "9", "unKnown error."},
    };
    for (const auto& [type, json, returned, result, text] : cases) {
        EXPECT_EQ(returned, ParserPlugData(type, json.c_str())) << json;
        ExpectAnswer(result, text);
    }
}

TEST_F(PlugData, TheLocalPeerGetsTheFirmwareRecord) {
    ASSERT_EQ(0, CommServerStart());
    TestPeer peer;
    peer.ConnectServed();
    const auto received = [&peer] {
        const PeerEvent order = peer.Next();
        EXPECT_EQ(999, order.func_id);
        return ToHex(order.payload);
    };
    const std::string behind_from = Field("2.0", 64) + Field("http://h/f", 256) + "0302010003000000" +
                                    Field("0123456789abcdef0123456789abcdef", 40);

    // Its own fromVersion is only logged.
    EXPECT_EQ(0, ParserPlugData(16, FirmwareFile().c_str()));
    EXPECT_EQ(Field("", 64) + behind_from, received());

    // The command clears the record, stores its fromVersion and fails for lack of a toVersion.
    EXPECT_EQ(2, ParserPlugData(15, R"({"fromVersion":"0.9"})"));
    platform_.Next();
    EXPECT_EQ(0, ParserPlugData(16, FirmwareFile().c_str()));
    EXPECT_EQ(Field("0.9", 64) + behind_from, received());

    // A shorter text leaves nothing of the longer one before it.
    EXPECT_EQ(0, ParserPlugData(16, FirmwareFile("url", R"("url":"u","y")").c_str()));
    EXPECT_EQ(Field("u", 256), received().substr(256, 512));
    EXPECT_TRUE(platform_.NothingSent()) << "the local peer reports its result later";
}

TEST_F(PlugData, Reports) {
    std::array<char, 512> out;
    const auto build = [&out](int kind, const char* text, const char* data = nullptr) {
        out = {};
        EXPECT_EQ(0U, BuildJson(kind, -1, text, data, out)) << kind;
        return std::string(out.data());
    };
    UseProfile("[Dev]\nPIN=123456789012\n[Protool]\nSERVER1=127.0.0.1\n");
    ParserPlug(1, R"({"pluginID":"p","fromVersion":"1","toVersion":"2"})");
    EXPECT_EQ(
        R"({"pluginID":"p","fromVersion":"1","toVersion":"2","process":0,"result":-1,"resultDesc":"d"})",
        build(4, "d"));
    EXPECT_EQ(R"({"mac":"00005E0053b1","dev_name":"desktop","status":"online"})", build(1, "00005E0053b1"));
    EXPECT_EQ(R"({"mac":"x","status":"offline"})", build(2, "x"));
    EXPECT_EQ(R"({"mac":"00005E0053B1","dev_name":"desktop","data":"d"})", build(5, "00005E0053B1", "d"));
    EXPECT_EQ(R"({"devpin":"123456789012","rate":"-1"})", build(6, ""));
    EXPECT_EQ("", build(3, "x"));
    const std::string head = R"({"mac":")", tail = R"(","status":"offline"})";
    const std::string longest(out.size() - 1 - head.size() - tail.size(), 'x');
    EXPECT_EQ(head + longest + tail, build(2, longest.c_str()));
    EXPECT_EQ(1U, BuildJson(2, 0, (longest + "x").c_str(), nullptr, out)) << "no room for its NUL";
    out = {};
    EXPECT_EQ(65535U, BuildJson(1, 0, "00005E0053B", nullptr, out));
    EXPECT_NE(0U, BuildJson(1, 0, "FFFFFFFFFFFF", nullptr, out)) << "a device that the router does not know";
    EXPECT_STREQ("", out.data());
}

// What a command's payload was when it came in.
std::string seen;

int Note(std::uint32_t data_type, const char* payload) {
    seen = std::to_string(data_type) + ":" + payload;
    return -7;
}

/// Makes the body one block whose last byte counts more padding than there is, under the sum of all its
/// bytes.
void SpoilPadding(InboundFrame& frame) {
    std::array<std::uint8_t, 16> plain{};
    plain.back() = 0xFF;
    std::size_t size = 0;
    frame.header.body_length = 16;
    aes_encrypt(PlatformSettings().key, plain,
                Bytes(frame.bytes).subspan(kFrameHeaderSize + frame.header.head_length), size);
    frame.header.checksum = FrameChecksum(16, frame.head(), plain);
}

TEST_F(PlugData, CommandsComeInAndAreAnswered) {
    SetCommandHandlers({nullptr, Note});
    InboundFrame frame = PlugDataFrame(MsgType::kPlugCommand, 9, std::string_view("{}\0rest", 7));
    SetAckSeen(false);
    const std::string log = FullLogOf([&] { CBHandle(frame); });
    EXPECT_TRUE(AckSeen());
    EXPECT_EQ("9:{}", seen) << "text, up to its NUL";
    EXPECT_TRUE(Contains(log, "Recv MsgType=[18] DataType=[9] DataLen=[7]"));
    bench::LinkEvent reply = platform_.Next();
    EXPECT_EQ(MsgType::kPlugReply, reply.header.type());
    EXPECT_EQ(0, reply.header.type_byte >> 5);
    EXPECT_EQ(0xFFF9, reply.code);
    EXPECT_EQ("{\"result\":-7}", reply.text());

    seen.clear();
    ++frame.header.checksum;
    for (int attack = 0; attack < 2; ++attack) {
        CBHandle(frame);
        EXPECT_EQ("", seen);
        reply = platform_.Next();
        EXPECT_EQ(MsgType::kPlugReply, reply.header.type());
        EXPECT_EQ(11, reply.code);
        EXPECT_EQ(0, reply.header.body_length);
        SpoilPadding(frame);
    }

    // A function command's answer that fills its room is sent.
    SetCommandHandlers({[](ConstBytes, Bytes answer, std::size_t& length) {
                            length = answer.size();
                            return 0;
                        },
                        Note});
    CBHandle(FrameOf(bench::BuildCommand(PlatformSettings().key, 1, {}, kRouter, 1)));
    platform_.ExpectNext(MsgType::kFunctionReply, 0, std::string(8100, '\0'));

    // The largest one is handed over whole.
    const std::string large(8100, 'j');
    CBHandle(PlugDataFrame(MsgType::kPlugCommand, 1, large));
    EXPECT_EQ("1:" + large, seen);
    platform_.Next();
}

TEST_F(PlugData, RepliesComingDownAreExecutedUnanswered) {
    SetCommandHandlers({nullptr, Note});
    InboundFrame frame = PlugDataFrame(MsgType::kPlugReply, 4, std::string(1018, 'j'));
    ++frame.header.checksum;  // nobody looks at it
    SetAckSeen(false);
    CBHandle(frame);
    EXPECT_EQ("4:" + std::string(1018, 'j'), seen);
    EXPECT_TRUE(AckSeen());
    seen.clear();
    CBHandle(PlugDataFrame(MsgType::kPlugReply, 4, std::string(1019, 'j')));
    EXPECT_EQ("", seen);

    SpoilPadding(frame);
    CBHandle(frame);
    EXPECT_EQ("", seen);
    EXPECT_TRUE(platform_.NothingSent());
}

}  // namespace
}  // namespace plug::test
