// In whose name each entry of the log stands, over whole sessions of every kind.
#include "log_authors.h"

#include <csignal>

#include "bench/http_server.h"
#include "bench/router_state.h"
#include "bench/sandbox.h"
#include "fixture.h"
#include "network.h"

namespace plug::e2e {
namespace {

constexpr char kDesktop[] = "00:00:5E:00:53:B1";

ByteVector Text(std::string_view text) {
    return {text.begin(), text.end()};
}

class LogAuthors : public AgentTest {
  protected:
    /// Ends the agent, unless it has ended, and keeps its log.
    void TakeLog() {
        agent_->Kill();
        agent_->WaitForEnd(kPatience);
        log_ += agent_->Output();
    }
    void RunToEnd() {
        StartAgent();
        AwaitExit();
        TakeLog();
    }

    /// Everything that a session of the test's name must log is in the kept logs. That nobody else logs it is
    /// looked at behind every test.
    void ExpectAll() const {
        EXPECT_EQ("", MissingTexts(log_, testing::UnitTest::GetInstance()->current_test_info()->name()));
    }

    /// Runs a function command; reports may come before its answer.
    void Command(int id, ConstBytes parameters = {}) {
        if (!platform_->Ask(mac_, static_cast<std::uint16_t>(id), parameters, kPatience))
            throw std::runtime_error("no answer");
    }
    void Command(int id, std::string_view text) { Command(id, AsBytes(text)); }
    void Plug(std::uint8_t data_type, const std::string& json) {
        Cursor replies = platform_->FromNow();
        ASSERT_TRUE(platform_->SendPlugData(mac_, data_type, json));
        ASSERT_TRUE(replies.WaitFor(IsPlugReply(mac_), kPatience));
    }
    /// Does what makes the agent log a text once more.
    template <class Act>
    void Await(const std::string& text, Act act) {
        const int before = CountLog(text);
        act();
        AwaitLog(text, before + 1);
    }
    using AgentTest::Await;

    static Json Window(const char* flag, const std::string& mac, const char* days, const char* start) {
        return {{"FLAG", flag},   {"MAC", mac},      {"DAY", days},
                {"START", start}, {"STOP", "23:00"}, {"ALLOW", "1"}};
    }
    void SendWindows(const Json& windows) { Command(69, Json{{"LIST", windows}}.dump()); }
    /// Lets a section of the router's file be another one.
    void Change(const char* section, const Json& content) {
        router_.Change([&](Json& home) { home[section] = content; });
    }

