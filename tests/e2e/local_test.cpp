// Commands that the local mesh/Wi-Fi agent answers and reports that it sends, through the real agent: from
// the platform's frame to the local socket and back.
#include <cmath>
#include <ctime>
#include <numeric>
#include <stdexcept>

#include "bench/local_peer.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kMeshSwitch = 73;

ByteVector Text(std::string_view text) {
    return {text.begin(), text.end()};
}

ByteVector Ramp(std::size_t count) {
    ByteVector bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

/// A copy in which five 32-bit fields are turned round.
ByteVector WithAddressesTurned(ByteVector record) {
    for (std::ptrdiff_t at = 205; at < 225; at += 4)
        std::reverse(record.begin() + at, record.begin() + at + 4);
    return record;
}

ByteVector Counted(const ByteVector& bytes) {
    return Join(
        {ByteVector{static_cast<std::uint8_t>(bytes.size()), static_cast<std::uint8_t>(bytes.size() >> 8)},
         bytes});
}

class Local : public AgentTest {
  protected:
    void TearDown() override {
        AgentTest::TearDown();
        if (!peer_) return;
        auto all = peer_->FromStart();
        while (const auto event = all.Next(Milliseconds(0)))
            EXPECT_NE(PeerEventKind::kBadFrame, event->kind) << event->note << ": " << ToHex(event->frame);
    }

    void LogInWithPeer() {
        StartPlatform();
        LogIn();
        peer_ = std::make_unique<LocalPeer>();
        requests_ = peer_->FromStart();
        Connect();
    }
    /// Connects and waits until the agent serves the connection.
    void Connect() {
        if (!peer_->Connect()) throw std::runtime_error("no local socket");
        if (!peer_->AskState()) throw std::runtime_error("no connection");
        AwaitRequest(998);
    }
    PeerEvent AwaitRequest(std::uint16_t func_id) {
        auto request = requests_->WaitFor(IsRequest(func_id), kPatience);
        if (!request)
            throw std::runtime_error("the local agent waits in vain for " + std::to_string(func_id));
        return *request;
    }
    void Answer(std::uint16_t id, const PeerAnswer& answer) { peer_->answers().Set(id, answer); }
    void AnswerWith(std::uint16_t id, ByteVector data) { Answer(id, {.result = 0, .data = std::move(data)}); }
    LinkEvent AwaitReport(std::uint8_t type) {
        return Await("report " + std::to_string(type), IsReport(type));
    }
    /// The next report that arrives must carry this JSON.
    void ExpectNextJson(std::string_view json) {
        const LinkEvent report = Await(EventKind::kReport);
        EXPECT_EQ(84, report.data_type);
        EXPECT_EQ(json, report.text().substr(std::min<std::size_t>(8, report.data.size())));
    }

    std::unique_ptr<LocalPeer> peer_;
    std::optional<CursorOf<PeerEvent>> requests_;
};

constexpr char kReportConfig[] = R"({"referNum":5,"interval1":1,"interval2":0,"interval3":0})";
constexpr char kSentConfig[] =
    R"({"referNum":5,"interval1":1,"interval2":0,"interval3":0,"serverDiff":0,"dayReportTime":"0.000000",)"
    R"("cycleReportStart":"0.000000","save":1})";

struct Relayed {
    std::uint16_t id;
    ByteVector parameters;
    ByteVector request;  // what the local agent must receive
    ByteVector data;     // of its reply, behind the result
    ByteVector answer;   // what the platform must receive behind the result
};

std::vector<Relayed> AllRelayed() {
    const ByteVector inquiry = Text("i");
    const ByteVector neighbour = Join({ByteVector{1, 0}, Ramp(77)});
    return {{70, {1}, {1}, {8}, {8}},
            {71, {}, inquiry, {1}, {1}},
            {72, {1}, {1}, {}, {}},
            {73, {}, inquiry, {1}, {1}},
            {74, {7}, {7}, {}, {}},
            {75, {}, inquiry, {9}, {9}},
            {76, {2, 200}, {2, 200}, {}, {}},
            {77, {}, inquiry, {60, 255}, {60, 0, 0, 0, 255, 0, 0, 0}},
            {78, {}, inquiry, Ramp(300), Counted(Ramp(300))},
            {79, {}, inquiry, neighbour, neighbour},
            {80, {}, inquiry, Ramp(10), Counted(Ramp(10))},
            {82, Ramp(228), WithAddressesTurned(Ramp(228)), {}, {}},
            {83, {}, inquiry, {}, {}},
            {85, {}, inquiry, {}, {}},
            {88, Counted(Text(kReportConfig)), Text(kSentConfig), {}, {}}};
}

TEST_F(Local, CommandsReachItAndItsAnswersThePlatform) {
    LogInWithPeer();
    for (const Relayed& command : AllRelayed()) {
        SCOPED_TRACE(command.id);
        AnswerWith(command.id, command.data);
        const LinkEvent answer = Ask(command.id, command.parameters);
        EXPECT_EQ(ToHex(command.request), ToHex(AwaitRequest(command.id).payload));
        EXPECT_EQ(0, answer.result());
        EXPECT_EQ(ToHex(command.answer), ToHex(ConstBytes(answer.data).subspan(6)));

        Answer(command.id, {.result = 5, .data = ByteVector{1, 2, 3}});
        EXPECT_EQ(5, Ask(command.id, command.parameters).result());
        AwaitRequest(command.id);
    }
    AnswerWith(70, {9});
    const LinkEvent no_band = Ask(70, ByteVector{1});
    EXPECT_EQ(1, no_band.result()) << "bands above 8 are none";
}

TEST_F(Local, WithoutOneCommandsFailAtOnce) {
    StartPlatform();
    LogIn();
    for (const Relayed& command : AllRelayed()) EXPECT_EQ(1, Ask(command.id, command.parameters).result());
    ExpectLogged("ERROR: send get mesh switch command failed!");
    EXPECT_EQ(0, CountLog("ERROR: request timeout!"));
}

TEST_F(Local, ASilentOneIsWaitedFor) {
    if (kSanitized) GTEST_SKIP() << kNeedsOwnClock;
    RunFast(50);
    LogInWithPeer();
    Answer(kMeshSwitch, {.silent = true});
    Answer(79, {.silent = true});
    EXPECT_EQ(1, Ask(kMeshSwitch).result());
    const std::int64_t usual = LoggedAt("ERROR: request timeout!") - LoggedAt("ParserProtoolData funcid 73");
    EXPECT_GE(usual, 10);
    EXPECT_LT(usual, 25);
    EXPECT_EQ(1, Ask(79).result());
    const std::int64_t neighbours =
        LoggedAt("ERROR: request timeout!", 2) - LoggedAt("ParserProtoolData funcid 79");
    EXPECT_GE(neighbours, 60);
    EXPECT_LT(neighbours, 75);
    peer_->answers().Reset(kMeshSwitch);
    EXPECT_EQ(0, Ask(kMeshSwitch).result());
}

TEST_F(Local, LargeRepliesHaveTheirLimits) {
    LogInWithPeer();
    struct Limit {
        std::uint16_t id;
        std::size_t length;  // with the result byte
        std::uint16_t result;
    };
    for (const auto& [id, length, result] :
         {Limit{78, 10, 1}, Limit{78, 11, 0}, Limit{78, 4000, 0}, Limit{78, 4001, 1}, Limit{80, 10, 1},
          Limit{80, 11, 0}, Limit{80, 2048, 0}, Limit{80, 2049, 1}, Limit{79, 79, 1}, Limit{79, 80, 0}}) {
        SCOPED_TRACE(testing::Message() << id << " with " << length);
        ByteVector data = Ramp(length - 1);
        if (id == 79) data[0] = 1, data[1] = 0;
        AnswerWith(id, data);
        const LinkEvent answer = Ask(id);
        EXPECT_EQ(result, answer.result());
        const bool entries = id == 79;
        const ByteVector expected = result != 0 ? ByteVector() : entries ? data : Counted(data);
        EXPECT_EQ(ToHex(expected), ToHex(ConstBytes(answer.data).subspan(6)));
    }
    ExpectLogged("ERROR: Data length is too short! len=79");
    ExpectLogged("ERROR: receive data too large!");
}

// Whatever frame comes first ends the wait; the answer is then made of the reply before.
TEST_F(Local, AReportInsteadOfAReplyAnswersWithTheReplyBefore) {
    LogInWithPeer();
    AnswerWith(77, {60, 70});
    EXPECT_EQ(0, Ask(77).result());
    const auto ask_and_report = [this] {
        Answer(kMeshSwitch, {.silent = true});
        platform_->SendCommand(mac_, kMeshSwitch, {});
        AwaitRequest(kMeshSwitch);
        peer_->Send(84, Text("{}"));
        return AwaitReply();
    };
    const LinkEvent stale = ask_and_report();
    EXPECT_EQ(0, stale.result());
    EXPECT_EQ(60, stale.data.at(6));
    Answer(kMeshSwitch, {.result = 5});
    EXPECT_EQ(5, Ask(kMeshSwitch).result());
    AwaitRequest(kMeshSwitch);
    EXPECT_EQ(5, ask_and_report().result()) << "the error is the reply before";
    AnswerWith(75, {1});
    EXPECT_EQ(0, Ask(75).result());
}

TEST_F(Local, OneClientAtATime) {
    RunFast(10);
    LogInWithPeer();
    LocalPeer second({.first_sequence = 100});
    auto events = second.FromStart();
    ASSERT_TRUE(second.Connect());
    const auto closed = events.WaitFor(PeerEventKind::kClosed, kPatience);
    ASSERT_TRUE(closed);
    EXPECT_EQ("closed by the agent", closed->note);
    ExpectLogged("link quntity is large.");
    EXPECT_EQ(0, Ask(kMeshSwitch).result()) << "the first is still served";

    Connect();
    const std::int64_t pause = LoggedAt("create a instance...", 2) - LoggedAt("link quntity is large.");
    EXPECT_GE(pause, 4) << "five seconds for a client turned away";
    AwaitLog("release ok");
    EXPECT_EQ(0, Ask(kMeshSwitch).result());
}

TEST_F(Local, SequencesRunOnOverConnections) {
    LogInWithPeer();
    std::uint32_t last = 0;
    for (int connection = 0; connection < 4; ++connection) {
        EXPECT_EQ(0, Ask(kMeshSwitch).result());
        const std::uint32_t sequence = AwaitRequest(kMeshSwitch).sequence;
        EXPECT_GT(sequence, last);
        last = sequence;
        peer_->Disconnect();
        AwaitLog("release ok", connection + 1);
        EXPECT_EQ(1, Ask(kMeshSwitch).result());
        Connect();
    }
    // The agent remembers the last sequence of the connection before.
    ASSERT_TRUE(peer_->Send(84, Text("first")));
    ExpectNextJson("first");
    peer_->Disconnect();
    ASSERT_TRUE(peer_->Connect());
    ASSERT_TRUE(peer_->SendBytes(peer_->RepeatedFrame(84, Text("repeated"))));
    ASSERT_TRUE(peer_->Send(84, Text("second")));
    ExpectNextJson("second");
    ExpectLogged("Receive  sequence error.");
}

TEST_F(Local, FramesThatBreakTheRulesAreDropped) {
    LogInWithPeer();
    const auto frame = [this](std::string_view json) { return peer_->Frame(84, Text(json)); };
    const auto expect_dropped = [&](const ByteVector& bytes, const std::string& log, int count = 1) {
        SCOPED_TRACE(log);
        ASSERT_TRUE(peer_->SendBytes(bytes));
        ExpectLogged(log, count);
        peer_->Send(84, Text("good"));
        ExpectNextJson("good");
    };
    expect_dropped(WithWrongHead(frame("bad")), "Receive head error.");
    expect_dropped(WithWrongSum(frame("bad")), "Receive  checkSum error.");
    // Even a frame with a wrong sum has used its sequence up.
    ASSERT_TRUE(peer_->SendBytes(WithWrongSum(frame("bad"))));
    expect_dropped(peer_->RepeatedFrame(84, Text("good by itself")), "Receive  sequence error.");
    ASSERT_TRUE(peer_->SendBytes(frame("good")));
    ExpectNextJson("good");
    expect_dropped(peer_->RepeatedFrame(84, Text("other content")), "Receive  sequence error.", 2);
    for (const std::uint32_t length : {4U, 8086U, 8178U, 0x7FFFFFFFU, 0xFFFFFFFFU})
        ASSERT_TRUE(peer_->SendBytes(WithLength(frame("bad"), length)));
    expect_dropped(frame(""), "Receive length error, length is 14");
    EXPECT_EQ(7, CountLog("Receive  checkSum error."));
    expect_dropped(peer_->Frame(87, Text("bad")), "Error funcID");
    const ByteVector half = frame("cut in two halves");
    expect_dropped(ByteVector(half.begin(), half.begin() + 20), "Receive  checkSum error.", 8);
    // Of two frames in one write the second is lost.
    ASSERT_TRUE(peer_->SendBytes(Join({frame("one"), frame("two")})));
    ExpectNextJson("one");
    expect_dropped(peer_->Frame(84, Ramp(8087)), "Receive length error, length is 8101");
    // The longest frame there may be; with its header it is the longest report there may be.
    ASSERT_TRUE(peer_->Send(84, Ramp(8086)));
    EXPECT_EQ(ToHex(Ramp(8086)), ToHex(ConstBytes(AwaitReport(84).data).subspan(8)));
}

TEST_F(Local, ReportsAreRelayedByteForByte) {
    LogInWithPeer();
    const auto expect = [this](std::uint16_t id, const ByteVector& payload, const ByteVector& relayed) {
        SCOPED_TRACE(id);
        ASSERT_TRUE(peer_->Send(id, payload));
        const LinkEvent report = AwaitReport(static_cast<std::uint8_t>(id));
        EXPECT_EQ(ToHex(relayed), ToHex(report.data));
        EXPECT_EQ(mac_, report.address);
        EXPECT_EQ(MsgType::kAddressedReport, report.header.type());
    };
    const ByteVector json = Text(R"({"a":1})");
    expect(84, json, Join({ByteVector{0, 0, 84, 0, 0, 0, 7, 0}, json}));
    expect(86, Ramp(600), Join({ByteVector{1, 0, 86, 0, 0, 0, 0x58, 2}, Ramp(600)}));
    expect(81, Ramp(228), Join({ByteVector{2, 0, 81, 0, 0, 0}, WithAddressesTurned(Ramp(228))}));
    expect(89, {2, 0xFF, 0}, {3, 0, 89, 0, 0, 0, 3, 0, 2, 0xFF, 0});

    // Too soon after the one before, and of no known type.
    ASSERT_TRUE(peer_->Send(89, ByteVector{2, 1}));
    ExpectLogged("ERROR: type2 report error!");
    ASSERT_TRUE(peer_->Send(89, ByteVector{4}));
    ExpectLogged("ERROR: type error!");
    expect(89, {1}, {4, 0, 89, 0, 0, 0, 1, 0, 1});
    expect(89, {3}, {5, 0, 89, 0, 0, 0, 1, 0, 3});
}

TEST_F(Local, FirmwareResultsAreToldInWords) {
    LogInWithPeer();
    for (const auto& [code, text] : {std::pair<std::uint8_t, const char*>{0, "success"},
                                     {1, "fromVersion not match."},
                                     {8, "firmware update faiiled."},
                                     {9, "unKnown error."},
                                     {255, "unKnown error."}}) {
        ASSERT_TRUE(peer_->Send(999, ByteVector{code}));
        const LinkEvent report = AwaitReport(17);
        EXPECT_EQ("{\"result\":" + std::to_string(code) + ",\"resultDesc\":\"" + text + "\"}", report.text());
        EXPECT_EQ(MsgType::kDataReport, report.header.type());
    }
    ASSERT_TRUE(peer_->Send(999, ByteVector{0, 0}));
    ExpectLogged("Firmware update return length error.");
}

TEST_F(Local, ThePluginStateIsToldOnRequest) {
    LogInWithPeer();
    ASSERT_TRUE(peer_->Send(998, Text("old")));
    ExpectLogged("Old plugin no plugin state notice.");
    ASSERT_TRUE(peer_->AskState());
    EXPECT_EQ(R"({"pluginState":"online","pluginVersion":"2.0.0.7-20221227"})", AwaitRequest(998).text());
}

TEST_F(Local, WhatComesWhileOfflineIsDiscarded) {
    RunFast(10);
    LogInWithPeer();
    platform_->CloseListener(Server::kLogin);
    ASSERT_TRUE(platform_->Drop(mac_));
    while (AwaitRequest(998).text().find("offline") == std::string_view::npos) {
    }
    ASSERT_TRUE(peer_->Send(84, Text("lost")));
    AwaitLog("Login ServerInit error");
    platform_->OpenListener(Server::kLogin);
    Await(EventKind::kHeartbeat);
    ASSERT_TRUE(peer_->AskState());
    while (AwaitRequest(998).text().find("online") == std::string_view::npos) {
    }
    ASSERT_TRUE(peer_->Send(84, Text("kept")));
    const LinkEvent report = AwaitReport(84);
    EXPECT_EQ("kept", report.text().substr(8));
    EXPECT_EQ(0, report.Word(0)) << "what was discarded was not counted";
}

// The router's MAC ends in 005301, which is 21249: slot 1089 of 1440, minute 18:09 of the day.
TEST_F(Local, AutoReportTimesAreComputedFromTheMac) {
    LogInWithPeer();
    const std::string head = R"({"timestamp":)" + std::to_string(time(nullptr)) +
                             R"(,"referNum":1440,"interval1":3,"interval2":1440,)";
    const std::string config = head + R"("interval3":60})";
    EXPECT_EQ(0, Ask(88, Counted(Text(config))).result());
    const auto sent = nlohmann::json::parse(AwaitRequest(88).text());
    const double difference = sent.at("serverDiff").get<double>();
    const double day = std::stod(sent.at("dayReportTime").get<std::string>()) - difference;
    EXPECT_EQ(65340, std::fmod(day, 86400));
    const double cycle = std::stod(sent.at("cycleReportStart").get<std::string>()) - difference;
    EXPECT_EQ(2722.5, std::fmod(cycle, 3600)) << "of an hour's 1440 slots of 2.5 s";
    EXPECT_GE(cycle, static_cast<double>(time(nullptr)) - 30);
    EXPECT_EQ(1, sent.at("save"));
    EXPECT_EQ(3, sent.at("interval1"));

    const std::string late = R"({"timestamp":)" + std::to_string(time(nullptr) + 200) +
                             R"(,"referNum":1440,"interval1":3,"interval2":1440,"interval3":60})";
    EXPECT_EQ(1, Ask(88, Counted(Text(late))).result());
    ExpectLogged("Calibration time error !!!!!!");
}

TEST_F(Local, TheStoredConfigurationIsAskedForAndCalibrated) {
    if (kSanitized) GTEST_SKIP() << kNeedsOwnClock;
    RunFast(50);
    StartPlatform();
    peer_ = std::make_unique<LocalPeer>();
    requests_ = peer_->FromStart();
    AnswerWith(997, Text(R"({"referNum":1440,"serverDiff":7,"interval1":2,"interval2":1440,"interval3":0})"));
    LogIn();
    Connect();
    AwaitRequest(997);
    const auto sent = nlohmann::json::parse(AwaitRequest(88).text());
    EXPECT_EQ(0, sent.at("save"));
    EXPECT_EQ(1440, sent.at("interval2"));
    EXPECT_EQ(65347, std::fmod(std::stod(sent.at("dayReportTime").get<std::string>()), 86400));
    EXPECT_EQ("0.000000", sent.at("cycleReportStart"));
    EXPECT_FALSE(sent.contains("serverDiff"));
}

}  // namespace
}  // namespace plug::e2e
