#include "rules/port_forward.h"

#include <cctype>
#include <cstdio>

#include "core/json.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "RouteFunc.c";

constexpr std::size_t kCommandBytes = 256;

/// The current rule, texts as they came.
struct RouteState {
    // Response thread only.
    std::array<char, 2> flag{};
    std::array<char, 32> outside_ip{};
    std::array<char, 8> outside_port{};
    std::array<char, 32> inside_ip{};
    std::array<char, 8> inside_port{};
};
constinit RouteState state;

/// One value as a word of a shell command. Every character of a longest value may need four.
using ShellWord = std::array<char, 4 * 31 + 3>;

bool IsPlain(std::string_view value) {
    for (const char c : value) {
        if (isalnum(static_cast<unsigned char>(c)) == 0 && strchr(".:_/-", c) == nullptr) return false;
    }
    return !value.empty();
}

/// The value as it is when the shell reads nothing into it, else in single quotes.
ShellWord Quoted(std::string_view value) {
    ShellWord word{};
    if (IsPlain(value)) {
        CopyText(word, value);
        return word;
    }
    char* end = word.data();
    *end++ = '\'';
    for (const char c : value) {
        constexpr std::string_view kQuote = "'\\''";  // leaves the quotes, adds one, enters them again
        const std::string_view escaped = c == '\'' ? kQuote : std::string_view(&c, 1);
        end += escaped.copy(end, escaped.size());
    }
    *end = '\'';
    return word;
}

/// A command; empty when it does not fit.
using Command = std::array<char, kCommandBytes>;

Command BuildCommand(char operation, const char* chain, std::string_view ip, std::string_view port,
                     const char* target, std::string_view to_ip, std::string_view to_port) {
    Command command{};
    const int length = snprintf(command.data(), command.size(),
                                "iptables -t nat -%c %s -d %s -p tcp -m tcp --dport %s -j %s %s:%s",
                                operation, chain, Quoted(ip).data(), Quoted(port).data(), target,
                                Quoted(to_ip).data(), Quoted(to_port).data());
    if (length < 0 || static_cast<std::size_t>(length) >= command.size()) {
        PLUG_LOG(kErr, "iptables command of %d characters is not run", length);
        return {};
    }
    return command;
}

/// Runs both halves of the rule with one iptables operation: 'A' appends, 'D' deletes. Neither, when one of
/// them does not fit its buffer.
void RunPair(char operation) {
    const std::string_view outside_ip = state.outside_ip.data();
    const std::string_view outside_port = state.outside_port.data();
    const std::string_view inside_ip = state.inside_ip.data();
    const std::string_view inside_port = state.inside_port.data();
    const Command dnat = BuildCommand(operation, "PREROUTING", outside_ip, outside_port,
                                      "DNAT --to-destination", inside_ip, inside_port);
    const Command snat = BuildCommand(operation, "POSTROUTING", inside_ip, inside_port, "SNAT --to-source",
                                      outside_ip, outside_port);
    PLUG_LOG(kDebug, " route_cmd1: \n%s", dnat.data());
    PLUG_LOG(kDebug, " route_cmd2: \n%s", snat.data());
    if (dnat[0] == '\0' || snat[0] == '\0') return;
    RunShell(dnat.data());
    RunShell(snat.data());
}

/// The key's text into its field. False when it is missing or longer.
bool TakeText(const cJSON* object, const char* key, std::span<char> field) {
    const char* const text = JsonString(object, key);
    if (text == nullptr) return false;
    if (const std::size_t length = strlen(text); length >= field.size()) {
        PLUG_LOG(kErr, "%s of %zu characters refused, at most %zu fit", key, length, field.size() - 1);
        return false;
    }
    PLUG_LOG(kDebug, " %s = [%s]", key, text);
    CopyText(field, text);
    return true;
}

/// Only the first character of the flag counts, so it is never too long.
bool TakeFlag(const cJSON* object) {
    const char* const text = JsonString(object, "FLAG");
    if (text == nullptr) return false;
    PLUG_LOG(kDebug, " FLAG = [%s]", text);
    CopyText(state.flag, text);
    return true;
}

/// Reads the rule and applies it. What ParseRouteParam returns.
int ApplyRule(const char* json) {
    if (json == nullptr) return -1;
    PLUG_LOG(kInfo, "pMsg: \n%s", json);
    state = {};
    const JsonPtr tree(cJSON_Parse(json));
    if (!tree) return -2;
    if (!TakeFlag(tree.get())) return -3;
    if (!TakeText(tree.get(), "PRE_IP", state.outside_ip)) return -4;
    if (!TakeText(tree.get(), "PRE_PORT", state.outside_port)) return -5;
    if (!TakeText(tree.get(), "POST_IP", state.inside_ip)) return -6;
    if (!TakeText(tree.get(), "POST_PORT", state.inside_port)) return -7;
    if (state.flag[0] == '1') return AddRoute();
    if (state.flag[0] == '0') return DeleteRoute();
    return -8;
}

}  // namespace

int AddRoute() {
    const LogAuthor author(__func__);
    RunPair('D');
    RunPair('A');
    return 0;
}

int DeleteRoute() {
    const LogAuthor author(__func__);
    RunPair('D');
    return 0;
}

int ParseRouteParam(const char* json) {
    const LogAuthor author(__func__);
    constexpr int kErrorMark = 556;  // what readers of the log look for
    const int result = ApplyRule(json);
    if (result < 0) PLUG_LOG(kDebug, " ParseRouteParam %d : error = [%d]", kErrorMark, result);
    return result;
}

}  // namespace plug