  private:
    std::string log_;
    RouterState router_{"/tmp/router.json"};
};

TEST_F(LogAuthors, OfTheStart) {
    std::filesystem::create_directory("/tmp/elsewhere");
    setup_.folder = "/tmp/elsewhere";
    setup_.arguments = {"-d", "-f", "/tmp/none"};
    RunToEnd();
    setup_.folder = "/tmp";
    setup_.arguments = {"-x", "-m", "0"};
    RunToEnd();
    setup_.arguments = {"-f"};
    RunToEnd();
    setup_.arguments = {"-d"};
    setup_.port = 2047;
    RunToEnd();
    StartPlatform();
    setup_.pin = "";
    RunToEnd();
    setup_.pin = "1";
    setup_.key = "";
    setup_.server1 = "one.example.com";
    setup_.server2 = "two.example.com";
    ReplaceHosts("127.0.0.1 " + setup_.server1 + "\n");
    RunToEnd();
    for (const char* router :
         {R"({"faults": {"get_router_sn": 5}})", R"({"router": {"serial_number": ""}})"}) {
        setup_.router = router;
        RunToEnd();
    }
    ExpectAll();
}

TEST_F(LogAuthors, OfTheLink) {
    RunFast(10);
    StartPlatform();
    platform_->CloseListener(Server::kRegistration);
    StartAgent();
    AwaitLog("RegisterStart error.");
    behaviour_.register_ack = Ack::kEmptyBody;
    Behave();
    platform_->OpenListener(Server::kRegistration);
    AwaitLog("Register failed.");
    behaviour_.register_ack = Ack::kAccept;
    behaviour_.login_ack = Ack::kRefuse;
    Behave();
    AwaitLog("login failed !");
    platform_->CloseListener(Server::kLogin);
    AwaitLog("Login ServerInit error");
    platform_->OpenListener(Server::kLogin);
    behaviour_.login_ack = Ack::kAccept;
    Behave();
    Await(EventKind::kHeartbeat);
    AwaitLog("heart beat ack");

    ASSERT_TRUE(platform_->Drop(mac_));
    AwaitReLogin();
    platform_->CloseListener(Server::kLogin);
    Await("Login ServerInit error", [&] { platform_->SendBytes(mac_, LeadWordFrame()); });
    platform_->OpenListener(Server::kLogin);
    Await(EventKind::kHeartbeat);
    behaviour_.login_ack = Ack::kEmptyBody;
    Behave();
    Await("login failed !", [&] { platform_->SendBytes(mac_, LeadWordFrame()); });
    behaviour_.login_ack = Ack::kAccept;
    Behave();
    Await(EventKind::kHeartbeat);

    platform_->SendBytes(mac_, HugeHeader());
    platform_->SendBytes(mac_, WithWrongChecksum(BuildCommand(platform_->key(), kCpuUse, {}, mac_, 1)));
    ASSERT_TRUE(platform_->ForceDisconnect(mac_));
    AwaitExit();
    TakeLog();
    ExpectAll();
}

TEST_F(LogAuthors, OfFunctionCommands) {
    for (const char* program : {"ping", "traceroute"})
        ReplaceProgram(program, "echo " + std::string(program));
    ReplaceProgram("grep", "rm -f /tmp/tmpSubdev");
    const HttpServer server(std::string(2000, 'r'));
    LogIn();
    for (const int id : {70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80, 82, 83, 85, 88})
        Command(id, Counted(AsBytes(R"({"referNum":5})")));
    for (const int id : {16, 52, 62}) Command(id, ByteVector{1, 0});
    Command(41, ByteVector{0x00, 0x00, 0x5E, 0x00, 0x53, 0xB1});
    for (const int id : {8, 51}) Command(id, ByteVector{127, 0, 0, 1});
    AwaitLog("------------ping len");
    AwaitLog("Exit killTrace");
    const auto measure = [&](const std::string& url) {
        Command(87, Counted(AsBytes(Json{{"value_func61", server.Url(url)}}.dump())));
    };
    Command(87, Counted(AsBytes("{}")));
    for (const char* url : {"good", "a?404", "a?no-length"}) {
        Await("route rate up ret", [&] { measure(url); });
        WaitUntil([&] { return !Threads().contains("RateTestProc"); }, kPatience);
    }
    Await("route rate up ret", [&] { Command(61); });
    WaitUntil([&] { return !Threads().contains("RateTestThread"); }, kPatience);
    measure("a?stall");
    measure("second");

    const auto limit = [](const std::string& flag) {
        return R"({"LIST":[{"FLAG":")" + flag + R"(","MAC":"00:00:5E:00:53:B1","UP":"1","DOWN":"2"}]})";
    };
    for (const char* flag : {"1", "0"}) Command(66, limit(flag));
    Command(66, "no json");
    Change("devices",
           {{{"mac", kDesktop}, {"address", "192.168.1.20"}, {"online", true}, {"access", false}}});
    SendWindows({Window("1", kDesktop, "3", "8:00"), Window("1", kDesktop, "3", "8:00"),
                 Window("0", kDesktop, "3", "9:00"), Window("0", kDesktop, "3", "8:00"),
                 Window("0", kDesktop, "3", "8:00"), Json::object()});
    Command(69, "no json");
    Json many = Json::array();
    for (int device = 0; device < 74; ++device)
        many.push_back(Window("1", std::to_string(device), "1234567", "1:0"));
    SendWindows(many);

    Change("counts", {{"get_wlans_cfg", 9}, {"get_devs_cfg", 129}});
    for (const int id : {13, 39}) Command(id);
    Command(64);
    AwaitLog("DeviceNum too large.");
    Change("counts", Json::object());
    Change("faults", {{"get_devs_cfg", 5}});
    AwaitLog("get_devs_cfg Failed.");
    Change("faults", Json::object());
    AwaitLog("00 00 3F 00 ");

    // Held for good.
    platform_->SendCommand(mac_, 66, AsBytes(limit("2")));
    AwaitLog("Wrong tc rule param flag");
    TakeLog();
    ExpectAll();
}

TEST_F(LogAuthors, OfPlugData) {
    ReplaceProgram("iptables", "");
    const std::string content(2048, 'u');
    const HttpServer server(content);
    LogIn();
    const auto update = [&](const std::string& url, const std::string& md5) {
        return Json{{"pluginID", "p"}, {"fromVersion", "1"}, {"toVersion", "2"}, {"url", server.Url(url)},
                    {"fileLength", 1}, {"fileMD5", md5},     {"token", "t"}}
            .dump();
    };
    const auto rule = [](const std::string& flag) {
        return R"({"FLAG":")" + flag +
               R"(","PRE_IP":"1.2.3.4","PRE_PORT":"1","POST_IP":"1.2.3.5","POST_PORT":"2"})";
    };
    Json firmware = {{"fromVersion", "1"}, {"toVersion", "2"}, {"url", "u"},
                     {"fileLength", 1},    {"checkMethod", 1}, {"chkSum", "c"}};
    std::vector<std::pair<std::uint8_t, std::string>> orders = {
        {1, update("", "")},
        {1, Json{{"pluginID", std::string(200, 'p')}}.dump()},
        {2, update("a?404", "")},
        {2, update("plug", "other")},
        {4, R"({"result":0})"},
        {5, R"({"mac":"00005E0053B1"})"},
        {6, R"({"mac":"00005E0053B1","result":1})"},
        {7, R"({"mac":"00005E0053B1"})"},
        {9, rule("1")},
        {9, rule("0")},
        {9, rule("2")},
        {15, firmware.dump()},
        {16, firmware.dump()},
        {18, R"({"func40Interval":5})"},
        {18, R"({"func40Interval":0})"},
        {18, R"({"func40Interval":20})"},
        {18, "{}"}};
    for (const char* key : {"chkSum", "checkMethod", "fileLength", "url", "toVersion", "fromVersion"}) {
        firmware.erase(key);
        orders.emplace_back(16, firmware.dump());
    }
    orders.emplace_back(15, "{}");
    for (const auto& [type, json] : orders) Plug(type, json);
    ASSERT_TRUE(platform_->SendPlugData(mac_, 2, update("plug", Md5(content))));
    AwaitExit();
    TakeLog();
    ExpectAll();
}

