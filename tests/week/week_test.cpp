// A week of the agent's life, and a day before and after: everything that is expected of it once, most things
// again and again, on a clock that runs up to an hour a second. See docs/measurements.md.
//
// A link that is lost twenty hours after a login is registered anew, and the week begins again then: so the
// links of this test are lost on its first two days, and the last one when the week is over.
#include <algorithm>
#include <iostream>
#include <thread>

#include "support/sanitized.h"
#include "week/driver.h"

namespace plug::week {
namespace {

constexpr std::int64_t kFirstBoot = 20;          // a router knows no better than 1970
constexpr std::int64_t kMonday = 1'805'695'200;  // 2027-03-22 06:00:00 UTC
constexpr double kEnd = 206;
constexpr int kNewDevices = 18;
constexpr int kStallSpeed = 1000;

constexpr std::uint16_t kPingStart = 8;
constexpr std::uint16_t kPingFetch = 9;
constexpr int kStillRunning = 1;
constexpr std::uint16_t kCommands[] = {1,  2,  4,  10, 12, 13, 18, 22, 26, 39, 42, 43, 44,
                                       47, 48, 49, 54, 58, 60, 64, 71, 73, 75, 77, 78, 80};
// What people choose; the more of them coincide, the less time the test needs.
constexpr int kTimes[] = {1 * 60 + 30, 2 * 60 + 30,  6 * 60 + 45, 8 * 60,       12 * 60 + 15,
                          13 * 60,     17 * 60 + 30, 19 * 60,     21 * 60 + 45, 23 * 60 + 59};

MacAddress DeviceMac(int number) {
    return {0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(0xD0 + number)};
}

class Week : public Driver {
  protected:
    void SetUp() override {
        Driver::SetUp();
        environment_.emplace_back("PLUG_PROVEN=2");  // true seconds, in which hours pass
        samples_ = std::make_unique<Samples>(ProgramFolder() + "/week.csv");
        clock_->SetDay(kFirstBoot);
    }

    void At(double hours, const std::function<void()>& act) { plan_.emplace_back(hours, act); }
    void Every(double hours, double first, const std::function<void()>& act) {
        for (double at = first; at < kEnd; at += hours) At(at, act);
    }
    void CarryOut() {
        std::ranges::stable_sort(plan_, {}, [](const auto& step) { return step.first; });
        for (const auto& [hours, act] : plan_) {
            RunUntil(hours);
            act();
        }
    }

    void PlanTheUsual();
    void PlanTheCalendar();
    void PlanMischief();

    // --- what happens ---
    void AddDevices();
    void GiveFirstOrders();
    Order RandomOrder();
    void ChangeOrders();
    void AskSome();
    void SomeComeAndGo();
    void ReportSome();
    void ConfigureReports();
    void Diagnose();
    void SetClock(std::int64_t day);
    void ChangeZone(const std::string& zone);
    void LoseLink(const std::function<void()>& how);
    void Update(const std::string& content, const std::string& md5, bool good);
    void EndTheWeek();
    void Tell();

