// PlatformSide: plug data by name.
#include "bench/platform_side.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

constexpr std::uint8_t kPortForward = 9;
constexpr std::uint8_t kOnlineInterval = 18;
constexpr std::uint8_t kProgress = 3;
constexpr std::uint8_t kUpdateFile = 2;

struct PlugKey {
    const char* name;
    bool number;
    const char* initial;  // unless given
};

}  // namespace

/// An order that is first announced and then, with a URL, given.
struct PlugOrder {
    const char* name;
    const char* help;
    std::uint8_t announced;  // data types
    std::uint8_t with_url;
    std::span<const PlugKey> keys;  // those from "url" on only go with one
    const char* checksum;           // the key that holds the file's MD5
};

namespace {

constexpr PlugKey kUpdateKeys[] = {{"pluginID", false, "plug"},     {"fromVersion", false, "2.0.0.7"},
                                   {"toVersion", false, "2.0.0.8"}, {"url", false, ""},
                                   {"fileLength", true, ""},        {"fileMD5", false, ""},
                                   {"token", false, "bench"}};
constexpr PlugKey kFirmwareKeys[] = {
    {"fromVersion", false, "1.0"}, {"toVersion", false, "1.1"}, {"url", false, ""},
    {"fileLength", true, ""},      {"checkMethod", true, "1"},  {"chkSum", false, ""}};

constexpr PlugOrder kOrders[] = {
    {"plug-update", "announces an update of the agent, or with a URL has it done; the report is shown", 1,
     kUpdateFile, kUpdateKeys, "fileMD5"},
    {"firmware-order", "announces an update of the router, or with a URL hands it to the local agent", 15, 16,
     kFirmwareKeys, "chkSum"},
};

using Values = std::map<std::string, std::string>;

Values Given(const PlugOrder& order, const std::vector<std::string>& words) {
    Values values;
    for (const std::string& word : words) {
        const std::string name = word.substr(0, word.find('='));
        const bool known = std::any_of(order.keys.begin(), order.keys.end(),
                                       [&name](const PlugKey& key) { return key.name == name; });
        if (!known || name == word)
            throw CommandError(std::string(order.name) + " takes no \"" + word + "\"");
        values[name] = word.substr(name.size() + 1);
    }
    return values;
}

/// The order as JSON; a key with an empty value is left out.
Json Payload(const PlugOrder& order, const Values& values) {
    const bool with_url = values.contains("url");
    Json payload;
    for (const PlugKey& key : order.keys) {
        if (!with_url && key.name == std::string_view("url")) break;
        const auto given = values.find(key.name);
        const std::string value = given != values.end() ? given->second : key.initial;
        if (!value.empty())
            payload[key.name] = key.number ? Json(ParseNumber(value, UINT32_MAX)) : Json(value);
    }
    return payload;
}

}  // namespace

void PlatformSide::AddPlugCommands() {
    const std::string group = "plug data";
    for (const PlugOrder& order : kOrders) {
        std::vector<std::string> completions;
        std::string help = std::string(order.help) +
                           ". What is not given of a file is that of http serve; an empty value leaves the "
                           "key out. Keys:";
        for (const PlugKey& key : order.keys) {
            completions.push_back(std::string(key.name) + "=");
            help += " " + std::string(key.name);
        }
        interpreter_.Add(
            {order.name, "[<key>=<value>]...", help, group, 0,
             [this, &order](const Invocation& words) { SendPlugOrder(order, words.WordsFrom(1)); },
             completions});
    }
    interpreter_.Add({"port-forward",
                      "add|delete <outside ip> <port> <inside ip> <port>",
                      "forwards a TCP port",
                      group,
                      5,
                      [this](const Invocation& words) { ForwardPort(words); },
                      {"add", "delete"}});
    interpreter_.Add({"online-interval", "<minutes>",
                      "after how many minutes (1 to 19) online reports forget; 0 turns them off", group, 1,
                      [this](const Invocation& words) {
                          const Json interval = {{"func40Interval", ParseNumber(words.word(1), INT32_MAX)}};
                          ExchangePlug(kOnlineInterval, interval.dump());
                      }});
}

void PlatformSide::SendPlugOrder(const PlugOrder& order, const std::vector<std::string>& words) {
    Values values = Given(order, words);
    const bool with_url = values.contains("url");
    if (with_url && http_ != nullptr) {
        values.emplace("fileLength", std::to_string(http_->content().size()));
        values.emplace(order.checksum, Md5(http_->content()));
    }
    const std::string text = Payload(order, values).dump();
    const std::uint8_t data_type = with_url ? order.with_url : order.announced;
    if (data_type != kUpdateFile) return ExchangePlug(data_type, text);

    // An agent that is updated reports and ends; one that is not replies behind its report.
    const MacAddress agent = CurrentAgent();
    Cursor cursor = platform_.FromNow();
    Require(platform_.SendPlugData(agent, data_type, text));
    AwaitFollowing(cursor, "the report of the update", IsReport(kProgress), std::chrono::seconds(120));
    const Json report = interpreter_.last;
    if (report.contains("fields") && report["fields"].value("result", 0) != 0)
        AwaitFollowing(cursor, "the reply", IsPlugReply(agent), std::chrono::seconds(15));
    interpreter_.last = report;
}

void PlatformSide::ForwardPort(const Invocation& words) {
    const std::string& action = words.word(1);
    if (action != "add" && action != "delete")
        throw CommandError("port-forward takes add or delete, not " + action);
    const Json rule = {{"FLAG", action == "add" ? "1" : "0"},
                       {"PRE_IP", words.word(2)},
                       {"PRE_PORT", words.word(3)},
                       {"POST_IP", words.word(4)},
                       {"POST_PORT", words.word(5)}};
    ExchangePlug(kPortForward, rule.dump());
}

}  // namespace plug::bench
