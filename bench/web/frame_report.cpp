#include "bench/web/frame_report.h"

#include "bench/decode.h"

namespace plug::bench {
namespace {

constexpr std::size_t kCommandHeader = 10;

/// Since 1970, with the microseconds, which put the frames of one exchange in order.
double MillisecondsOf(std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double, std::milli>(time.time_since_epoch()).count();
}

Json Report(const char* side, const char* way, int link, std::chrono::system_clock::time_point time) {
    return {{"side", side}, {"way", way}, {"link", link}, {"time", MillisecondsOf(time)}};
}

/// Moves what stands in the head of every report out of the decoded event.
Json Arranged(Json report, Json decoded, ConstBytes frame) {
    for (const char* key : {"event", "peer", "link", "mac", "name", "note"}) {
        if (!decoded.contains(key)) continue;
        const bool kind = report.value("kind", "").empty() &&
                          (std::string_view(key) == "event" || std::string_view(key) == "peer");
        if (std::string_view(key) == "peer" && !kind) continue;  // the address of a connection
        if (std::string_view(key) != "link") report[kind ? "kind" : key] = decoded[key];
        decoded.erase(key);
    }
    if (!decoded.empty()) report["decoded"] = std::move(decoded);
    if (!frame.empty()) report["hex"] = ToHex(frame);
    return report;
}

/// A function command: its opaque head, its ID, six bytes of nothing, its parameters.
void DecodeCommand(Json& report, ConstBytes data) {
    if (data.size() < kCommandHeader) return;
    ByteReader reader(data);
    reader.U16();
    const std::uint16_t id = reader.U16();
    report["id"] = id;
    const CommandForm* const row = Find(CommandForms(), id);
    report["name"] = row != nullptr ? row->name : "unknown";
    if (data.size() == kCommandHeader) return;
    static constexpr CommandForm kUnknown{0, "unknown", ""};
    report["decoded"] = DecodePayload(row != nullptr ? *row : kUnknown, data.subspan(kCommandHeader));
}

void DecodePlugData(Json& report, const LinkEvent& event) {
    const DataRecord record = ReadDataRecord(event.plain, false);
    report["type"] = record.data_type;
    report["decoded"] = {{"type", record.data_type}, {"data", Readable(record.data)}};
}

void DecodeSent(Json& report, const LinkEvent& event) {
    switch (event.header.type()) {
        case MsgType::kHeartbeatAck:
            report["kind"] = "heartbeat-ack";
            return;
        case MsgType::kForcedDisconnect:
            report["kind"] = "forced-disconnect";
            return;
        case MsgType::kAck:
            report["kind"] = "ack";
            report["decoded"] = {{"code", event.head.empty() ? 0 : event.head[0]},
                                 {"body", ToHex(event.plain)}};
            return;
        case MsgType::kFunctionCommand:
            report["kind"] = "command";
            return DecodeCommand(report, ReadDataRecord(event.plain, true).data);
        case MsgType::kPlugCommand:
        case MsgType::kPlugReply:
            report["kind"] = "plug-data";
            return DecodePlugData(report, event);
        default:
            report["kind"] = "bytes";
    }
}

/// The size of the frame at the beginning of `bytes`; all of them when none begins there.
std::size_t FrameSize(ConstBytes bytes) {
    if (bytes.size() < kFrameHeaderSize || ByteReader(bytes).U16() != kFrameMagic) return bytes.size();
    return std::min(ReadFrameHeader(bytes).frame_size(), bytes.size());
}

}  // namespace

Json ReportOf(const LinkEvent& event) {
    return Arranged(Report("platform", "up", event.link, event.wall_time), DecodeEvent(event), event.frame);
}

Json ReportOf(const PeerEvent& event) {
    Json report = Report("peer", "up", event.link, event.wall_time);
    if (event.kind == PeerEventKind::kRequest) report["id"] = event.func_id;
    return Arranged(std::move(report), DecodePeerEvent(event), event.frame);
}

std::vector<Json> ReportsOfSent(const CipherKey& key, const MacAddress& agent, int link, ConstBytes bytes) {
    std::vector<Json> reports;
    while (!bytes.empty()) {
        const ConstBytes frame = bytes.first(FrameSize(bytes));
        bytes = bytes.subspan(frame.size());
        Json report = Report("platform", "down", link, std::chrono::system_clock::now());
        if (!AllZero(agent)) report["mac"] = MacText(agent);
        report["kind"] = "bytes";
        const bool whole =
            frame.size() >= kFrameHeaderSize && ReadFrameHeader(frame).frame_size() == frame.size();
        if (whole && ByteReader(frame).U16() == kFrameMagic) {
            const LinkEvent event = ReadFrame(key, {frame.begin(), frame.end()});
            DecodeSent(report, event);
            if (event.note == "wrong checksum") report["note"] = event.note;
        }
        report["hex"] = ToHex(frame);
        reports.push_back(std::move(report));
    }
    return reports;
}

Json ReportOfSentByPeer(int link, ConstBytes bytes) {
    Json report = Report("peer", "down", link, std::chrono::system_clock::now());
    report["kind"] = "bytes";
    report["hex"] = ToHex(bytes);
    if (bytes.size() < sizeof(LocalHeader)) return report;
    const LocalHeader header = ReadLocalHeader(bytes);
    const auto payload = CheckedPayload(header, bytes);
    if (!payload) return report;
    report["id"] = header.func_id;
    const CommandForm* const asked = Find(LocalRequests(), header.func_id);
    const CommandForm* const told = Find(LocalReports(), header.func_id);
    report["kind"] = asked != nullptr ? "reply" : "report";
    if (told != nullptr) {
        report["name"] = told->name;
        report["decoded"] = DecodePayload(*told, *payload);
    } else if (asked != nullptr && !payload->empty()) {
        report["name"] = asked->name;
        report["decoded"] = {{"result", payload->front()}};
        if (payload->size() > 1) report["decoded"]["data"] = Readable(payload->subspan(1));
    } else {
        report["name"] = header.func_id == 40 ? "devices" : "";
        report["decoded"] = {{"data", Readable(*payload)}};
    }
    return report;
}

}  // namespace plug::bench
