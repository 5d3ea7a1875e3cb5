#include "bench/platform_commands.h"

namespace plug::bench {
namespace {

void Exchange(Dialog& dialog, const Invocation& words) {
    dialog.Exchange({dialog.Parse(words)});
}

void SendBytes(Dialog& dialog, const Invocation& words) {
    Dialog::Require(dialog.platform().SendBytes(dialog.Agent(), ParseHex(words.RestFrom(1))));
}

constexpr DialogCommand kRawCommands[] = {
    {"call", "<id> [<hex>]", "any function ID with raw parameters; the answer is shown as bytes", 1,
     Exchange},
    {"raw", "<hex>", "bytes as they are", 1, SendBytes},
};

}  // namespace

void AddFunctionCommands(Dialog& dialog) {
    for (const CommandForm& form : CommandForms()) {
        std::vector<std::string> completions;
        for (const Field& field : form.parameters)
            if (field.kind != FieldKind::kSkip) completions.push_back(std::string(field.name) + "=");
        std::string help = form.help;
        if (form.read_first != 0)
            help +=
                "; what is not given stays as " + std::string(Find(CommandForms(), form.read_first)->name);
        dialog.interpreter().Add({form.name, ParameterForm(form), help, "function commands", 0,
                                  [&dialog](const Invocation& words) { Exchange(dialog, words); },
                                  completions, std::to_string(form.id)});
    }
    dialog.interpreter().AddTopic("raw", dialog, kRawCommands);
}

}  // namespace plug::bench
