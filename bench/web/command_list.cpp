#include "bench/web/command_list.h"

#include "bench/command_table.h"

namespace plug::bench {
namespace {

const char* KindOf(FieldKind kind) {
    switch (kind) {
        case FieldKind::kU8:
        case FieldKind::kU16:
        case FieldKind::kU32:
        case FieldKind::kI32:
        case FieldKind::kU64:
            return "number";
        case FieldKind::kSwitch:
            return "switch";
        case FieldKind::kMac:
            return "mac";
        case FieldKind::kIp:
        case FieldKind::kHostIp:
            return "ip";
        case FieldKind::kRaw:
            return "hex";
        case FieldKind::kRest:
        case FieldKind::kCountedText:
        case FieldKind::kCountedRaw:
            return "long";
        default:
            return "text";
    }
}

/// The largest number or the most characters; null when there is no such bound.
Json MostOf(const Field& field) {
    switch (field.kind) {
        case FieldKind::kU8:
            return 0xFF;
        case FieldKind::kU16:
            return 0xFFFF;
        case FieldKind::kU32:
            return 0xFFFFFFFFU;
        case FieldKind::kI32:
            return 0x7FFFFFFF;
        case FieldKind::kText:
            return field.size;
        case FieldKind::kRaw:
            return 2 * field.size;
        default:
            return nullptr;
    }
}

/// `needed`: of the first so many, others may be left out.
Json Parameters(Fields fields, std::size_t needed) {
    Json parameters = Json::array();
    for (const Field& field : fields) {
        if (field.kind == FieldKind::kSkip) continue;
        parameters.push_back({{"name", field.name},
                              {"kind", KindOf(field.kind)},
                              {"form", ValueForm(field)},
                              {"most", MostOf(field)},
                              {"optional", parameters.size() >= needed}});
    }
    return parameters;
}

/// Of a command that first reads what it sets, only what the reading takes must be given.
std::size_t Needed(const CommandForm& form) {
    return form.read_first == 0 ? form.parameters.size()
                                : Find(CommandForms(), form.read_first)->parameters.size();
}

Json Command(const ConsoleCommand& command) {
    Json shown = {{"name", command.name},         {"usage", command.usage},
                  {"help", command.help},         {"group", command.topic},
                  {"at_least", command.at_least}, {"completions", command.completions}};
    const CommandForm* const form = Find(CommandForms(), command.name);
    if (form == nullptr) return shown;
    shown["id"] = form->id;
    shown["parameters"] = Parameters(form->parameters, Needed(*form));
    return shown;
}

Json Local(std::span<const CommandForm> forms, bool answers) {
    Json list = Json::array();
    for (const CommandForm& form : forms) {
        const Fields fields = answers ? form.answer.fields : form.parameters;
        list.push_back({{"id", form.id},
                        {"name", form.name},
                        {"help", form.help},
                        {"parameters", Parameters(fields, form.id == 81 ? 0 : fields.size())}});
    }
    return list;
}

}  // namespace

Json CommandList(const Interpreter& interpreter) {
    Json commands = Json::array();
    for (const auto& [name, command] : interpreter.commands()) commands.push_back(Command(command));
    return {{"commands", commands},
            {"requests", Local(LocalRequests(), true)},
            {"reports", Local(LocalReports(), false)}};
}

}  // namespace plug::bench