TEST_F(LogAuthors, OfTheLocalPeer) {
    LogIn();
    LocalPeer peer;
    Connect(peer);
    AwaitLog("send plugin state ok, no need ack.");
    const auto empty = [&](std::uint16_t id) { return Join({peer.Frame(id, {}), Text("x")}); };
    const auto device = [](bool online) {
        return DevicesPayload({{ParseMac(kDesktop).value(), "d", online}});
    };
    const struct {
        ByteVector frame;
        const char* text;
    } frames[] = {
        {peer.Frame(84, {}), "Receive length error, length is 14"},
        {WithWrongHead(peer.Frame(84, Text("x"))), "Receive head error."},
        {WithWrongSum(peer.Frame(84, Text("x"))), "Receive  checkSum error."},
        {peer.RepeatedFrame(84, Text("x")), "Receive  sequence error."},
        {peer.Frame(87, Text("x")), "Error funcID"},
        {peer.Frame(1, Text("x")), "comm_get_version"},
        {peer.Frame(5, Text("x")), "comm_get_wan_tcp_con_num"},
        {peer.Frame(998, Text("x")), "Old plugin no plugin state notice."},
        {peer.Frame(998, Text("i")), "send plugin state ok, no need ack."},
        {peer.Frame(70, ByteVector{0, 1, 2}), "Recv length: 3"},
        {peer.Frame(70, ByteVector(4001)), "ERROR: receive data too large!"},
        {empty(81), "ERROR: receive data length error!"},
        {empty(84), "ERROR: receive data length error!"},
        {empty(89), "ERROR: receive data length error!"},
        {peer.Frame(89, Text("x")), "ERROR: type error!"},
        {peer.Frame(89, ByteVector{1}), "Type1 report interval: "},
        {peer.Frame(89, ByteVector{1, 1}), "ERROR: type1 report error!"},
        {peer.Frame(89, ByteVector{2}), "Send MsgType=[19] DataType=[89] "},
        {peer.Frame(89, ByteVector{2}), "ERROR: type2 report error!"},
        {peer.Frame(89, ByteVector{3}), "Type3 report interval: "},
        {peer.Frame(89, ByteVector{3}), "ERROR: type3 report error!"},
        {peer.Frame(997, Join({ByteVector{0}, Text("{\"x\":1}")})), "Receive 88 info:\n{\"x\""},
        {peer.Frame(999, ByteVector{0}), "update firmware success."},
        {peer.Frame(999, ByteVector{8}), "update firmware file error."},
        {peer.Frame(999, ByteVector{8, 8}), "Firmware update return length error."},
        {peer.Frame(40, ByteVector{0, 0}), "Subdev number error."},
        {peer.Frame(40, ByteVector{1, 0}), "Subdev length error."},
        {peer.Frame(40, device(true)), "Have subdev data."},
        {peer.Frame(40, device(false)), "Subdev offline."},
    };
    for (const auto& [frame, text] : frames) {
        Await(text, [&bytes = frame, &peer] { ASSERT_TRUE(peer.SendBytes(bytes)); });
    }

    peer.answers().Set(78, {.result = 0, .data = ByteVector{1}});
    for (const int id : {70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80, 82, 83, 85}) Command(id);
    const auto configure = [&](const Json& settings) { Command(88, Counted(AsBytes(settings.dump()))); };
    configure({{"referNum", 4}});
    configure({{"referNum", 5}, {"interval2", 1}});
    for (const char* jump : {"---------", "123456789", "1:00-----", "1234-12:00", "1:00-1:30", "1:00-3:00"})
        configure(
            {{"referNum", 5}, {"interval2", 1440}, {"jumpTime", jump}, {"timestamp", std::time(nullptr)}});
    Plug(16, R"({"fromVersion":"1","toVersion":"2","url":"u","fileLength":1,"checkMethod":1,"chkSum":"c"})");

    LocalPeer second;
    ASSERT_TRUE(second.Connect());
    AwaitLog("link quntity is large.");
    peer.Disconnect();
    AwaitLog("release ok");
    Connect(second);
    AwaitLog("create a instance...", 2);
    agent_->Signal(SIGTERM);
    AwaitExit();
    TakeLog();
    ExpectAll();
}

