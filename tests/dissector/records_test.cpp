// The dissector reads every record as the bench does.
#include <map>

#include "bench/decode.h"
#include "bench/local_peer.h"
#include "bench/message_table.h"
#include "dissector/tshark.h"

namespace plug::dissector {
namespace {

using Values = std::map<std::string, std::vector<std::string>>;  // by the field's name, sorted

// --- records that hold something in each byte ---

void AddField(ByteVector& record, const Field& field) {
    const auto add = [&record](std::size_t count) {
        for (std::size_t byte = 0; byte < count; ++byte)
            record.push_back(static_cast<std::uint8_t>('A' + record.size() * 7 % 57));
    };
    switch (field.kind) {
        case FieldKind::kShortText:
            record.push_back(3);
            return add(3);
        case FieldKind::kCountedText:
        case FieldKind::kCountedRaw:
            record = Join({record, std::array<std::uint8_t, 2>{5, 0}});
            return add(5);
        case FieldKind::kSwitch:
            return record.push_back(static_cast<std::uint8_t>(record.size() % 3));
        case FieldKind::kRest:
            return add(7);
        default:
            return add(FieldSize(field));
    }
}

void AddRecords(ByteVector& payload, Fields fields, std::size_t count) {
    for (std::size_t record = 0; record < count; ++record)
        for (const Field& field : fields) AddField(payload, field);
}

void AddCount(ByteVector& payload, std::uint8_t count) {
    payload = Join({payload, std::array<std::uint8_t, 2>{count, 0}});
}

ByteVector PayloadOf(const AnswerLayout& layout) {
    ByteVector payload;
    switch (layout.shape) {
        case Shape::kNothing:
        case Shape::kNoAnswer:
            break;
        case Shape::kRecord:
            AddRecords(payload, layout.fields, 1);
            break;
        case Shape::kList:
            AddCount(payload, 3);
            AddRecords(payload, layout.fields, 3);
            break;
        case Shape::kPorts:
            AddCount(payload, 2);
            for (int way = 0; way < 4; ++way) AddField(payload, {"", FieldKind::kU64});
            break;
        case Shape::kRadios:
            AddCount(payload, 2);
            for (const std::uint8_t ssids : std::array<std::uint8_t, 2>{2, 1}) {
                AddCount(payload, ssids);
                AddRecords(payload, layout.fields, ssids);
            }
            break;
        case Shape::kLinkStates:
            for (const std::uint8_t ports : std::array<std::uint8_t, 2>{3, 2}) {
                AddCount(payload, ports);
                for (int port = 0; port < ports; ++port) AddField(payload, {"", FieldKind::kU8});
            }
            AddField(payload, {"", FieldKind::kU32});
            break;
    }
    return payload;
}

// --- what the bench reads ---

const std::map<std::string, std::string> kRenamed = {
    {"lan_ports", "lan_port"}, {"wans", "wan"}, {"wifi_modules", "wifi_module"}};

std::string AsShown(const Json& value) {
    if (!value.is_string()) return value.dump();
    const std::string text = value.get<std::string>();
    return text == "on" ? "1" : text == "off" ? "0" : text;
}

void Collect(Values& values, const std::string& name, const Json& value) {
    if (value.is_object()) {
        for (const auto& [key, part] : value.items()) Collect(values, key, part);
    } else if (value.is_array()) {
        for (const Json& part : value) Collect(values, name, part);
    } else if (name != "radio" && (name != "port" || !value.is_number())) {  // numbered by the bench
        const auto renamed = kRenamed.find(name);
        values[renamed != kRenamed.end() ? renamed->second : name].push_back(AsShown(value));
    }
}

// --- what tshark reads ---

constexpr std::string_view kData = "plug.data.";

/// Texts as they are; MACs and bytes written as the bench does.
std::string AsRead(std::string text, bool is_raw) {
    const bool pairs =
        text.size() > 2 && text[2] == ':' && text.find_first_not_of("0123456789abcdef:") == text.npos;
    if (pairs && is_raw) std::erase(text, ':');
    if (pairs && !is_raw)
        for (char& character : text) character = static_cast<char>(toupper(character));
    return text;
}

void CollectRead(Values& values, const std::string& key, const Json& value) {
    if (value.is_object()) {
        for (const auto& [name, part] : value.items()) CollectRead(values, name, part);
    } else if (value.is_array()) {
        for (const Json& part : value) CollectRead(values, key, part);
    } else if (key.starts_with(kData)) {
        const std::string name = key.substr(kData.size());
        values[name.substr(0, name.find('.'))].push_back(AsRead(value.get<std::string>(), name == "record"));
    } else if (key.find("wrong_") != key.npos || key.ends_with(".short") || key.ends_with(".long")) {
        ADD_FAILURE() << key;
    }
}

Values Sorted(Values values) {
    for (auto& [name, list] : values) std::ranges::sort(list);
    return values;
}

class RecordsTest : public DissectorTest {
  protected:
    /// The capture's next packet with bytes must be read so.
    void Expect(std::string what, const Json& fields) { expected_.emplace_back(std::move(what), fields); }

