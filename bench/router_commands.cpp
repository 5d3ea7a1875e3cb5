#include "bench/router_commands.h"

#include <poll.h>

#include "bench/home_life.h"
#include "bench/router_state.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

enum class Form : std::uint8_t { kText, kNumber, kSwitch, kSpeeds };

struct Property {
    std::string_view key;  // of the state file
    Form form;
    const char* initial;  // of a device added without it
};
constexpr Property kProperties[] = {
    {"online", Form::kSwitch, "on"},      {"name", Form::kText, "new-device"},
    {"address", Form::kText, ""},         {"link", Form::kNumber, "1"},
    {"band", Form::kNumber, "2"},         {"rssi", Form::kNumber, "50"},
    {"access", Form::kSwitch, "on"},      {"by_name", Form::kSwitch, "off"},
    {"up_bandwidth", Form::kNumber, "0"}, {"down_bandwidth", Form::kNumber, "0"},
    {"up_limit", Form::kNumber, "0"},     {"down_limit", Form::kNumber, "0"},
    {"speeds", Form::kSpeeds, "0,0,0"},
};

Json ValueOf(const Property& property, const std::string& text) {
    switch (property.form) {
        case Form::kText:
            return text;
        case Form::kNumber:
            return ParseNumber<std::uint64_t>(text);
        case Form::kSwitch:
            if (text != "on" && text != "off")
                throw CommandError(std::string(property.key) + " takes on|off");
            return text == "on";
        case Form::kSpeeds: {
            Json speeds = Json::array();
            for (const std::string& speed : Split(text, ','))
                speeds.push_back(ParseNumber<std::uint32_t>(speed));
            return speeds;
        }
    }
    return {};
}

/// Sets what the words "key=value" say.
void Apply(Json& device, const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        const NamedValue given = ParseNamed(word);
        const auto* const property = std::ranges::find(kProperties, given.name, &Property::key);
        if (!given.value || property == std::end(kProperties))
            throw CommandError("a device has no property \"" + word + "\"; help device lists them");
        device[given.name] = ValueOf(*property, *given.value);
    }
}

Json& Known(Json& home, const MacAddress& mac) {
    Json* const device = RouterState::FindDevice(home, mac);
    if (device == nullptr) throw CommandError("the router knows no device " + MacText(mac));
    return *device;
}

void AddDevice(Json& home, const MacAddress& mac, const std::vector<std::string>& words) {
    if (RouterState::FindDevice(home, mac) != nullptr)
        throw CommandError("the router knows " + MacText(mac) + " already");
    Json device;
    for (const Property& property : kProperties) {
        device[property.key] = ValueOf(property, property.initial);
        if (property.key == "name") device["mac"] = MacText(mac);
    }
    const auto address = RouterState::FreeAddress(home);
    if (!address) throw CommandError("the LAN has no free address");
    device["address"] = *address;
    Apply(device, words);
    home["devices"].push_back(std::move(device));
}

void RemoveDevice(Json& home, const MacAddress& mac) {
    const Json* const known = &Known(home, mac);
    Json& devices = home["devices"];
    devices.erase(static_cast<std::size_t>(known - &devices[0]));
}

/// Watches the file until the device is as the words "key=value" say.
void WaitForDevice(Interpreter& interpreter, const Invocation& words) {
    if (words.size() < 5) throw CommandError("usage: device wait <mac> <seconds> <property>=<value>...");
    const RouterState router = RouterState::OfEnvironment();
    const MacAddress mac = MacOf(words.word(2));
    const auto deadline = std::chrono::steady_clock::now() + ParseSeconds(words.word(3));
    for (;;) {
        const Json device = router.Device(mac).value_or(Json::object());
        Json wanted = device;
        Apply(wanted, words.WordsFrom(4));
        if (wanted == device) return interpreter.Show(device);
        if (std::chrono::steady_clock::now() >= deadline)
            throw CommandError("waited " + words.word(3) + " s, but " + MacText(mac) + " did not get " +
                               words.RestFrom(4));
        interpreter.Idle(Milliseconds(100));
    }
}

/// All of it is learned; people see what fits a line.
void ListDevices(Interpreter& interpreter, const Json& devices) {
    Json rows = Json::array();
    for (const Json& device : devices) {
        Json row;
        for (const char* key : {"mac", "name", "address", "online", "access"}) {
            const Json value = device.value(key, Json());
            row[key] = value.is_boolean() ? Json(value.get<bool>() ? "on" : "off") : value;
        }
        rows.push_back(std::move(row));
    }
    interpreter.Show({{"devices", devices}}, rows.empty() ? "    none" : Lines({{"devices", rows}}));
}

