#include "bench/dissector.h"

#include "bench/capture.h"
#include "bench/message_table.h"
#include "dissector_core.h"

namespace plug::bench {
namespace {

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        const auto byte = static_cast<std::uint8_t>(character);
        if (character == '"' || character == '\\')
            quoted += std::string("\\") + character;
        else if (byte < ' ' || byte > '~')
            quoted += "\\x" + ToHex({&byte, 1});
        else
            quoted += character;
    }
    return quoted + "\"";
}

const char* Name(FieldKind kind) {
    static constexpr const char* kNames[] = {
        "u8",   "u16",  "u32", "i32",  "u64",  "switch",     "mac",          "ip",         "host_ip",
        "date", "text", "raw", "skip", "rest", "short_text", "counted_text", "counted_raw"};
    static_assert(std::size(kNames) == static_cast<std::size_t>(FieldKind::kCountedRaw) + 1);
    return kNames[static_cast<std::size_t>(kind)];
}

const char* Name(Shape shape) {
    static constexpr const char* kNames[] = {"nothing", "record",      "list",     "ports",
                                             "radios",  "link_states", "no_answer"};
    static_assert(std::size(kNames) == static_cast<std::size_t>(Shape::kNoAnswer) + 1);
    return kNames[static_cast<std::size_t>(shape)];
}

const char* Name(BodyForm form) {
    static constexpr const char* kNames[] = {"fields", "record", "addressed"};
    static_assert(std::size(kNames) == static_cast<std::size_t>(BodyForm::kAddressed) + 1);
    return kNames[static_cast<std::size_t>(form)];
}

/// {{"index", "u16"}, {"name", "text", 16}}
std::string Layout(Fields fields) {
    std::string text;
    for (const Field& field : fields) {
        text += (text.empty() ? "{" : ", {") + Quoted(field.name) + ", " + Quoted(Name(field.kind));
        if (field.size > 0) text += ", " + std::to_string(field.size);
        text += "}";
    }
    return "{" + text + "}";
}

std::string Answer(const AnswerLayout& answer) {
    return std::string("{shape = ") + Quoted(Name(answer.shape)) + ", fields = " + Layout(answer.fields) +
           "}";
}

std::string Row(unsigned id, const char* name, const std::string& rest) {
    return "  [" + std::to_string(id) + "] = {name = " + Quoted(name) + rest + "},\n";
}

std::string Table(const char* name, const std::string& rows) {
    return std::string("local ") + name + " = {\n" + rows + "}\n\n";
}

std::string Commands(std::span<const CommandForm> forms) {
    std::string rows;
    for (const CommandForm& form : forms)
        rows += Row(form.id, form.name,
                    ", parameters = " + Layout(form.parameters) + ", answer = " + Answer(form.answer));
    return rows;
}

std::string Reports() {
    std::string rows;
    for (const ReportForm& form : ReportForms())
        rows += Row(form.id, form.name,
                    std::string(", binary = ") + (form.binary ? "true" : "false") +
                        ", answer = " + Answer(form.answer));
    return rows;
}

std::string Messages() {
    std::string rows;
    for (const MessageForm& form : MessageForms())
        rows += "  {type = " + std::to_string(static_cast<int>(form.type)) + ", name = " + Quoted(form.name) +
                ", head = " + Layout(form.head) + ", form = " + Quoted(Name(form.body_form)) +
                ", body = " + Layout(form.body) + ", least = " + std::to_string(LeastSize(form.body)) +
                "},\n";
    return rows;
}

std::string PlugData() {
    std::string rows;
    for (const PlugDataForm& form : PlugDataForms()) rows += Row(form.id, form.name, "");
    return rows;
}

}  // namespace

std::string Dissector(const std::string& key, const std::vector<std::uint16_t>& ports) {
    std::string port_list;
    for (const std::uint16_t port : ports) port_list += (port_list.empty() ? "" : ",") + std::to_string(port);
    return "-- Wireshark's dissector of the plug-in agent's links. Made by \"plug-bench dissector\".\n\n"
           "local initial_key = " +
           Quoted(key) + "\nlocal initial_ports = " + Quoted(port_list) +
           "\nlocal initial_local_port = " + std::to_string(kLocalPort) +
           "\nlocal longest_frame = " + std::to_string(kMaxFrameSize) + "\n\n" +
           Table("messages", Messages()) + Table("functions", Commands(CommandForms())) +
           Table("reports", Reports()) + Table("plug_data", PlugData()) +
           Table("local_requests", Commands(LocalRequests())) +
           Table("local_reports", Commands(LocalReports())) + kDissectorCore;
}

}  // namespace plug::bench
