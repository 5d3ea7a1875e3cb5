// Commands that the local peer answers and reports that it sends, through the real agent: from
// the platform's frame to the local socket and back.
#include <cmath>
#include <numeric>
#include <stdexcept>

#include "core/version.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kMeshSupport = 71;
constexpr std::uint16_t kMeshSwitch = 73;

/// Numbers that all differ.
ByteVector Ramp(std::size_t count) {
    ByteVector bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
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
        LogIn();
        peer_ = std::make_unique<LocalPeer>();
        Connect();
    }
    /// Connects and waits until the agent serves the connection.
    void Connect() {
        EXPECT_EQ(std::string(R"({"pluginState":"online","pluginVersion":")") + kDatedVersion + "\"}",
                  AgentTest::Connect(*peer_).text());
        Ask(kMeshSupport);  // the agent may still be about to take the question for its state as a reply
    }
    PeerEvent AwaitRequest(std::uint16_t func_id) {
        auto request = peer_->WaitFor(IsRequest(func_id), kPatience);
        if (!request) throw std::runtime_error("the local peer was not asked " + std::to_string(func_id));
        return *request;
    }
    void Answer(std::uint16_t id, const PeerAnswer& answer) { peer_->answers().Set(id, answer); }
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
};

TEST_F(Local, CommandsReachItAndItsAnswersThePlatform) {
    LogInWithPeer();
    Answer(78, {.result = 0, .data = Ramp(300)});
    const LinkEvent topology = Ask(78);
    EXPECT_EQ(ToBytes("i"), AwaitRequest(78).payload);
    EXPECT_EQ(0, topology.result());
    EXPECT_EQ(ToHex(Counted(Ramp(300))), ToHex(ConstBytes(topology.data).subspan(6)));
    Answer(kMeshSwitch, {.result = 5, .data = ByteVector{1}});
    EXPECT_EQ(5, Ask(kMeshSwitch).result());

    // The settings of the reports are completed on their way.
    const ByteVector settings = ToBytes(R"({"referNum":5,"interval1":1,"interval2":0,"interval3":0})");
    EXPECT_EQ(0, Ask(88, Counted(settings)).result());
    EXPECT_EQ(1, Json::parse(AwaitRequest(88).text()).at("save"));

    // Firmware is handed on, and its result comes later.
    Answer(999, {.silent = true});
    ExpectResult(0, 16,
                 R"({"fromVersion":"1","toVersion":"2","url":"http://h/f",)"
                 R"("fileLength":1,"checkMethod":1,"chkSum":"c"})");
    EXPECT_EQ(432U, AwaitRequest(999).payload.size());
    ASSERT_TRUE(peer_->Send(999, ByteVector{8}));
    EXPECT_EQ(R"({"result":8,"resultDesc":"firmware update faiiled."})", AwaitReport(17).text());
}

TEST_F(Local, ASilentOneIsWaitedFor) {
    RunFast(50);
    LogInWithPeer();
    Answer(kMeshSwitch, {.silent = true});
    Answer(79, {.silent = true});
    EXPECT_EQ(1, Ask(kMeshSwitch).result());
    ExpectWait("ParserProtoolData funcid 73", "ERROR: request timeout!", 10, 25);
    EXPECT_EQ(1, Ask(79).result());
    AwaitLog("ERROR: request timeout!", 2);
    ExpectWait("ParserProtoolData funcid 79", "ERROR: request timeout!", 60, 75);
    peer_->answers().Reset(kMeshSwitch);
    EXPECT_EQ(0, Ask(kMeshSwitch).result());
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
    EXPECT_EQ(0, Ask(kMeshSwitch).result());
    const std::uint32_t sequence = AwaitRequest(kMeshSwitch).sequence;
    peer_->Disconnect();
    AwaitLog("release ok");
    EXPECT_EQ(1, Ask(kMeshSwitch).result());
    Connect();
    EXPECT_EQ(0, Ask(kMeshSwitch).result());
    EXPECT_GT(AwaitRequest(kMeshSwitch).sequence, sequence);
    // The agent remembers the last sequence of the connection before.
    ASSERT_TRUE(peer_->Send(84, ToBytes("first")));
    ExpectNextJson("first");
    peer_->Disconnect();
    AwaitLog("release ok", 2);
    ASSERT_TRUE(peer_->Connect());
    ASSERT_TRUE(peer_->SendBytes(peer_->RepeatedFrame(84, ToBytes("repeated"))));
    ASSERT_TRUE(peer_->Send(84, ToBytes("second")));
    ExpectNextJson("second");
    ExpectLogged("Receive  sequence error.");
}

