#include "bench/peer_answers.h"

#include <stdexcept>

#include "bench/text_table.h"

namespace plug::bench {
namespace {

constexpr char kTopology[] =
    R"({"nodes":[{"mac":"00:00:5E:00:53:01","role":"controller"},{"mac":"00:00:5E:00:53:21","role":"agent",)"
    R"("uplink":"00:00:5E:00:53:01","rssi":-58}]})";
constexpr char kBssids[] =
    R"({"bssids":[{"radio":1,"bssid":"00:00:5E:00:53:11"},{"radio":2,"bssid":"00:00:5E:00:53:12"}]})";
constexpr std::size_t kNeighbours = 3;
constexpr std::size_t kNeighbourSize = 77;
constexpr std::uint8_t kBandOfRadio[] = {1, 2};  // 2.4 GHz, 5 GHz

/// A count and entries of which only the SSID at the front is told.
ByteVector Neighbours() {
    ByteVector list(2 + kNeighbours * kNeighbourSize);
    ByteWriter writer(list);
    writer.U16(kNeighbours);
    for (std::size_t at = 0; at < kNeighbours; ++at)
        writer.Text("Neighbour " + std::to_string(at + 1), kNeighbourSize);
    return list;
}

/// A configuration that is not to be saved; nobody waits for its answer.
bool IsCalibration(ConstBytes payload) {
    const Json config = Json::parse(AsText(payload), nullptr, false);
    return config.is_object() && config.value("save", Json(1)) == 0;
}

ByteVector EncodeData(const CommandForm& row, const Json& data) {
    if (data.is_string()) return ParseHex(data.get<std::string>());
    const Fields fields = row.answer.fields;
    const bool text = fields.size() == 1 && fields.front().kind == FieldKind::kRest;
    std::vector<std::string> words;
    if (text)
        words.push_back(data.dump());
    else if (data.is_object())
        for (const auto& [name, value] : data.items()) words.push_back(name + "=" + Inline(value));
    else
        for (const Json& value : data) words.push_back(Inline(value));
    return EncodeAnswer(row, words);
}

}  // namespace

PeerAnswer ReadPeerAnswer(const CommandForm& row, const Json& answer) {
    PeerAnswer read;
    for (const auto& [name, value] : answer.items()) {
        if (name == "result")
            read.result = static_cast<std::uint8_t>(value.get<int>());
        else if (name == "data")
            read.data = EncodeData(row, value);
        else if (name == "delay")
            read.delay = Milliseconds(static_cast<std::int64_t>(value.get<double>() * 1000));
        else if (name == "silent")
            read.silent = value.get<bool>();
        else
            throw std::invalid_argument("an answer has result, data, delay and silent, no " + name);
    }
    return read;
}

void PeerAnswers::Set(std::uint16_t id, const PeerAnswer& answer) {
    const std::lock_guard guard(mutex_);
    changed_[id] = answer;
}

void PeerAnswers::Reset(std::uint16_t id) {
    const std::lock_guard guard(mutex_);
    changed_.erase(id);
}

void PeerAnswers::Load(const Json& answers) try {
    for (const auto& [name, answer] : answers.items()) {
        const CommandForm* const row = Find(LocalRequests(), name);
        if (row == nullptr) throw std::invalid_argument("the agent never asks for " + name);
        Set(row->id, ReadPeerAnswer(*row, answer));
    }
} catch (const Json::exception& error) {
    throw std::invalid_argument(error.what());
}

std::optional<PeerAnswers::Reply> PeerAnswers::ReplyTo(std::uint16_t id, ConstBytes payload) {
    const std::lock_guard guard(mutex_);
    const auto found = changed_.find(id);
    const PeerAnswer changed = found == changed_.end() ? PeerAnswer() : found->second;
    const CommandForm* const row = Find(LocalRequests(), id);
    const bool answered = row != nullptr && row->answer.shape != Shape::kNoAnswer;
    if (changed.silent || !answered || (id == 88 && IsCalibration(payload))) return {};

    Reply reply{{changed.result.value_or(0)}, changed.delay};
    ByteVector data;
    if (reply.payload.front() == 0) data = CarryOut(id, payload);
    if (changed.data) data = *changed.data;
    reply.payload.insert(reply.payload.end(), data.begin(), data.end());
    return reply;
}

ByteVector PeerAnswers::CarryOut(std::uint16_t id, ConstBytes payload) {
    ByteReader request(payload);
    switch (id) {
        case 70:
            return {kBandOfRadio[request.U8() % std::size(kBandOfRadio)]};
        case 71:
            return {1};
        case 72:
            mesh_ = request.U8();
            return {};
        case 73:
            return {mesh_};
        case 74:
            roaming_ = request.U8();
            return {};
        case 75:
            return {roaming_};
        case 76:
            thresholds_ = request.Array<2>();
            return {};
        case 77:
            return {thresholds_.begin(), thresholds_.end()};
        case 78:
            return ToBytes(kTopology);
        case 79:
            return Neighbours();
        case 80:
            return ToBytes(kBssids);
        case 88:
            report_config_ = AsText(payload);
            return {};
        case 997:
            return ToBytes(report_config_);
        default:
            return {};
    }
}

Json PeerAnswers::Changes() const {
    const std::lock_guard guard(mutex_);
    Json changes = Json::array();
    for (const auto& [id, answer] : changed_) {
        const CommandForm* const row = Find(LocalRequests(), id);
        changes.push_back(
            {{"id", id},
             {"name", row != nullptr ? row->name : ""},
             {"answer", answer.silent ? "silent" : "result " + std::to_string(answer.result.value_or(0))},
             {"delay", static_cast<double>(answer.delay.count()) / 1000},
             {"data", answer.data ? ToHex(*answer.data).substr(0, 60) : "usual"}});
    }
    return changes;
}

ByteVector UsualStatus() {
    const CommandForm& row = *Find(LocalReports(), "status");
    return EncodeParameters(row,
                            {"1", "1", "0", "1", "00:00:5E:00:53:02", "Internet", "", "", "", "203.0.113.24",
                             "255.255.255.0", "203.0.113.1", "203.0.113.53", "203.0.113.54", "1500", "1"});
}

}  // namespace plug::bench
