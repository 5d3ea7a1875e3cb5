#include "bench/form_text.h"
#include "bench/platform_commands.h"

namespace plug::bench {
namespace {

void Exchange(Dialog& dialog, const Invocation& words) {
    dialog.Exchange({dialog.Parse(words)});
}

void SendBytes(Dialog& dialog, const Invocation& words) {
    Dialog::Require(dialog.platform().SendBytes(dialog.Agent(), ParseHex(words.RestFrom(1))));
}

/// The parameters by name, with the values of those that have few.
std::vector<std::string> Completions(const CommandForm& form) {
    std::vector<std::string> completions;
    for (const Field& field : form.parameters) {
        const std::string name = std::string(field.name) + "=";
        if (field.kind == FieldKind::kSwitch)
            completions.insert(completions.end(), {name + "on", name + "off", "on", "off"});
        else if (field.kind == FieldKind::kMac)
            completions.insert(completions.end(), {name + kAnyMac.data(), kAnyMac.data()});
        else if (field.kind != FieldKind::kSkip)
            completions.push_back(name);
    }
    return completions;
}

constexpr DialogCommand kRawCommands[] = {
    {"call", "<id> [<hex>]", "any function ID with raw parameters; the answer is shown as bytes", 1,
     Exchange},
    {"raw", "<hex>", "bytes as they are", 1, SendBytes},
};

}  // namespace

void AddFunctionCommands(Dialog& dialog) {
    for (const CommandForm& form : CommandForms()) {
        std::string help = form.help;
        if (form.read_first != 0)
            help +=
                "; what is not given stays as " + std::string(Find(CommandForms(), form.read_first)->name);
        dialog.interpreter().Add({form.name, ParameterForm(form), help, form.topic, 0,
                                  [&dialog](const Invocation& words) { Exchange(dialog, words); },
                                  Completions(form), std::to_string(form.id), FormLines(form)});
    }
    dialog.interpreter().AddTopic("bytes", dialog, kRawCommands);
}

}  // namespace plug::bench
