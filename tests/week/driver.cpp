#include "week/driver.h"

#include <filesystem>
#include <iostream>
#include <thread>

#include "bench/command_table.h"

namespace plug::week {
namespace {

using std::chrono::steady_clock;

constexpr Milliseconds kLook{2};
constexpr Milliseconds kLeash{15};  // so that it looks at least every minute of a quiet hour
constexpr Milliseconds kPatience{20'000};
constexpr int kSlowAhead = 20;  // seconds of the agent's clock before a switch
constexpr double kSettledSeconds = 900;
constexpr double kOnlineSeconds = 60;  // in which a device that came online is reported
constexpr Milliseconds kOnlineLate{1000};
constexpr std::size_t kMostFaults = 20;
constexpr std::uint16_t kInterval = 600;  // a third of what passes while this machine stands still, or less

constexpr std::uint8_t kProgress = 3;
constexpr std::uint8_t kRulesRequest = 13;
constexpr std::uint8_t kOnlineReport = 40;
constexpr std::uint16_t kRateReport = 62;
constexpr std::uint8_t kRelayed[] = {81, 84, 86, 89};

std::string ClockText(int minute) {
    return Format("%02d:%02d", minute / 60, minute % 60);
}

}  // namespace

void Driver::SetUp() {
    World::SetUp();
    random_.seed(Setting("PLUG_WEEK_SEED", 1));
    Behaviour behaviour;
    behaviour.interval = kInterval;
    platform_->Behave(behaviour);
    cursor_ = platform_->FromStart();
    peer_ = std::make_unique<LocalPeer>();
    begin_ = clock_->Elapsed();
    clock_->Run(kBusy);
}

Moment Driver::Now() const {
    return {clock_->Elapsed(), static_cast<std::int64_t>(clock_->Day()), steady_clock::now()};
}

void Driver::Blame(const std::string& what) {
    faults_.push_back(Format("hour %.2f, %s: ", Hours(), DayText(Now().day).c_str()) + what);
    std::cout << faults_.back() << std::endl;
}

// --- time ---

void Driver::RunUntil(double hours) {
    while (Hours() < hours) {
        Serve();
        const bool slow = judge_.Waits() || judge_.SecondsToSwitch(Now().day) <= kSlowAhead;
        const int speed = link_ == 0 ? kBusy : slow ? kSwitch : kQuiet;
        if (speed != clock_->speed()) clock_->Run(speed);
        Look();
    }
    clock_->Run(kBusy);
}

void Driver::Await(const std::string& what, const std::function<bool()>& done) {
    const auto deadline = steady_clock::now() + kPatience;
    while (!done()) {
        if (steady_clock::now() > deadline)
            throw std::runtime_error(Format("hour %.2f: this did not come: ", Hours()) + what);
        Look();
    }
}

void Driver::AwaitService() {
    const auto serves = [this] {
        Serve();
        return link_ != 0 && orders_known_ && (!peer_wanted_ || peer_->connected());
    };
    Await("the agent's service", serves);
}

/// What a platform and a local peer do by themselves.
void Driver::Serve() {
    if (link_ == 0) return;
    if (orders_due_) {
        orders_due_ = false;
        const int speed = clock_->speed();
        clock_->Run(kBusy);
        Json list = Json::array();
        for (const Order& order : orders_) {
            judge_.Add(order);
            list.push_back(Element("1", order));
        }
        const int result = AskWith("windows-set", "text=" + Json{{"LIST", list}}.dump());
        if (result > 0) Blame("the orders were refused with " + std::to_string(result));
        orders_known_ = result == 0;
        if (orders_known_) judge_.SetKnown();
        clock_->Run(speed);
    }
    if (peer_wanted_ && !peer_->connected() && peer_->Connect(Milliseconds(100))) {
        ++counts_.peer_connections;
        peer_->AskState();
    }
}

// --- looking ---

void Driver::Look() {
    clock_->Leash(kLeash);
    std::this_thread::sleep_for(kLook);
    LookAtPlatform();
    LookAtProcess();
    std::error_code missing;
    const auto written = std::filesystem::last_write_time("/tmp/router.json", missing);
    if (!missing && written != router_time_) {
        router_time_ = written;
        devices_ = router_.Read().at("devices");
    }
    const std::size_t faults = judge_.faults().size();
    judge_.Look(devices_, Now());
    if (judge_.faults().size() > faults) std::cout << judge_.faults().back() << std::endl;
    if (judge_.faults().size() + faults_.size() > kMostFaults) throw std::runtime_error("too much is wrong");
    LookAtWaits();
    TakeSample();
}

void Driver::LookAtPlatform() {
    while (const auto event = cursor_->Next(Milliseconds(0))) {
        switch (event->kind) {
            case EventKind::kHeartbeat:  // which may have lain unread in a link given up
                if (event->link >= newest_link_) newest_link_ = link_ = event->link;
                break;
            case EventKind::kReport:
                OnReport(*event);
                break;
            case EventKind::kReply:
                OnReply(*event);
                break;
            case EventKind::kClosed:
                OnClosed(event->link);
                break;
            default:
                break;
        }
    }
}

void Driver::OnReport(const LinkEvent& event) {
    if (event.data_type == kRulesRequest) orders_due_ = true;
    if (event.data_type == kProgress) progress_.emplace_back(event.text());
    if (std::ranges::find(kRelayed, event.data_type) != std::end(kRelayed)) ++counts_.relayed;
    if (event.data_type != kOnlineReport || event.data.size() < 14) return;
    MacAddress mac;
    std::copy_n(event.data.begin() + 8, mac.size(), mac.begin());
    counts_.online += static_cast<int>(announced_.erase(mac));
}

void Driver::OnReply(const LinkEvent& event) {
    counts_.measured += event.function_id() == kRateReport && event.result() == 0;
    const auto found = asked_.find(event.has_echo() ? event.Word(0) : std::uint16_t{0});
    if (found == asked_.end()) return;
    ++counts_.answered;
    counts_.refused += event.result() != 0;
    results_[found->first] = event.result();
    asked_.erase(found);
}

void Driver::GiveUpLink() {
    OnClosed(link_);
}

void Driver::OnClosed(int link) {
    counts_.lost +=
        static_cast<int>(std::erase_if(asked_, [=](const auto& asked) { return asked.second.link == link; }));
    if (link != link_) return;
    link_ = 0;
    ++counts_.links_lost;
    announced_.clear();
}

/// A new process has no orders.
void Driver::LookAtProcess() {
    if (link_ != 0) return;
    const pid_t process = AgentProcess();
    if (process == process_) return;
    if (process != 0) ++counts_.processes;
    process_ = process;
    orders_known_ = false;
    judge_.Forget();
}

void Driver::LookAtWaits() {
    const Moment now = Now();
    for (const auto& [head, asked] : asked_)
        if (now.true_time - asked.time > kPatience)
            throw std::runtime_error(Format("command %d is not answered, and its link stands", asked.id));
    for (auto entry = announced_.begin(); entry != announced_.end();) {
        const bool late = now.elapsed - entry->second.elapsed > kOnlineSeconds &&
                          now.true_time - entry->second.true_time > kOnlineLate;
        if (late) Blame(bench::MacText(entry->first) + " came online and is not reported");
        entry = late ? announced_.erase(entry) : std::next(entry);
    }
}

bool Driver::Settled() const {
    return clock_->Elapsed() - unsettled_ > kSettledSeconds;
}

void Driver::TakeSample() {
    if (link_ == 0 || !peer_->connected()) unsettled_ = clock_->Elapsed();
    const int hours = static_cast<int>(Hours());
    if (hours == sampled_hours_ || !samples_) return;
    sampled_hours_ = hours;
    Sample sample{Hours(),          counts_.processes, 0,        0, 0, link_ != 0,
                  counts_.answered, judge_.barred(),   Settled()};
    if (process_ != 0) Samples::Fill(sample, process_);
    samples_->Add(sample);
    if (hours % 24 != 0) return;
    std::cout << Format(
                     "day %d, %s: link %s, %d of %d commands answered, %d lost with %d links, %d switches of "
                     "access, "
                     "process %d: %.0f KiB, %d descriptors, %d threads",
                     hours / 24, DayText(Now().day).c_str(), link_ != 0 ? "up" : "down", counts_.answered,
                     counts_.asked, counts_.lost, counts_.links_lost, judge_.switches(), counts_.processes,
                     sample.private_kib, sample.descriptors, sample.threads)
              << std::endl;
}

// --- commands ---

std::uint16_t Driver::Send(std::uint16_t id, ConstBytes parameters) {
    const std::uint16_t head = platform_->NextHead();
    results_[head] = -1;
    asked_[head] = {id, link_, steady_clock::now()};
    if (platform_->SendCommand(kRouterMac, id, parameters, {}, head))
        ++counts_.asked;
    else
        asked_.erase(head);
    return head;
}

int Driver::Ask(std::uint16_t id, ConstBytes parameters) {
    const std::uint16_t head = Send(id, parameters);
    Await(Format("the answer to %d", id), [&] { return !asked_.contains(head); });
    return results_[head];
}

int Driver::AskWith(const char* command, const std::string& parameter) {
    const CommandForm& row = *Find(CommandForms(), command);
    return Ask(row.id, EncodeParameters(row, {parameter}));
}

Json Driver::Element(const char* flag, const Order& order) {
    return {{"FLAG", flag},
            {"MAC", order.mac},
            {"DAY", order.days},
            {"START", ClockText(order.from)},
            {"STOP", ClockText(order.to)},
            {"ALLOW", "0"}};
}

void Driver::Give(const Order& order) {
    orders_.push_back(order);
    if (!orders_known_) return;
    judge_.Add(order);
    const int result = AskWith("windows-set", "text=" + Json{{"LIST", {Element("1", order)}}}.dump());
    if (result > 0) Blame("an order was refused");
    orders_due_ = orders_due_ || result < 0;
}

void Driver::TakeBack(const Order& order) {
    judge_.Remove(order, Now());
    const int result = AskWith("windows-set", "text=" + Json{{"LIST", {Element("0", order)}}}.dump());
    if (result != 0) Blame("an order was not taken back");
    std::erase_if(orders_, [&](const Order& other) {
        return other.mac == order.mac && other.days == order.days && other.from == order.from &&
               other.to == order.to;
    });
}

// --- the local peer ---

void Driver::Report(std::uint16_t id, ConstBytes payload) {
    if (link_ == 0 || !peer_->connected()) return;
    const int relayed = counts_.relayed;
    const int links_lost = counts_.links_lost;
    if (!peer_->Send(id, payload)) return;
    ++counts_.reports;
    Await(Format("the local peer's report %d", id),
          [&] { return counts_.relayed > relayed || counts_.links_lost > links_lost; });
}

void Driver::Announce(const MacAddress& mac, const std::string& name) {
    if (link_ == 0 || !peer_->connected()) return;
    if (!peer_->Send(kOnlineReport, DevicesPayload({{mac, name}}))) return;
    ++counts_.announced;
    announced_[mac] = Now();
}

void Driver::SetPeerWanted(bool wanted) {
    peer_wanted_ = wanted;
    if (!wanted) peer_->Disconnect();
}

}  // namespace plug::week