// What is due at its time, without a local peer and with one.
TEST_F(LogAuthors, OfTheFirstMinutes) {
    constexpr std::int64_t kDay = 86400;
    RunFast(50);
    const std::int64_t today = std::time(nullptr) / kDay;
    JumpAhead((today + 7 - (today + 3) % 7) * kDay + kDay / 2 - std::time(nullptr));  // noon of a Monday
    behaviour_.interval = 20;
    LogIn();
    SendWindows(Json::array({Window("1", kDesktop, "1", "1:00")}));
    Plug(18, R"({"func40Interval":1})");
    AwaitLog("UpdateMacProfile");
    AwaitLog("surf rule match");
    AwaitLog("Send calibration info.");
    Change("faults", {{"get_devs_cfg", 5}});
    AwaitLog("get_devs_cfg failed\n");
    AwaitLog("Func39 get_devs_cfg failed.");
    behaviour_.answer_heartbeats = false;
    Behave();
    AwaitLog("heart beep error");
    TakeLog();

    behaviour_.answer_heartbeats = true;
    StartPlatform();
    LocalPeer peer;
    peer.answers().Set(997, {.result = 0, .data = Text(R"({"referNum":5,"interval2":1440})")});
    peer.answers().Set(73, {.silent = true});
    LogIn();
    ASSERT_TRUE(peer.Connect());
    AwaitLog("Use function 40");
    AwaitLog("Send calibration success");
    Plug(18, R"({"func40Interval":1})");
    ASSERT_TRUE(peer.Send(40, DevicesPayload({{ParseMac(kDesktop).value(), "d"}})));
    AwaitLog("Online subdev:");
    AwaitLog("Clean 40 subdev.");
    Command(73);
    TakeLog();
    ExpectAll();
}

}  // namespace
}  // namespace plug::e2e