    void TearDown() override {
        std::size_t next = 0;
        for (const Json& packet : Packets()) {
            Values bench;
            Values read;
            ASSERT_LT(next, expected_.size());
            const auto& [what, fields] = expected_[next++];
            Collect(bench, "", fields);
            CollectRead(read, "", packet["_source"]["layers"]);
            EXPECT_EQ(Sorted(bench), Sorted(read)) << what << "\n" << packet["_source"]["layers"].dump(1);
        }
        EXPECT_EQ(expected_.size(), next);
        DissectorTest::TearDown();
    }

    /// A reply to a function, or a report of that shape.
    void Answer(MsgType type, std::uint8_t data_type, std::uint16_t id, ConstBytes payload) {
        ByteVector data = {1, 0, static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(id >> 8), 0, 0};
        data = Join({data, payload});
        ByteVector plain(kAddressedRecordHeader + data.size());
        ByteWriter record(plain);
        static constexpr MacAddress kAddress = {2, 0x11, 0x22, 0x33, 0x44, 0x55};
        WriteDataRecord(record, data_type, &kAddress, data);
        static constexpr std::uint8_t kCode[] = {0, 0};
        Up(BuildFrame(kKey, type, type == MsgType::kFunctionReply ? ConstBytes(kCode) : ConstBytes(), plain));
    }

  private:
    std::vector<std::pair<std::string, Json>> expected_;
};

TEST_F(RecordsTest, Commands) {
    for (const CommandForm& form : CommandForms()) {
        const AnswerLayout layout{Shape::kRecord, form.parameters};
        const ByteVector parameters = PayloadOf(layout);
        Down(BuildCommand(kKey, form.id, parameters, {}, 1));
        Expect(form.name, DecodeLayout(layout, parameters)["fields"]);
    }
}

TEST_F(RecordsTest, Answers) {
    for (const CommandForm& form : CommandForms()) {
        const ByteVector payload = PayloadOf(form.answer);
        Answer(MsgType::kFunctionReply, 0, form.id, payload);
        Expect(form.name, DecodeLayout(form.answer, payload)["fields"]);
    }
}

TEST_F(RecordsTest, Reports) {
    for (const ReportForm& form : ReportForms()) {
        if (!form.binary) continue;
        const ByteVector payload = PayloadOf(form.answer);
        const Json read = DecodeLayout(form.answer, payload)["fields"];
        Answer(MsgType::kAddressedReport, form.id, form.id, payload);
        Expect(form.name, read);
        if (form.id != 62) continue;  // the one that comes as a reply
        Answer(MsgType::kFunctionReply, 0, form.id, payload);
        Expect(form.name, read);
    }
}

TEST_F(RecordsTest, LocalSocket) {
    for (const CommandForm& form : LocalRequests()) {
        const AnswerLayout layout{Shape::kRecord, form.parameters};
        const ByteVector request = PayloadOf(layout);
        LocalUp(LocalFrame(form.id, 1, request));
        Expect(form.name, DecodeLayout(layout, request)["fields"]);
        if (form.answer.shape == Shape::kNoAnswer) continue;
        const ByteVector answer = PayloadOf(form.answer);
        LocalDown(LocalFrame(form.id, 2, Join({ByteVector{0}, answer})));
        Expect(form.name, DecodeLayout(form.answer, answer)["fields"]);
    }
    for (const CommandForm& form : LocalReports()) {
        const AnswerLayout layout{Shape::kRecord, form.parameters};
        const ByteVector payload = PayloadOf(layout);
        LocalDown(LocalFrame(form.id, 3, payload));
        Expect(form.name, DecodeLayout(layout, payload)["fields"]);
    }
    const std::vector<ReportedDevice> devices = {{{1, 2, 3, 4, 5, 6}, "tablet", true}, {{7}, "phone", false}};
    LocalDown(LocalFrame(40, 4, DevicesPayload(devices)));
    Expect("devices", DecodeLayout(Find(ReportForms(), 40)->answer, DevicesPayload(devices))["fields"]);
}

}  // namespace
}  // namespace plug::dissector
