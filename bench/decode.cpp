#include "bench/decode.h"

#include <map>
#include <stdexcept>

#include "bench/result_text.h"
#include "bench/text.h"

namespace plug::bench {
namespace {

constexpr std::size_t kAnswerHeader = 6;

Json ReadEntries(ByteReader& reader, Fields fields, std::size_t count) {
    Json entries = Json::array();
    for (std::size_t entry = 0; entry < count && reader.ok(); ++entry) {
        Json fields_read = ReadFields(reader, fields);
        if (reader.ok()) entries.push_back(std::move(fields_read));
    }
    return entries;
}

Json ReadRadios(ByteReader& reader, Fields fields) {
    const std::uint16_t radios = reader.U16();
    Json ssids = Json::array();
    for (int radio = 1; radio <= radios && reader.ok(); ++radio) {
        for (Json& ssid : ReadEntries(reader, fields, reader.U16())) {
            Json row = {{"radio", radio}};
            row.update(ssid);
            ssids.push_back(std::move(row));
        }
    }
    return {{"radios", radios}, {"ssids", ssids}};
}

Json ReadPorts(ByteReader& reader) {
    const std::uint16_t count = reader.U16();
    Json ports = Json::array();
    for (int port = 1; port <= count; ++port) ports.push_back({{"port", port}, {"down", reader.U64()}});
    for (Json& port : ports) port["up"] = reader.U64();
    return {{"count", count}, {"ports", ports}};
}

Json ReadLinkStates(ByteReader& reader) {
    const auto read = [&reader](std::size_t count) {
        Json states = Json::array();
        for (const std::uint8_t state : reader.Take(count)) states.push_back(state);
        return states;
    };
    Json fields;
    fields["lan_ports"] = read(reader.U16());
    fields["wans"] = read(reader.U16());
    fields["wifi_modules"] = read(4);
    return fields;
}

Json ReadAnswer(ByteReader& reader, const AnswerLayout& answer) {
    switch (answer.shape) {
        case Shape::kNothing:
        case Shape::kNoAnswer:
            return Json::object();
        case Shape::kRecord:
            return ReadFields(reader, answer.fields);
        case Shape::kList: {
            const std::uint16_t count = reader.U16();
            return {{"count", count}, {"entries", ReadEntries(reader, answer.fields, count)}};
        }
        case Shape::kPorts:
            return ReadPorts(reader);
        case Shape::kRadios:
            return ReadRadios(reader, answer.fields);
        case Shape::kLinkStates:
            return ReadLinkStates(reader);
    }
    return {};
}

void ReadPayload(Json& into, ConstBytes payload, const AnswerLayout& answer) {
    ByteReader reader(payload);
    into["fields"] = ReadAnswer(reader, answer);
    if (!reader.ok())
        into["warning"] =
            "the payload of " + std::to_string(payload.size()) + " bytes is shorter than its layout";
    else if (!reader.rest().empty())
        into["warning"] = std::to_string(reader.rest().size()) + " bytes follow the layout";
}

/// JSON as fields, other text as such, everything else in hexadecimal.
void ShowData(Json& into, ConstBytes data) {
    if (data.empty()) return;
    const Json shown = Readable(data);
    const bool text = shown.is_string() && shown == AsText(data);
    into[shown.is_structured() ? "fields" : text ? "text" : "bytes"] = shown;
}

/// What has the shape of an answer by its layout, the rest as it is.
void ShowNamed(Json& into, const LinkEvent& event, const char* name, const AnswerLayout* layout) {
    if (name != nullptr) into["name"] = name;
    if (layout == nullptr || !event.has_echo()) {
        ShowData(into, event.data);
        return;
    }
    into["result"] = event.result();
    if (event.result() == 0) ReadPayload(into, Payload(event), *layout);
}

void ShowReport(Json& into, const LinkEvent& event, std::uint16_t number) {
    const ReportForm* const row = Find(ReportForms(), number);
    if (row != nullptr && row->sequenced && event.has_echo()) into["sequence"] = event.Word(0);
    ShowNamed(into, event, row != nullptr ? row->name : nullptr,
              row != nullptr && row->binary ? &row->answer : nullptr);
}

void ShowReply(Json& into, const LinkEvent& event) {
    if (event.header.type() == MsgType::kPlugReply || !event.has_echo()) {
        ShowData(into, event.data);
        return;
    }
    into["id"] = event.function_id();
    if (const CommandForm* const row = Find(CommandForms(), event.function_id()); row != nullptr)
        ShowNamed(into, event, row->name, &row->answer);
    else
        ShowReport(into, event, event.function_id());
}

std::vector<const Field*> Written(Fields fields) {
    std::vector<const Field*> written;
    for (const Field& field : fields)
        if (field.kind != FieldKind::kSkip) written.push_back(&field);
    return written;
}

std::vector<std::string> Names(const std::vector<const Field*>& fields) {
    std::vector<std::string> names;
    names.reserve(fields.size());
    for (const Field* field : fields) names.emplace_back(field->name);
    return names;
}

[[noreturn]] void Refuse(const CommandForm& form, const std::string& what) {
    throw std::invalid_argument(std::string(form.name) + " " + what + "; it takes " + ParameterForm(form));
}

[[noreturn]] void RefuseName(const CommandForm& form, const std::string& name,
                             const std::vector<std::string>& names) {
    const std::string meant = DidYouMean(name, names);
    const std::string what = "has no parameter \"" + name + "\"";
    if (meant.empty()) Refuse(form, what);
    throw std::invalid_argument(std::string(form.name) + " " + what + meant);
}

using Values = std::map<std::string_view, std::string>;  // by the names of the fields

/// The written values. "name=value" names a parameter when it could; a value may hold '=' of its own. The
/// last parameter takes all remaining words when it is a text.
Values Assign(const CommandForm& form, const std::vector<std::string>& words) {
    const std::vector<const Field*> fields = Written(form.parameters);
    Values values;
    std::size_t next = 0;
    for (const std::string& word : words) {
        const auto [name, value] = ParseNamed(word);
        const auto named = std::ranges::find(fields, name, &Field::name);
        const bool like_a_name =
            !name.empty() && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_0123456789") == name.npos;
        if (value && named != fields.end())
            values[(*named)->name] = *value;
        else if (value && like_a_name)
            RefuseName(form, name, Names(fields));
        else if (next < fields.size())
            values[fields[next++]->name] = word;
        else if (!fields.empty() && FieldSize(*fields.back()) == 0)
            values[fields.back()->name] += " " + word;
        else
            throw std::invalid_argument("too many parameters: " + std::string(form.name) + " takes " +
                                        (fields.empty() ? "none" : ParameterForm(form)));
    }
    return values;
}

}  // namespace

std::string ParameterForm(const CommandForm& form) {
    std::string text;
    for (const Field* field : Written(form.parameters))
        text += (text.empty() ? "" : " ") + std::string(field->name) + "=<" + ValueForm(*field) + ">";
    return text;
}

ByteVector EncodeParameters(const CommandForm& form, const std::vector<std::string>& words, ConstBytes base) {
    const Values values = Assign(form, words);
    ByteVector record;
    for (const Field& field : form.parameters) {
        const std::size_t size = FieldSize(field);
        const auto value = values.find(field.name);
        if (field.kind == FieldKind::kSkip)
            WriteField(record, field, "");
        else if (value != values.end())
            WriteField(record, field, value->second);
        else if (record.size() + size <= base.size())
            record = Join({record, base.subspan(record.size(), size)});
        else
            Refuse(form, std::string("needs ") + field.name);
    }
    return record;
}

ByteVector EncodeBaseParameters(const CommandForm& form, const std::vector<std::string>& words) {
    const Values values = Assign(form, words);
    ByteVector record;
    for (const Field& field :
         form.parameters.first(Find(CommandForms(), form.read_first)->parameters.size())) {
        const auto value = values.find(field.name);
        if (value == values.end()) Refuse(form, std::string("needs ") + field.name);
        WriteField(record, field, value->second);
    }
    return record;
}

ConstBytes Payload(const LinkEvent& event) {
    if (!event.has_echo() || event.result() != 0) return {};
    return ConstBytes(event.data).subspan(kAnswerHeader);
}

Json DecodeAnswer(const CommandForm& row, const LinkEvent& event) {
    Json answer = {{"answer", row.name}, {"id", row.id}, {"code", event.code}};
    if (event.data.empty()) {
        answer["error"] = event.code == 11 ? std::string("wrong checksum, says the agent") : "no data";
    } else if (!event.has_echo()) {
        answer["error"] = event.text();
    } else {
        answer["result"] = event.result();
        if (event.result() != 0)
            answer["error"] = ResultText(row.id, event.result());
        else
            ReadPayload(answer, Payload(event), row.answer);
    }
    return answer;
}

Json DecodeLayout(const AnswerLayout& layout, ConstBytes payload) {
    Json shown = Json::object();
    ReadPayload(shown, payload, layout);
    return shown;
}

Json DecodeData(ConstBytes data) {
    Json shown = Json::object();
    ShowData(shown, data);
    return shown;
}

Json DecodePayload(const CommandForm& row, ConstBytes payload) {
    return row.parameters.empty() ? DecodeData(payload)
                                  : DecodeLayout({Shape::kRecord, row.parameters}, payload);
}

ByteVector EncodeAnswer(const CommandForm& row, const std::vector<std::string>& words) {
    const CommandForm form{row.id, row.name, row.help, row.topic, row.answer.fields};
    if (row.answer.shape != Shape::kList) return EncodeParameters(form, words);
    ByteVector list(2);
    ByteWriter(list).U16(static_cast<std::uint16_t>(words.size()));
    for (const std::string& word : words) list = Join({list, EncodeParameters(form, {word})});
    return list;
}

Json DecodeEvent(const LinkEvent& event) {
    Json shown = {{"event", Name(event.kind)}, {"link", event.link}};
    if (!AllZero(event.mac)) shown["mac"] = MacText(event.mac);
    switch (event.kind) {
        case EventKind::kConnected:
            shown["server"] = Name(event.server);
            shown["peer"] = event.peer;
            break;
        case EventKind::kRegister:
            shown["serial"] = event.serial;
            shown["pin"] = event.pin;
            break;
        case EventKind::kLogin:
            shown["pin"] = event.pin;
            break;
        case EventKind::kHeartbeat:
            shown["agent_time"] = event.agent_time;
            break;
        case EventKind::kReport:
            shown["type"] = event.data_type;
            if (event.header.type() == MsgType::kAddressedReport) shown["address"] = MacText(event.address);
            ShowReport(shown, event, event.data_type);
            break;
        case EventKind::kReply:
            shown["type"] = event.data_type;
            shown["code"] = event.code;
            ShowReply(shown, event);
            break;
        case EventKind::kBadFrame:
            shown["bytes"] = ToHex(event.frame);
            break;
        case EventKind::kClosed:
            shown["server"] = Name(event.server);
            break;
    }
    if (!event.note.empty()) shown["note"] = event.note;
    return shown;
}

}  // namespace plug::bench