    const std::string agent_ = ReadFile(ProgramFolder() + "/plug");
    std::vector<std::pair<double, std::function<void()>>> plan_;
    int reports_ = 0;
};

void Week::AddDevices() {
    router_.Change([](Json& home) {
        for (int number = 0; number < kNewDevices; ++number)
            home["devices"].push_back({{"online", number % 4 != 0},
                                       {"name", "device " + std::to_string(number)},
                                       {"mac", bench::MacText(DeviceMac(number))},
                                       {"address", "192.168.1." + std::to_string(100 + number)},
                                       {"access", true}});
    });
}

Order Week::RandomOrder() {
    Order order{bench::MacText(DeviceMac(static_cast<int>(Random(kNewDevices)))), "", 0, 0};
    for (char day = '1'; day <= '7'; ++day)
        if (Random(2) == 0) order.days += day;
    order.from = kTimes[Random(std::size(kTimes))];
    order.to = kTimes[Random(std::size(kTimes))];
    if (order.to < order.from && Random(5) != 0) std::swap(order.from, order.to);  // else it bars nobody
    return order;
}

void Week::GiveFirstOrders() {
    for (int count = 0; count < 40; ++count) Give(RandomOrder());
    Order lower_case = RandomOrder();
    std::ranges::transform(lower_case.mac, lower_case.mac.begin(), ::tolower);
    Give(lower_case);                                    // bars nobody
    Give({bench::MacText(DeviceMac(1)), "5", 60, 190});  // over the hour that the clock change skips
}

void Week::ChangeOrders() {
    if (link_ == 0) return;
    const std::vector<Order> before = orders_;
    for (const Order& order : before)
        if (Random(8) == 0) TakeBack(order);
    while (orders_.size() < 42) Give(RandomOrder());
    if (AskWith("limits-set", "text=" + Json{{"LIST",
                                              {{{"FLAG", "1"},
                                                {"MAC", "00:00:5E:00:53:B1"},
                                                {"UP", std::to_string(Random(9000))},
                                                {"DOWN", "2048"}}}}}
                                            .dump()) > 0)
        Blame("a limit was refused");
}

void Week::AskSome() {
    for (int count = 0; count < 3 && link_ != 0; ++count) Ask(kCommands[Random(std::size(kCommands))]);
}

void Week::SomeComeAndGo() {
    std::vector<std::pair<MacAddress, std::string>> came;
    router_.Change([&](Json& home) {
        for (int changes = 0; changes < 2; ++changes) {
            const MacAddress mac = DeviceMac(static_cast<int>(Random(kNewDevices)));
            Json& device = *RouterState::FindDevice(home, mac);
            const bool online = !device["online"].get<bool>();
            device["online"] = online;
            if (online) came.emplace_back(mac, device["name"]);
        }
    });
    for (const auto& [mac, name] : came) Announce(mac, name);
}

void Week::ReportSome() {
    Report(84, AsBytes(Json{{"report", ++reports_}}.dump()));
    Report(81, UsualStatus());
    for (const std::uint8_t type : {std::uint8_t{2}, std::uint8_t{3}}) {
        const std::uint8_t payload[] = {type, static_cast<std::uint8_t>(reports_)};
        Report(89, payload);
    }
}

/// The day's report falls into the local day: its midnight as this side's calendar has it.
void Week::ConfigureReports() {
    if (link_ == 0 || !peer_->connected()) return;
    constexpr int kSlots = 1440;
    constexpr int kMacValue = 0x005301;
    auto requests = peer_->FromNow();
    const auto now = static_cast<time_t>(Now().day);
    const Json wanted = {
        {"timestamp", now}, {"referNum", kSlots}, {"interval1", 1}, {"interval2", 1440}, {"interval3", 60}};
    if (AskWith("auto-report-set", "json=" + wanted.dump()) != 0) return Blame("no automatic reports");
    const auto request = requests.WaitFor(IsRequest(88), Milliseconds(1000));
    const Json told = request ? Json::parse(request->text(), nullptr, false) : Json();
    if (!told.is_object()) return Blame("the local peer was not told of the reports");
    std::tm midnight{};
    localtime_r(&now, &midnight);
    midnight.tm_hour = midnight.tm_min = midnight.tm_sec = 0;
    midnight.tm_isdst = -1;
    const double due = static_cast<double>(mktime(&midnight)) + told.value("serverDiff", 0) +
                       86400.0 / kSlots * (kMacValue % kSlots);
    const double given = std::stod(told.value("dayReportTime", "0"));
    if (std::abs(given - due) > 1e-3) Blame(Format("the day's report at %.0f, not at %.0f", given, due));
}

/// A program that is run, and a download that is measured.
void Week::Diagnose() {
    if (link_ == 0) return;
    const std::uint8_t one_ping[] = {127, 0, 0, 1, 0, 0, 0, 0, 0,  0, 0, 0,
                                     0,   0, 0, 0, 0, 0, 0, 0, 56, 0, 1, 0};
    int result = Ask(kPingStart, one_ping);
    if (result == 0) Await("the end of a ping", [&] { return (result = Ask(kPingFetch)) != kStillRunning; });
    if (result != 0) Blame("no ping");
    const HttpServer server(std::string(100'000, 'x'));
    const int measured = counts_.measured;
    if (AskWith("config-data", "json=" + Json{{"value_func61", server.Url()}}.dump()) != 0)
        Blame("no rate test");
    Await("a rate", [&] { return counts_.measured > measured; });
}

void Week::SetClock(std::int64_t day) {
    clock_->SetDay(day);
    judge_.CalendarChanged();
}

void Week::ChangeZone(const std::string& zone) {
    SetZone(zone);
    judge_.CalendarChanged();
}

/// A command is under way when the link goes.
void Week::LoseLink(const std::function<void()>& how) {
    const int lost = counts_.links_lost;
    Send(47);
    how();
    Await("the end of the link", [&] { return counts_.links_lost > lost; });
    AwaitService();
}

void Week::Update(const std::string& content, const std::string& md5, bool good) {
    const HttpServer server(content);
    const int processes = counts_.processes;
    progress_.clear();
    OrderUpdate(server, md5);
    Await("a report of progress", [&] { return !progress_.empty(); });
    const bool matches = md5 == Md5(content);
    const std::string end = matches ? R"("process":1,"result":0)" : R"("process":0,"result":-1)";
    EXPECT_NE(std::string::npos, progress_.back().find(end)) << progress_.back();
    if (matches) {
        Await("the next process", [&] { return counts_.processes > processes; });
        AwaitService();
    }
    EXPECT_TRUE((good ? content : agent_ + "B") == ReadFile(kAgent)) << "what is installed";
}

void Week::EndTheWeek() {
    const int processes = counts_.processes;
    ASSERT_TRUE(platform_->Drop(kRouterMac));
    Await("the week's end", [&] { return counts_.processes > processes; });
    AwaitService();
}

void Week::PlanTheUsual() {
    At(0.2, [this] {
        AddDevices();
        GiveFirstOrders();
    });
    Every(0.5, 0.4, [this] { AskSome(); });
    Every(2, 0.7, [this] { SomeComeAndGo(); });
    Every(1, 0.8, [this] { ReportSome(); });
    Every(12, 0.9, [this] { ConfigureReports(); });
    Every(7, 1.3, [this] { ChangeOrders(); });
    Every(24, 6.6, [this] { Diagnose(); });
    Every(19, 12.1, [this] { SetPeerWanted(false); });
    Every(19, 12.3, [this] { SetPeerWanted(true); });
}

void Week::PlanTheCalendar() {
    At(0.05, [this] { SetClock(kMonday); });
    At(27.2, [this] { ChangeZone("Europe/Berlin"); });
    At(60.2, [this] { SetClock(Now().day - 20 * 60); });
    At(75.2,
       [this] { ChangeZone("Asia/Jerusalem"); });  // where summer begins on Friday, two hours behind midnight
    At(110.2, [this] { SetClock(Now().day + 47 * 60); });
    At(160.2, [this] { ChangeZone("America/New_York"); });
}

void Week::PlanMischief() {
    // With a reset or without; the thread sanitizer takes the bench's way to a reset for a race.
    const auto drop = [this](bool abruptly) {
        LoseLink([=, this] { platform_->Drop(kRouterMac, abruptly && !kSanitized); });
    };
    At(1.9, [=] { drop(false); });  // the clock has jumped by decades, and no week is over
    At(3.1, [this] { Update(agent_ + "B", Md5(agent_ + "B"), true); });
    At(5.1, [=] { drop(false); });
    At(7.6, [=] { drop(true); });
    At(10.1, [this] { Update(std::string(4096, '-'), Md5(std::string(4096, '-')), false); });
    At(14.1, [this] { Update(agent_ + "C", Md5("another"), false); });
    At(16.1, [this] { LoseLink([this] { platform_->SendBytes(kRouterMac, LeadWordFrame()); }); });
    // Longer than three heartbeats: the link is given up, and the login is on a new one.
    At(20.1, [this] {
        Send(47);
        platform_->Stall(kRouterMac, Milliseconds(3000));
        clock_->Run(kStallSpeed);
        Await("a silent link given up", [] { return ReadFile(kStatus) != "003\n"; });
        clock_->Run(kBusy);
        GiveUpLink();
        AwaitService();
    });
    At(32.1, [=] { drop(false); });  // a new registration, with which the week begins
    At(36.1, [=] { drop(false); });
    At(48.1, [=] { drop(true); });
    Every(30, 55.1, [this] {  // shorter ones only delay what comes then
        platform_->Stall(kRouterMac, Milliseconds(150));
        Send(47);
    });
    At(202.1, [this] { EndTheWeek(); });
}

void Week::Tell() {
    const auto agent = platform_->Find(kRouterMac);
    std::cout << "\n| | |\n|---|---|\n"
              << Format("| simulated | %.1f days |\n", Hours() / 24)
              << Format(
                     "| commands, answered, of these with a result other than 0, lost with their link | %d, "
                     "%d, %d, %d |\n",
                     counts_.asked, counts_.answered, counts_.refused, counts_.lost)
              << Format("| reports of the local peer, relayed | %d, %d |\n", counts_.reports, counts_.relayed)
              << Format("| devices that came online, reported | %d, %d |\n", counts_.announced,
                        counts_.online)
              << Format("| switches of access, looks at who is barred | %d, %d |\n", judge_.switches(),
                        judge_.looks())
              << Format("| links lost, logins, registrations, heartbeats | %d, %d, %d, %d |\n",
                        counts_.links_lost, agent->logins, agent->registrations, agent->heartbeats)
              << Format("| processes, connections of the local peer | %d, %d |\n\n", counts_.processes,
                        counts_.peer_connections)
              << samples_->Table() << std::endl;
}

TEST_F(Week, OfEverything) {
    std::cout << "seed " << Setting("PLUG_WEEK_SEED", 1) << std::endl;
    StartSupervisor();
    AwaitService();
    PlanTheUsual();
    PlanTheCalendar();
    PlanMischief();
    CarryOut();
    RunUntil(kEnd);
    Tell();
    EXPECT_EQ(std::vector<std::string>{}, faults_);
    EXPECT_EQ(std::vector<std::string>{}, judge_.faults());
    EXPECT_EQ(std::vector<std::string>{}, samples_->Growth());
    EXPECT_EQ(counts_.asked, counts_.answered + counts_.lost);
    EXPECT_LT(100, judge_.switches());
    EXPECT_EQ(4, counts_.processes) << "the first, two updates' (one refused), and the one after a week";
}

}  // namespace
}  // namespace plug::week
