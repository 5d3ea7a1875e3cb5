#include "bench/home_life.h"

#include "bench/router_state.h"
#include "bench/text.h"

namespace plug::bench {
namespace {

// All in steps on average.
constexpr int kComesOrGoes = 8;
constexpr int kGuestComes = 40;
constexpr int kDoesOtherThings = 10;  // a device

constexpr int kMostGuests = 4;
constexpr char kGuests[] = "02:00:5E:00:53:";  // begins the MACs of theirs
constexpr const char* kGuestNames[] = {"guest's phone", "guest's laptop", "guest's camera", "guest's watch"};
constexpr int kTraffic[] = {40, 4'000, 60'000, 250'000, 1'500'000};  // bytes per second down

constexpr std::uint64_t kExact = std::uint64_t{1} << 53;  // from here on numbers are digits in quotes

bool IsOnline(const Json& device) {
    return device.value("online", Json(true)) != false;
}

bool IsGuest(const Json& device) {
    return device.value("mac", "").starts_with(kGuests);
}

std::uint64_t NumberOf(const Json& number) {
    if (number.is_string()) return std::strtoull(number.get<std::string>().c_str(), nullptr, 10);
    return number.is_number() ? number.get<std::uint64_t>() : 0;
}

void Add(Json& counter, std::uint64_t rate, double seconds) {
    const std::uint64_t sum =
        NumberOf(counter["bytes"]) + static_cast<std::uint64_t>(static_cast<double>(rate) * seconds);
    counter["bytes"] = sum < kExact ? Json(sum) : Json(std::to_string(sum));
}

Json Event(const char* what, const Json& device) {
    return {{"home", what}, {"mac", device.value("mac", "")}, {"name", device.value("name", "")}};
}

}  // namespace

Json HomeLife::Step(Json& home, double seconds) {
    Json events = Json::array();
    if (OnceIn(kComesOrGoes)) ComeAndGo(home, events);
    if (OnceIn(kGuestComes)) BringGuest(home, events);
    for (Json& device : home["devices"]) LiveOn(device);
    Walk(home["cpu"]["use_percent"], 4, 2, 97);
    Walk(home["memory"]["use_percent"], 1, 20, 95);
    Count(home, seconds);
    return events;
}

void HomeLife::Walk(Json& number, int stride, int least, int most) {
    const auto value = static_cast<std::int64_t>(NumberOf(number)) + Roll(-stride, stride);
    number = std::clamp<std::int64_t>(value, least, most);
}

/// One device. A guest's leaves for good.
void HomeLife::ComeAndGo(Json& home, Json& events) {
    Json& devices = home["devices"];
    if (devices.empty()) return;
    const auto which = static_cast<std::size_t>(Roll(0, static_cast<int>(devices.size()) - 1));
    Json& device = devices[which];
    device["online"] = !IsOnline(device);
    events.push_back(Event(IsOnline(device) ? "comes" : "goes", device));
    if (IsGuest(device)) devices.erase(which);
}

void HomeLife::BringGuest(Json& home, Json& events) {
    const Json& devices = home["devices"];
    const std::string mac = kGuests + Format("%02X", static_cast<unsigned>(Roll(0, 255)));
    const char* const name = kGuestNames[Roll(0, static_cast<int>(std::size(kGuestNames)) - 1)];
    const auto address = RouterState::FreeAddress(home);
    if (!address || RouterState::FindDevice(home, *ParseMac(mac)) != nullptr ||
        std::ranges::count_if(devices, IsGuest) >= kMostGuests)
        return;
    home["devices"].push_back({{"online", true},
                               {"name", name},
                               {"mac", mac},
                               {"address", *address},
                               {"link", 1},
                               {"band", Roll(1, 2)},
                               {"rssi", Roll(40, 75)},
                               {"access", true},
                               {"by_name", false},
                               {"up_bandwidth", 0},
                               {"down_bandwidth", 0},
                               {"up_limit", 0},
                               {"down_limit", 0},
                               {"speeds", {433, 390, 433}}});
    events.push_back(Event("comes", devices.back()));
}

void HomeLife::LiveOn(Json& device) {
    if (!IsOnline(device) || device.value("access", Json(true)) == false) {
        device["up_bandwidth"] = device["down_bandwidth"] = 0;
        return;
    }
    if (device.value("link", 0) != 0) {  // Wi-Fi: who is farther away is slower
        Walk(device["rssi"], 3, 25, 88);
        if (Json& speeds = device["speeds"]; speeds.is_array() && speeds.size() > 1)
            speeds[1] = NumberOf(speeds[0]) * (125 - NumberOf(device["rssi"])) / 100;
    }
    const std::uint64_t traffic = NumberOf(device["down_bandwidth"]);
    const bool other = traffic == 0 || OnceIn(kDoesOtherThings);
    const auto level =
        static_cast<std::uint64_t>(kTraffic[Roll(0, static_cast<int>(std::size(kTraffic)) - 1)]);
    const std::uint64_t down = (other ? level : traffic) * static_cast<std::uint64_t>(Roll(85, 117)) / 100;
    device["down_bandwidth"] = down;
    device["up_bandwidth"] = down / static_cast<std::uint64_t>(Roll(6, 30));
}

/// The router's sums. A cable is a LAN port, in the order of the devices; all else goes through the first
/// WAN.
void HomeLife::Count(Json& home, double seconds) {
    std::uint64_t up = 0, down = 0;
    std::size_t port = 0;
    for (Json& device : home["devices"]) {
        const std::uint64_t device_up = NumberOf(device["up_bandwidth"]);
        const std::uint64_t device_down = NumberOf(device["down_bandwidth"]);
        up += device_up;
        down += device_down;
        Json& ports = home["lan_ports"];
        if (device.value("link", 0) != 0 || port >= ports.size()) continue;
        ports[port]["connected"] = IsOnline(device);
        Add(ports[port]["up"], device_up, seconds);
        Add(ports[port]["down"], device_down, seconds);
        ++port;
    }
    home["flows"]["up_rate"] = up;
    home["flows"]["down_rate"] = down;
    if (!home["wans"].empty()) Add(home["wans"][0]["received"], down, seconds);
}

}  // namespace plug::bench
