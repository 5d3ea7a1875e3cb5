#include "bench/expectation.h"

#include <charconv>

#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

const Json* Follow(const Json& from, const std::string& path) {
    const Json* at = &from;
    for (const std::string& step : Split(path, '.')) {
        const bool index =
            at->is_array() && !step.empty() && step.find_first_not_of("0123456789") == step.npos;
        if (index && std::stoul(step) < at->size())
            at = &(*at)[std::stoul(step)];
        else if (at->is_object() && at->contains(step))
            at = &(*at)[step];
        else
            return nullptr;
    }
    return at;
}

/// All of the text as a number; none when it is not one.
template <class Number>
std::optional<Number> As(const std::string& text) {
    Number value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size()) return {};
    return value;
}

bool Holds(const std::string& seen, const std::string& relation, const std::string& value) {
    if (relation == "contains") return seen.find(value) != std::string::npos;
    const auto left = As<double>(seen);
    const auto right = As<double>(value);
    const bool numbers = left && right;
    const bool equal = numbers ? *left == *right : seen == value;
    if (relation == "==") return equal;
    if (relation == "!=") return !equal;
    const bool less = numbers ? *left < *right : seen < value;
    if (relation == "<") return less;
    if (relation == ">") return !less && !equal;
    throw CommandError("there is no relation \"" + relation + "\", only == != < > contains exists");
}

/// A field of an answer: of what it holds, or of the exchange itself.
const Json* FieldOf(const Json& answer, const std::string& field) {
    const Json* const found = answer.contains("fields") ? Follow(answer["fields"], field) : nullptr;
    return found != nullptr ? found : Follow(answer, field);
}

}  // namespace

std::string TextOfField(const Json& answer, const std::string& field) {
    const Json* const found = FieldOf(answer, field);
    if (found == nullptr) throw CommandError("the last answer has no field " + field);
    return Inline(*found);
}

void CheckExpectation(const Json& answer, const std::string& field, const std::string& relation,
                      const std::string& value) {
    const std::string wanted = "expected " + field + " " + relation + (value.empty() ? "" : " " + value);
    const Json* const found = FieldOf(answer, field);
    if (found == nullptr) {
        const std::string seen = answer.dump(-1, ' ', false, Json::error_handler_t::replace);
        throw ExpectationFailed(wanted + ", but there is no such field in " + seen.substr(0, 400));
    }
    if (relation == "exists") return;
    const std::string seen = Inline(*found);
    if (!Holds(seen, relation, value)) throw ExpectationFailed(wanted + ", saw " + seen);
}

Milliseconds ParseSeconds(const std::string& text) {
    const auto seconds = As<double>(text);
    if (!seconds || *seconds < 0) throw CommandError("\"" + text + "\" is no time in seconds, as 5 or 0.5");
    return Milliseconds(static_cast<std::int64_t>(*seconds * 1000));
}

std::uint64_t ParseNumber(const std::string& text, std::uint64_t largest) {
    const auto value = As<std::uint64_t>(text);
    if (!value || *value > largest)
        throw CommandError("\"" + text + "\" is no number from 0 to " + std::to_string(largest));
    return *value;
}

MacAddress MacOf(const std::string& text) {
    const auto mac = ParseMac(text);
    if (!mac) throw CommandError("\"" + text + "\" is no MAC, as 00:00:5E:00:53:01");
    return *mac;
}

void ComplainOfWait(Milliseconds waited, const std::string& what) {
    throw CommandError("waited " + std::to_string(waited.count() / 1000) + " s, but " + what +
                       " did not come");
}

}  // namespace plug::bench
