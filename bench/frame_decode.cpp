#include "bench/frame_decode.h"

namespace plug::bench {
namespace {

constexpr std::size_t kCommandHeader = 10;
constexpr char kBadFrame[] = "bad frame";
constexpr std::uint16_t kDevices = 40;  // what the local peer sends that is no report row
constexpr std::uint16_t kState = 998;
constexpr std::uint16_t kFirmwareResult = 999;

void ShowFields(Json& shown, ConstBytes bytes, Fields fields) {
    ByteReader reader(bytes);
    shown.update(ReadFields(reader, fields));
}

std::string PlugDataName(std::uint8_t data_type) {
    const PlugDataForm* const row = Find(PlugDataForms(), data_type);
    return row != nullptr ? row->name : "unknown";
}

void ShowCommand(Json& shown, const DataRecord& record) {
    ByteReader reader(record.data);
    shown["head"] = reader.U16();
    const std::uint16_t id = reader.U16();
    shown["id"] = id;
    const CommandForm* const row = Find(CommandForms(), id);
    shown["name"] = row != nullptr ? row->name : "unknown";
    if (record.data.size() < kCommandHeader) {
        shown["note"] = "a command of " + std::to_string(record.data.size()) + " bytes";
        return;
    }
    const ConstBytes parameters = record.data.subspan(kCommandHeader);
    if (row != nullptr && !(row->parameters.empty() && parameters.empty()))
        shown.update(DecodePayload(*row, parameters));
    else
        shown.update(DecodeData(parameters));
}

/// The data record of a frame to the agent.
void ShowRecordDown(Json& shown, const LinkEvent& event, bool addressed) {
    const DataRecord record = ReadDataRecord(event.plain, addressed);
    if (addressed) {
        shown["address"] = MacText(record.address);
        ShowCommand(shown, record);
        return;
    }
    shown["id"] = record.data_type;
    shown["name"] = PlugDataName(record.data_type);
    shown.update(DecodeData(record.data));
}

/// The data record of a frame from the agent, without what every event has.
void ShowRecordUp(Json& shown, const LinkEvent& event) {
    Json record = DecodeEvent(event);
    for (const char* const common : {"event", "link", "mac"}) record.erase(common);
    const bool plug_data = event.header.type() == MsgType::kPlugReply;
    if (event.kind == EventKind::kReport || plug_data) shown["id"] = event.data_type;
    if (plug_data) shown["name"] = PlugDataName(event.data_type);
    record.erase("type");
    shown.update(record);
}

Json Bad(const std::string& note, ConstBytes bytes) {
    return {{"message", kBadFrame}, {"note", note}, {"bytes", ToHex(bytes)}};
}

void ShowReply(Json& shown, const CommandForm& row, ConstBytes payload) {
    shown["message"] = "reply";
    if (payload.empty()) return;
    shown["result"] = payload[0];
    if (payload[0] == 0 || payload.size() > 1) shown.update(DecodeLayout(row.answer, payload.subspan(1)));
}

void ShowFromPeer(Json& shown, std::uint16_t id, ConstBytes payload) {
    const CommandForm* const request = Find(LocalRequests(), id);
    const CommandForm* const report = Find(LocalReports(), id);
    shown["message"] = "report";
    if (id == kDevices) {
        shown["name"] = "devices";
        shown.update(DecodeLayout(Find(ReportForms(), kDevices)->answer, payload));
    } else if (id == kState) {
        shown["message"] = "question";
        shown["name"] = request->name;
    } else if (id == kFirmwareResult) {
        shown["name"] = "firmware-result";
        if (!payload.empty()) shown["result"] = payload[0];
    } else if (request != nullptr) {
        shown["name"] = request->name;
        ShowReply(shown, *request, payload);
    } else {
        shown["name"] = report != nullptr ? report->name : "unknown";
        shown.update(report != nullptr ? DecodePayload(*report, payload) : DecodeData(payload));
    }
}

void ShowFromAgent(Json& shown, std::uint16_t id, ConstBytes payload) {
    const CommandForm* const row = Find(LocalRequests(), id);
    shown["message"] = "request";
    shown["name"] = row != nullptr ? row->name : "unknown";
    if (AsText(payload) == "i") return;  // which only fills a request that has nothing to say
    shown.update(row != nullptr ? DecodePayload(*row, payload) : DecodeData(payload));
}

}  // namespace

Json DecodeFrame(const CipherKey& key, bool from_agent, ByteVector frame) {
    const LinkEvent event = from_agent ? ReadFrame(key, std::move(frame)) : OpenFrame(key, std::move(frame));
    const MessageForm* const form = FindMessage(event.header.type(), event.plain.size());
    const std::string type = "MsgType " + std::to_string(event.header.type_byte & 0x1F);
    Json shown = {{"message", form != nullptr ? form->name : type}};
    if (!event.note.empty()) shown["note"] = event.note;
    if (form == nullptr || (event.kind == EventKind::kBadFrame && event.plain.empty())) {
        shown["bytes"] = ToHex(event.frame);
        return shown;
    }
    ShowFields(shown, event.head, event.head.empty() ? Fields() : form->head);
    if (form->body_form == BodyForm::kFields)
        ShowFields(shown, event.plain, form->body);
    else if (event.kind == EventKind::kReport || event.kind == EventKind::kReply)
        ShowRecordUp(shown, event);
    else if (!event.plain.empty())
        ShowRecordDown(shown, event, form->body_form == BodyForm::kAddressed);
    return shown;
}

Json DecodeLocalFrame(bool from_agent, const ByteVector& frame) {
    if (frame.size() < sizeof(LocalHeader)) return Bad("no header of a local frame", frame);
    const LocalHeader header = ReadLocalHeader(frame);
    if (header.head != kLocalHead) return Bad("no header of a local frame", frame);
    const ConstBytes rest = ConstBytes(frame).subspan(sizeof header);
    if (rest.size() < header.length)
        return Bad("announces " + std::to_string(header.length) + " bytes, " + std::to_string(rest.size()) +
                       " are there",
                   frame);
    Json shown = {{"message", ""}, {"id", header.func_id}, {"name", ""}, {"sequence", header.sequence}};
    if (!CheckedPayload(header, frame)) shown["note"] = "wrong checksum";
    const ConstBytes payload = rest.first(header.length);
    from_agent ? ShowFromAgent(shown, header.func_id, payload) : ShowFromPeer(shown, header.func_id, payload);
    return shown;
}

}  // namespace plug::bench
