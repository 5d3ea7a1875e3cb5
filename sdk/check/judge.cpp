// What the checker makes of the records that came back.
#include <algorithm>
#include <cstdio>

#include "checker.h"

namespace sdk_check {
namespace {

constexpr std::size_t kMostPorts = 16;  // of a LAN

const Field* FieldOf(const Function& function, const char* name) {
    for (const Field& field : function.fields)
        if (strcmp(field.name, name) == 0) return &field;
    return nullptr;
}

}  // namespace

/// Compares what the first call wrote with the `due` bytes that its count stands for. Zeros behind them are
/// no data: a library may clear the whole room.
void Checker::JudgeExtent(const Function& function, const Outcome& outcome, std::size_t due,
                          std::size_t count) {
    const auto end_of = [&](auto written) {
        const auto last = std::find_if(outcome.first.rbegin(), outcome.first.rend(), written);
        return static_cast<std::size_t>(outcome.first.rend() - last);
    };
    const std::size_t touched = end_of([](std::uint8_t byte) { return byte != kFill; });
    const std::size_t data = end_of([](std::uint8_t byte) { return byte != kFill && byte != 0; });
    const std::size_t size = RecordSize(function);
    const std::string of_all = Times(count, "record") + " of " + std::to_string(size) + " bytes";
    if (data > due) {
        std::string what = of_all + " take " + std::to_string(due) + ", but there is data up to byte " +
                           std::to_string(data);
        if (count > 0 && data < due + count * size)
            what += ": its records seem to have " + std::to_string((data + count - 1) / count) + " bytes";
        Wrong(what);
    } else if (touched < due) {
        Wrong(of_all + " take " + std::to_string(due) + ", but only " + std::to_string(touched) +
              " were written");
    }
}

std::vector<Bytes> Checker::Records(const Function& function, const Outcome& outcome) {
    if (function.role == Role::kWlans) return Wlans(outcome);
    const int count = outcome.Count();
    if (count < 0 || static_cast<std::size_t>(count) > function.room) {
        Wrong("counts " + std::to_string(count) + ", the room is for " + std::to_string(function.room));
        return {};
    }
    const std::size_t size = RecordSize(function);
    JudgeExtent(function, outcome, static_cast<std::size_t>(count) * size, static_cast<std::size_t>(count));
    std::vector<Bytes> records;
    records.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        records.push_back(Bytes(outcome.out).subspan(static_cast<std::size_t>(i) * size, size));
    return records;
}

/// The SSIDs of all WLANs: per WLAN a count and that many records.
std::vector<Bytes> Checker::Wlans(const Outcome& outcome) {
    const Function& function = Find("get_wlans_cfg");
    const std::size_t size = RecordSize(function);
    const Bytes buffer(outcome.out);
    std::vector<Bytes> records;
    std::size_t at = 0;
    for (int wlan = 1; wlan <= outcome.Count(); ++wlan) {
        std::uint16_t count = 0;
        if (at + sizeof count <= buffer.size()) memcpy(&count, buffer.data() + at, sizeof count);
        if (at + sizeof count + count * size > buffer.size()) {
            Wrong("WLAN " + std::to_string(wlan) + " counts " + Times(count, "SSID") +
                  ", which goes past the " + Times(buffer.size(), "byte"));
            return {};
        }
        at += sizeof count;
        for (; count > 0; --count, at += size) records.push_back(buffer.subspan(at, size));
    }
    if (outcome.Count() < 0) Wrong("counts " + std::to_string(outcome.Count()));
    JudgeExtent(function, outcome, at, records.size());
    return records;
}

void Checker::JudgeRecords(const Function& function, const Asked& asked, const std::vector<Bytes>& records) {
    const bool list = function.role != Role::kGet;
    std::size_t number = 0;
    for (const Bytes record : records) {
        const std::string place = list ? "[" + std::to_string(++number) + "] " : "";
        if (list) PrintRecord(place, Words(function.fields, record));
        for (const std::string& doubt : Doubts(function.fields, record, function.filled, home_))
            Wrong(place + doubt);
    }
    for (const std::string& doubt : Doubles(function.fields, records)) Wrong(doubt);
    if (!list) JudgeAgainstOthers(function, asked, records[0]);
}

/// A record is that of its key, agrees with what was told before, and is not the same for two keys.
void Checker::JudgeAgainstOthers(const Function& function, const Asked& asked, Bytes record) {
    const Field* const index = FieldOf(function, "index");
    if (index != nullptr && Number(*index, record) != asked.arguments.index)
        Wrong("index is " + std::to_string(Number(*index, record)) + ", asked was for " +
              std::to_string(asked.arguments.index));
    const bool whole = Is(function, "get_dev_cfg");
    if (whole && memcmp(record.data(), asked.arguments.mac, 6) != 0)
        Wrong("mac is not that of the device asked for");
    if (Is(function, "get_dev_name")) {
        const auto found = good_.find("get_dev_cfg" + asked.words);
        const Field& name = *FieldOf(Find("get_dev_cfg"), "name");
        if (found != good_.end() && strncmp(reinterpret_cast<const char*>(found->second.data()) + name.offset,
                                            reinterpret_cast<const char*>(record.data()), name.size - 1) != 0)
            Wrong("name is not that of the device's record");
    }
    // Counters and records; small values are the same by chance, and devices have the same limits.
    const bool numbered =
        function.key == Key::kWan || function.key == Key::kPort || function.key == Key::kSsid;
    if (!numbered || record.size() < sizeof(std::uint64_t) ||
        std::ranges::all_of(record, [](std::uint8_t byte) { return byte == 0; }))
        return;
    for (const Asked& other : KeysOf(function.key)) {
        const auto found = good_.find(function.name + other.words);
        if (found != good_.end() && std::ranges::equal(found->second, record))
            return Wrong("the same value as " + found->first);
    }
}

/// Keeps what later functions are asked by. Of a list that is not what it counts only the first record may be
/// what it seems.
void Checker::Learn(const Function& function, std::vector<Bytes> records, bool sound) {
    if (!sound && records.size() > 1) {
        records.resize(1);
        NotTried(label_, "the records behind its first one: it is not sound");
    }
    const auto numbers = [&](const char* name) {
        std::vector<std::uint16_t> found;
        for (const Bytes record : records) {
            const auto number = static_cast<std::uint16_t>(Number(*FieldOf(function, name), record));
            if (number != 0 && std::ranges::find(found, number) == found.end()) found.push_back(number);
        }
        return found;
    };
    const auto up_to = [&](std::size_t most) {
        std::vector<std::uint16_t> all;
        const std::uint64_t count = Number(*FieldOf(function, "count"), records[0]);
        if (count == 0) Wrong("counts none");
        if (count > most)
            Wrong("counts " + std::to_string(count) + ", at most " + std::to_string(most) + " are expected");
        for (std::uint64_t i = 1; i <= (count > most ? 1 : count); ++i)
            all.push_back(static_cast<std::uint16_t>(i));
        return all;
    };
    if (Is(function, "get_wan_num")) {
        wans_ = up_to(router_room_wans);
    } else if (Is(function, "get_lan_num")) {
        ports_ = up_to(kMostPorts);
    } else if (Is(function, "get_wans_cfg")) {
        if (records.size() != wans_.size())
            Wrong(Times(records.size(), "record") + ", get_wan_num says " + std::to_string(wans_.size()));
        if (!records.empty()) wans_ = numbers("index");
    } else if (Is(function, "get_lan_cfg") && noted_ == 0) {
        home_.lan_address = static_cast<std::uint32_t>(Number(*FieldOf(function, "address"), records[0]));
        home_.lan_netmask = static_cast<std::uint32_t>(Number(*FieldOf(function, "netmask"), records[0]));
    } else if (Is(function, "get_wlans_cfg")) {
        if (records.empty()) Wrong("has no SSID");
        ssids_ = numbers("index");
    } else if (Is(function, "get_devs_cfg")) {
        if (records.empty()) Wrong("has no device; connect one, or the functions about devices stay untried");
        for (const Bytes record : records) devices_.emplace_back(record.begin(), record.begin() + 6);
    }
}

}  // namespace sdk_check
