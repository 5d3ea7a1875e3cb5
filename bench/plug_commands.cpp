#include "bench/http_commands.h"
#include "bench/platform_commands.h"
#include "bench/text.h"
#include "core/version.h"

namespace plug::bench {
namespace {

constexpr char kTopic[] = "plug-data";
constexpr std::uint8_t kPortForward = 9;
constexpr std::uint8_t kOnlineInterval = 18;
constexpr std::uint8_t kProgress = 3;
constexpr std::uint8_t kUpdateFile = 2;

struct PlugKey {
    std::string_view name;
    bool number;
    const char* initial;  // unless given
};

/// An order that is first announced and then, with a URL, given.
struct PlugOrder {
    const char* name;
    const char* help;
    std::uint8_t announced;  // data types
    std::uint8_t with_url;
    std::span<const PlugKey> keys;  // those from "url" on only go with one
    const char* checksum;           // the key that holds the file's MD5
};

constexpr PlugKey kUpdateKeys[] = {{"pluginID", false, "plug"},     {"fromVersion", false, kVersion},
                                   {"toVersion", false, "2.0.0.8"}, {"url", false, ""},
                                   {"fileLength", true, ""},        {"fileMD5", false, ""},
                                   {"token", false, "bench"}};
constexpr PlugKey kFirmwareKeys[] = {
    {"fromVersion", false, "1.0"}, {"toVersion", false, "1.1"}, {"url", false, ""},
    {"fileLength", true, ""},      {"checkMethod", true, "1"},  {"chkSum", false, ""}};

constexpr PlugOrder kOrders[] = {
    {"plug-update", "announces an update of the agent, or with a URL has it done; the report is shown", 1,
     kUpdateFile, kUpdateKeys, "fileMD5"},
    {"firmware-order", "announces an update of the router, or with a URL hands it to the local peer", 15, 16,
     kFirmwareKeys, "chkSum"},
};

using Values = std::map<std::string, std::string>;

Values Given(const PlugOrder& order, const std::vector<std::string>& words) {
    Values values;
    for (const std::string& word : words) {
        const NamedValue given = ParseNamed(word);
        const bool known = std::ranges::find(order.keys, given.name, &PlugKey::name) != order.keys.end();
        if (!known || !given.value)
            throw CommandError(std::string(order.name) + " takes no \"" + word + "\"");
        values[given.name] = *given.value;
    }
    return values;
}

/// The order as JSON; a key with an empty value is left out.
Json Payload(const PlugOrder& order, const Values& values) {
    const bool with_url = values.contains("url");
    Json payload;
    for (const PlugKey& key : order.keys) {
        if (!with_url && key.name == "url") break;
        const auto given = values.find(std::string(key.name));
        const std::string value = given != values.end() ? given->second : key.initial;
        if (!value.empty())
            payload[key.name] = key.number ? Json(ParseNumber<std::uint32_t>(value)) : Json(value);
    }
    return payload;
}

/// Sends the update itself: an agent that is updated reports and ends; one that is not replies behind its
/// report, which is what is learned.
void SendUpdate(Dialog& dialog, const std::string& text) {
    const MacAddress agent = dialog.Agent();
    Cursor cursor = dialog.platform().FromNow();
    Dialog::Require(dialog.platform().SendPlugData(agent, kUpdateFile, text));
    dialog.Await(cursor, "the report of the update", IsReport(kProgress), std::chrono::seconds(120));
    const Json report = dialog.interpreter().last;
    if (report.contains("fields") && report["fields"].value("result", 0) != 0)
        dialog.Await(cursor, "the reply", IsPlugReply(agent), std::chrono::seconds(15));
    dialog.interpreter().last = report;
}

void SendOrder(Dialog& dialog, const PlugOrder& order, const HttpServer* file, const Invocation& words) {
    Values values = Given(order, words.WordsFrom(1));
    const bool with_url = values.contains("url");
    if (with_url && file != nullptr) {
        values.emplace("fileLength", std::to_string(file->content().size()));
        values.emplace(order.checksum, Md5(file->content()));
    }
    const std::string text = Payload(order, values).dump();
    const std::uint8_t data_type = with_url ? order.with_url : order.announced;
    if (data_type == kUpdateFile)
        SendUpdate(dialog, text);
    else
        dialog.ExchangePlug(data_type, text);
}

void ForwardPort(Dialog& dialog, const Invocation& words) {
    const std::string& action = words.word(1);
    if (action != "add" && action != "delete")
        throw CommandError("port-forward takes add or delete, not " + action);
    const Json rule = {{"FLAG", action == "add" ? "1" : "0"},
                       {"PRE_IP", words.word(2)},
                       {"PRE_PORT", words.word(3)},
                       {"POST_IP", words.word(4)},
                       {"POST_PORT", words.word(5)}};
    dialog.ExchangePlug(kPortForward, rule.dump());
}

void SetOnlineInterval(Dialog& dialog, const Invocation& words) {
    const Json interval = {{"func40Interval", ParseNumber<std::int32_t>(words.word(1))}};
    dialog.ExchangePlug(kOnlineInterval, interval.dump());
}

void AddOrder(Dialog& dialog, const PlugOrder& order, const HttpCommands& http) {
    std::vector<std::string> completions;
    std::string help = std::string(order.help) +
                       ". What is not given of a file is that of http serve; an empty value leaves the "
                       "key out. Keys:";
    for (const PlugKey& key : order.keys) {
        completions.push_back(std::string(key.name) + "=");
        help += " " + std::string(key.name);
    }
    dialog.interpreter().Add({order.name, "[<key>=<value>]...", help, kTopic, 0,
                              [&dialog, &order, &http](const Invocation& words) {
                                  SendOrder(dialog, order, http.server(), words);
                              },
                              completions});
}

void SendPlug(Dialog& dialog, const Invocation& words) {
    dialog.ExchangePlug(ParseNumber<std::uint8_t>(words.word(1)), words.RestFrom(2));
}

void SendPlugQuietly(Dialog& dialog, const Invocation& words) {
    const auto data_type = ParseNumber<std::uint8_t>(words.word(1));
    Dialog::Require(
        dialog.platform().SendPlugData(dialog.Agent(), data_type, words.RestFrom(2), MsgType::kPlugReply));
}

constexpr DialogCommand kRawCommands[] = {
    {"plug", "<data-type> <json>", "plug data that is answered (MsgType 18)", 2, SendPlug},
    {"plug-quiet", "<data-type> <json>", "plug data that is not answered (MsgType 25)", 2, SendPlugQuietly},
};
constexpr DialogCommand kCommands[] = {
    {"port-forward", "add|delete <outside ip> <port> <inside ip> <port>", "forwards a TCP port", 5,
     ForwardPort, "add delete"},
    {"online-interval", "<minutes>",
     "after how many minutes (1 to 19) online reports forget; 0 turns them off", 1, SetOnlineInterval},
};

}  // namespace

void AddPlugCommands(Dialog& dialog, const HttpCommands& http) {
    for (const PlugOrder& order : kOrders) AddOrder(dialog, order, http);
    dialog.interpreter().AddTopic(kTopic, dialog, kCommands);
    dialog.interpreter().AddTopic("bytes", dialog, kRawCommands);
}

}  // namespace plug::bench