TEST_F(Local, ReportsAreRelayedInTheirMeasure) {
    LogInWithPeer();
    // The longest frame there may be is, with its header, the longest report there may be.
    const std::pair<std::uint16_t, ByteVector> reports[] = {{84, Ramp(8086)}, {86, Ramp(600)}, {89, {2, 1}}};
    std::uint8_t sequence = 0;
    for (const auto& [id, payload] : reports) {
        SCOPED_TRACE(id);
        ASSERT_TRUE(peer_->Send(id, payload));
        const LinkEvent report = AwaitReport(static_cast<std::uint8_t>(id));
        const ByteVector header = {sequence++, 0, static_cast<std::uint8_t>(id), 0, 0, 0};
        EXPECT_EQ(ToHex(Join({header, Counted(payload)})), ToHex(report.data));
        EXPECT_EQ(mac_, report.address);
    }
    ASSERT_TRUE(peer_->Send(89, ByteVector{2, 1}));
    ExpectLogged("ERROR: type2 report error!");  // too soon after the one before

    // What breaks the rules is dropped, and the next is taken.
    ASSERT_TRUE(peer_->SendBytes(WithWrongSum(peer_->Frame(84, ToBytes("bad")))));
    AwaitLog("Receive  checkSum error.");
    ASSERT_TRUE(peer_->SendBytes(WithLength(peer_->Frame(84, ToBytes("bad")), 0xFFFFFFFF)));
    AwaitLog("Receive  checkSum error.", 2);
    ASSERT_TRUE(peer_->Send(84, ToBytes("good")));
    ExpectNextJson("good");
}

TEST_F(Local, WhatComesWhileOfflineIsDiscarded) {
    RunFast(10);
    LogInWithPeer();
    platform_->CloseListener(Server::kLogin);
    ASSERT_TRUE(platform_->Drop(mac_));
    while (AwaitRequest(998).text().find("offline") == std::string_view::npos) {
    }
    ASSERT_TRUE(peer_->Send(84, ToBytes("lost")));
    AwaitLog("Login ServerInit error");
    platform_->OpenListener(Server::kLogin);
    Await(EventKind::kHeartbeat);
    ASSERT_TRUE(peer_->AskState());
    while (AwaitRequest(998).text().find("online") == std::string_view::npos) {
    }
    ASSERT_TRUE(peer_->Send(84, ToBytes("kept")));
    const LinkEvent report = AwaitReport(84);
    EXPECT_EQ("kept", report.text().substr(8));
    EXPECT_EQ(0, report.Word(0)) << "what was discarded was not counted";
}

// The router's MAC ends in 005301, which is 21249: slot 1089 of 1440, minute 18:09 of the day.
TEST_F(Local, TheStoredConfigurationIsAskedForAndCalibrated) {
    RunFast(50);
    StartPlatform();
    peer_ = std::make_unique<LocalPeer>();
    const char config[] = R"({"referNum":1440,"serverDiff":7,"interval1":2,"interval2":1440,"interval3":0})";
    Answer(997, {.result = 0, .data = ToBytes(config)});
    LogIn();
    Connect();
    AwaitRequest(997);
    const Json sent = Json::parse(AwaitRequest(88).text());
    EXPECT_EQ(0, sent.at("save"));
    EXPECT_EQ(65347, std::fmod(std::stod(sent.at("dayReportTime").get<std::string>()), 86400));
}

TEST_F(Local, TheStepsGoOnWhereTheLinkWasLost) {
    LogInWithPeer();
    JumpAhead(13);
    AwaitRequest(998);  // step 8, at second 16
    ASSERT_TRUE(platform_->SendBytes(mac_, LeadWordFrame()));
    AwaitStatuses("103");
    JumpAhead(20);  // the pause after a loss
    AwaitReLogin();
    EXPECT_NE(std::string_view::npos, AwaitRequest(998).text().find("offline"));
    EXPECT_NE(std::string_view::npos, AwaitRequest(998).text().find("online"));
    const auto next = peer_->WaitFor(
        [](const PeerEvent& event) { return event.kind == PeerEventKind::kRequest; }, kPatience);
    ASSERT_TRUE(next);
    EXPECT_EQ(997, next->func_id) << "step 8 was begun, step 9 was not";
}

TEST_F(Local, TheStoredConfigurationIsNotWaitedForBehindALongRequest) {
    RunFast(3);
    StartPlatform();
    peer_ = std::make_unique<LocalPeer>();
    Answer(79, {.silent = true});  // waited for over a minute
    LogIn();
    Connect();
    ASSERT_TRUE(platform_->SendCommand(mac_, 79, {}));
    AwaitRequest(79);
    AwaitReport(14);  // what comes next
    ExpectWait("Login done", "fwversion:", 22, 45);
}

}  // namespace
}  // namespace plug::e2e
