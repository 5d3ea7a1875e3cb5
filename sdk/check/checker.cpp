#include "checker.h"

#include <algorithm>
#include <cstdio>

namespace sdk_check {
namespace {

constexpr std::size_t kWlanBuffer = router_room_wlans_bytes;
constexpr int kMostNotes = 8;  // printed about one call
constexpr std::size_t kLabelWidth = 38;
constexpr std::size_t kLineWidth = 118;
constexpr char kNothing[] = "there is nothing to try it on";
constexpr std::uint16_t kNoIndex = 0xFFFF;
constexpr std::uint8_t kNoMac[6] = {0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE};

/// Prints the words from `column` on, as many on a line as fit. The first line stands right before it.
void PrintWords(const Texts& words, std::size_t column) {
    std::size_t at = column;
    for (const std::string& word : words) {
        if (at > column && at + word.size() > kLineWidth) {
            printf("\n%*s", static_cast<int>(column - 1), "");
            at = column;
        }
        printf(" %s", word.c_str());
        at += word.size() + 1;
    }
    printf("\n");
}

std::size_t OutSize(const Function& function) {
    if (function.role == Role::kWlans) return kWlanBuffer;
    return function.room * RecordSize(function) - (function.role == Role::kGet ? function.second : 0);
}

}  // namespace

void Checker::PrintRecord(const std::string& place, const Texts& words) {
    if (!open_) printf("  %-*s", static_cast<int>(kLabelWidth - 3), place.c_str());
    PrintWords(words, kLabelWidth);
    open_ = false;
}

void Checker::Begin(const std::string& label) {
    label_ = label;
    noted_ = 0;
    open_ = true;
    printf("%-*s", static_cast<int>(kLabelWidth - 1), label.c_str());
}

void Checker::Note(const char* mark, const std::string& what, std::vector<Finding>& findings) {
    findings.push_back({label_, what});
    if (++noted_ > kMostNotes) return;
    printf("%s %-6s %s\n", open_ ? "" : "   ", mark, what.c_str());
    open_ = false;
}

void Checker::Broken(const std::string& what) {
    Note("BROKEN", what, broken_);
}

void Checker::Wrong(const std::string& what) {
    Note("WRONG", what, wrong_);
}

void Checker::NotTried(const std::string& what, const std::string& why) {
    untried_.push_back({what, why});
}

bool Checker::Survey() {
    std::vector<const char*> missing;
    std::string file;
    const Outcome outcome = library_.Survey(missing, file);
    if (outcome.end != End::kReturned) {
        printf("The library cannot be loaded: %s\n", Ending(outcome).c_str());
        return false;
    }
    const std::size_t all = Functions().size();
    printf("%s has %zu of %zu functions\n", file.c_str(), all - missing.size(), all);
    for (const char* const name : missing) {
        Begin(name);
        Broken("is missing from the library");
        unusable_.insert(name);
    }
    printf("\n");
    return true;
}

bool Checker::Callable(const Function& function) const {
    return !unusable_.contains(function.name);
}

std::vector<Checker::Asked> Checker::KeysOf(Key key) const {
    std::vector<Asked> keys;
    const auto add = [&keys](const std::string& words, const Arguments& arguments) {
        keys.push_back({"(" + words + ")", arguments});
    };
    const auto add_all = [&add](std::span<const std::uint16_t> indexes) {
        for (const std::uint16_t index : indexes) add(std::to_string(index), {.index = index});
    };
    switch (key) {
        case Key::kNone:
            keys.push_back({});
            break;
        case Key::kWan:
            add_all(wans_);
            break;
        case Key::kPort:
            add_all(ports_);
            break;
        case Key::kSsid:
            add_all(ssids_);
            break;
        case Key::kModule:
            for (std::uint16_t module = 1; module <= 4; ++module)
                add(std::to_string(module), {.index = module});
            break;
        case Key::kDevice:
            for (const auto& mac : devices_) add(MacText(mac.data()), {.mac = mac.data()});
            break;
        case Key::kSpeed:
            for (const auto& mac : devices_)
                for (int which = 0; which < 3; ++which)
                    add(MacText(mac.data()) + ", " + std::to_string(which),
                        {.mac = mac.data(), .which = which});
            break;
    }
    return keys;
}

void Checker::ReadAll() {
    for (const Function& function : Functions()) {
        if (function.role == Role::kSet || function.role == Role::kAction) continue;
        if (!Callable(function)) continue;
        const std::vector<Asked> keys = KeysOf(function.key);
        if (keys.empty()) NotTried(function.name, kNothing);
        for (const Asked& asked : keys)
            if (Callable(function)) Read(function, asked);
        if (Callable(function)) TryUnknown(function);
    }
}

/// How a call ended that did not return.
std::string Checker::Ending(const Outcome& outcome) const {
    switch (outcome.end) {
        case End::kSignal:
            if (outcome.beyond.empty())
                return std::string("crashes: ") + strsignal(outcome.code) + outcome.said;
            return "goes past the end of its " + outcome.beyond + ", by " + Times(outcome.past + 1, "byte") +
                   " or more";
        case End::kExited:
            return "ends the process with status " + std::to_string(outcome.code);
        case End::kHung:
            return "hangs: did not return within " + std::to_string(library_.seconds()) + " s";
        case End::kReturned:
        case End::kUnloadable:
        case End::kMissing:
            break;
    }
    return outcome.said;
}

/// False when the call did not come back, or wrote where it must not. The function is then left alone.
bool Checker::CameBack(const Function& function, const Outcome& outcome) {
    if (outcome.end == End::kReturned && !outcome.before) return true;
    Broken(outcome.end == End::kReturned ? "writes in front of its output" : Ending(outcome));
    unusable_.insert(function.name);
    return false;
}

void Checker::Failed(const Function& function, const Outcome& outcome) {
    // A router may have fewer modules; the agent then takes 0 for them.
    if (function.key == Key::kModule)
        return PrintRecord("", {"none: result " + std::to_string(outcome.result)});
    Wrong("failed with result " + std::to_string(outcome.result));
    if (std::ranges::any_of(outcome.out, [](std::uint8_t byte) { return byte != 0; }))
        Wrong("failed, but changed its output");
}

void Checker::Read(const Function& function, const Asked& asked) {
    Begin(function.name + asked.words);
    const Outcome outcome = library_.Run({function, asked.arguments, OutSize(function), function.second, {}});
    if (!CameBack(function, outcome)) return;
    if (outcome.result != 0) return Failed(function, outcome);
    const bool list = function.role != Role::kGet;
    if (list)
        PrintRecord("", {Times(static_cast<std::size_t>(std::max(outcome.Count(), 0)),
                               function.role == Role::kWlans ? "WLAN" : "record")});
    std::vector<std::uint8_t> joined = outcome.out;
    if (!list) joined.insert(joined.end(), outcome.second.begin(), outcome.second.end());
    const std::vector<Bytes> records = list ? Records(function, outcome) : std::vector<Bytes>{Bytes(joined)};
    const bool sound = noted_ == 0;
    if (!list) {
        PrintRecord("", Words(function.fields, records[0]));
        if (std::ranges::all_of(outcome.first, [](std::uint8_t byte) { return byte == kFill; }))
            Wrong("result 0, but nothing was written");
    }
    JudgeRecords(function, asked, records);
    Learn(function, records, sound);
    if (noted_ == 0 && !list) good_[label_] = joined;
    if (noted_ > kMostNotes) printf("    and %d more about this call\n", noted_ - kMostNotes);
}

/// An index or MAC that the router does not know is refused; the platform may ask for any.
void Checker::TryUnknown(const Function& function) {
    if (function.key == Key::kNone) return;
    const bool device = function.key == Key::kDevice || function.key == Key::kSpeed;
    const std::string key = device ? MacText(kNoMac) : std::to_string(kNoIndex);
    const Arguments arguments = {.index = kNoIndex, .mac = kNoMac};
    const Outcome outcome = library_.Run({function, arguments, OutSize(function), function.second, {}});
    const bool refused = outcome.result != 0 || function.key == Key::kSpeed;  // which cannot refuse
    if (outcome.end == End::kReturned && !outcome.before && refused) return;
    Begin(function.name + ("(" + key + ")"));
    if (CameBack(function, outcome))
        Wrong("result 0, but there is none of that " + std::string(device ? "MAC" : "index"));
}

void Checker::SetAll() {
    printf("\nSetting what was read\n");
    for (const Function& function : Functions()) {
        if (function.role == Role::kAction && Callable(function)) NotTried(function.name, "an action");
        if (function.role != Role::kSet || !Callable(function)) continue;
        const std::vector<Asked> keys = KeysOf(function.key);
        if (keys.empty()) NotTried(function.name, kNothing);
        for (const Asked& asked : keys)
            if (Callable(function)) Set(function, asked);
    }
}

/// Sets the value that was read, and reads it again.
void Checker::Set(const Function& setter, const Asked& asked) {
    const Function& getter = Find(setter.reads);
    const auto found = good_.find(getter.name + asked.words);
    if (found == good_.end())
        return NotTried(setter.name + asked.words, std::string("no good value of ") + getter.name);
    const std::vector<std::uint8_t>& value = found->second;
    // A text is given as long as it is, and not with all its field.
    const bool text = getter.fields.size() == 1 && getter.fields[0].kind == Kind::kText;
    const std::size_t size = text ? strlen(reinterpret_cast<const char*>(value.data())) + 1 : value.size();
    Begin(setter.name + asked.words);
    const Outcome set = library_.Run({setter, asked.arguments, 0, 0, Bytes(value).first(size)});
    if (!CameBack(setter, set)) return;
    if (set.result != 0) return Wrong("failed with result " + std::to_string(set.result));

    const Outcome again = library_.Run({getter, asked.arguments, OutSize(getter), getter.second, {}});
    if (!CameBack(getter, again)) return;
    std::vector<std::uint8_t> now = again.out;
    now.insert(now.end(), again.second.begin(), again.second.end());
    if (again.result != 0) return Wrong(std::string(getter.name) + " fails afterwards");
    for (const Field& field : getter.fields) {
        if (field.kind == Kind::kReserved ||
            (setter.compared != Kind::kReserved && field.kind != setter.compared))
            continue;
        if (!SameValue(field, value, now))
            Wrong(std::string(field.name) + " is different afterwards: " + Words({&field, 1}, now)[0]);
    }
    if (noted_ == 0) PrintRecord("", {"the same afterwards"});
}

/// Prints each thing that was found once, with all that it was found about.
void Checker::PrintFindings(const char* title, const std::vector<Finding>& findings) {
    if (findings.empty()) return;
    printf("\n%s: %zu\n", title, findings.size());
    std::set<std::string> told;
    for (const Finding& finding : findings) {
        if (!told.insert(finding.what).second) continue;
        Texts labels;
        for (const Finding& same : findings)
            if (same.what == finding.what) labels.push_back(same.label);
        if (labels.size() == 1) {
            printf("    %s: %s\n", finding.label.c_str(), finding.what.c_str());
            continue;
        }
        printf("    %s\n", finding.what.c_str());
        printf("%7s", "");
        PrintWords(labels, 8);
    }
}

int Checker::Conclude() {
    PrintFindings("Not tried", untried_);
    PrintFindings("Broken", broken_);
    PrintFindings("Looks wrong", wrong_);
    if (broken_.empty() && wrong_.empty()) printf("\nAll is well.\n");
    return !broken_.empty() ? 2 : !wrong_.empty() ? 1 : 0;
}

}  // namespace sdk_check