void RunDevice(Interpreter& interpreter, const Invocation& words) {
    const RouterState router = RouterState::OfEnvironment();
    const std::string& action = words.word(1);
    if (action == "list") return ListDevices(interpreter, router.Read()["devices"]);
    if (action == "wait") return WaitForDevice(interpreter, words);
    if (words.size() < 3) throw CommandError("device " + action + " needs a MAC");
    const MacAddress mac = MacOf(words.word(2));
    const std::vector<std::string> properties = words.WordsFrom(3);
    if (action == "add")
        router.Change([&](Json& home) { AddDevice(home, mac, properties); });
    else if (action == "set")
        router.Change([&](Json& home) { Apply(Known(home, mac), properties); });
    else if (action == "remove")
        router.Change([&](Json& home) { RemoveDevice(home, mac); });
    else
        throw CommandError("device takes add, set, remove, list or wait, not " + action);
    if (action != "remove") interpreter.Show(router.Device(mac).value());
}

}  // namespace

RouterSide::RouterSide(Interpreter& interpreter) : interpreter_(interpreter) {
    std::string keys;
    std::vector<std::string> completions = {"add", "set", "remove", "list", "wait", std::string(kAnyMac)};
    for (const Property& property : kProperties) {
        keys += " " + std::string(property.key);
        const std::string key = std::string(property.key) + "=";
        completions.push_back(key);
        if (property.form == Form::kSwitch) completions.insert(completions.end(), {key + "on", key + "off"});
    }
    interpreter.Add(
        {"device", "add|set|remove|wait|list [<mac>] [<seconds>] [<property>=<value>]...",
         "the devices of the simulated home; wait watches one for some seconds; properties:" + keys,
         "simulator", 1, [&interpreter](const Invocation& words) { RunDevice(interpreter, words); },
         completions});
    interpreter.Add(
        {"home",
         "on [<seed>] [<seconds>] | off",
         "lets the simulated home live: devices come and go, signals, speeds and traffic change, one step "
         "every so many seconds (1). The same seed (1) gives the same steps",
         "simulator",
         1,
         [this](const Invocation& words) { RunHome(words); },
         {"on", "off"}});
    interpreter.AddNews([this] { return notice_.descriptor(); }, [this] { ShowEvents(); });
}

RouterSide::~RouterSide() {
    StopHome();
}

void RouterSide::RunHome(const Invocation& words) {
    const bool on = words.word(1) == "on";
    if (!on && words.word(1) != "off") throw CommandError("home takes on or off, not " + words.word(1));
    const auto seed = ParseNumber<std::uint32_t>(words.word(2, "1"));
    const Milliseconds step = ParseSeconds(words.word(3, "1"));
    if (step.count() <= 0) throw CommandError("a step of the home takes more than 0 seconds");
    if (on) RouterState::OfEnvironment().Read();  // throws when there is no home
    StopHome();
    lives_ = on;
    if (on) thread_ = std::thread([this, seed, step] { Live(seed, step); });
}

void RouterSide::StopHome() {
    if (!thread_.joinable()) return;
    stop_.Set();
    thread_.join();
    stop_.Clear();
}

void RouterSide::Live(std::uint32_t seed, Milliseconds step) {
    const RouterState router = RouterState::OfEnvironment();
    HomeLife life(seed);
    const double seconds = std::chrono::duration<double>(step).count();
    pollfd stop{stop_.descriptor(), POLLIN, 0};
    while (poll(&stop, 1, static_cast<int>(step.count())) <= 0) {
        Json events;
        try {
            router.Change([&](Json& home) { events = life.Step(home, seconds); });
        } catch (const std::exception& error) {
            events = Json::array({{{"home", "ends"}, {"error", error.what()}}});
            lives_ = false;
        }
        if (!events.empty()) {
            const std::lock_guard guard(mutex_);
            events_.insert(events_.end(), events.begin(), events.end());
            notice_.Set();
        }
        if (!lives_) return;
    }
}

void RouterSide::ShowEvents() {
    notice_.Clear();
    std::vector<Json> events;
    {
        const std::lock_guard guard(mutex_);
        events.swap(events_);
    }
    for (const Json& event : events)
        interpreter_.output().Show(event, event.contains("error")
                                              ? "the home lives no more: " + event.value("error", "")
                                              : "home: " + event.value("name", "") + " " +
                                                    event.value("home", "") + " (" + event.value("mac", "") +
                                                    ")");
}

}  // namespace plug::bench
