#include "bench/fleet_traffic.h"

#include <algorithm>
#include <cmath>

namespace plug::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLongestWait = std::chrono::seconds(15);

}  // namespace

void FleetTraffic::OnEvent(const LinkEvent& event) {
    const auto now = Clock::now();
    const std::lock_guard guard(mutex_);
    switch (event.kind) {
        case EventKind::kConnected:
            ++counts_.connections;
            break;
        case EventKind::kRegister:
            ++counts_.registrations;
            break;
        case EventKind::kLogin:
            ++counts_.logins;
            break;
        case EventKind::kReport:
            ++counts_.reports;
            break;
        case EventKind::kBadFrame:
            ++counts_.bad_frames;
            break;
        case EventKind::kReply: {
            if (!event.has_echo()) break;
            const auto asked = pending_.find({event.mac, event.Word(0)});
            if (asked == pending_.end()) break;
            ++counts_.answered;
            round_trips_.push_back(std::chrono::duration<float, std::milli>(now - asked->second).count());
            pending_.erase(asked);
            break;
        }
        case EventKind::kClosed: {
            if (event.server != Server::kLogin) break;
            ++counts_.closed;
            const auto from = pending_.lower_bound({event.mac, 0});
            const auto to = pending_.upper_bound({event.mac, 0xFFFF});
            counts_.cut += static_cast<int>(std::distance(from, to));
            pending_.erase(from, to);
            break;
        }
        case EventKind::kHeartbeat:
            break;
    }
}

void FleetTraffic::Ask(const MacAddress& agent, std::uint16_t head) {
    const std::lock_guard guard(mutex_);
    ++counts_.asked;
    pending_[{agent, head}] = Clock::now();
}

void FleetTraffic::Forget(const MacAddress& agent, std::uint16_t head) {
    const std::lock_guard guard(mutex_);
    if (pending_.erase({agent, head}) != 0) --counts_.asked;
}

void FleetTraffic::CountLost() {
    const std::lock_guard guard(mutex_);
    const auto late = Clock::now() - kLongestWait;
    counts_.lost +=
        static_cast<int>(std::erase_if(pending_, [late](const auto& asked) { return asked.second < late; }));
}

bool FleetTraffic::AllSettled() const {
    const std::lock_guard guard(mutex_);
    return pending_.empty();
}

TrafficCounts FleetTraffic::counts() const {
    const std::lock_guard guard(mutex_);
    return counts_;
}

double FleetTraffic::RoundTrip(double share) const {
    std::vector<float> sorted;
    {
        const std::lock_guard guard(mutex_);
        sorted = round_trips_;
    }
    if (sorted.empty()) return 0;
    const auto place = std::lround(share * static_cast<double>(sorted.size() - 1));
    std::nth_element(sorted.begin(), sorted.begin() + place, sorted.end());
    return sorted[static_cast<std::size_t>(place)];
}

}  // namespace plug::bench
