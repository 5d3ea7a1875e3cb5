#include "bench/form_text.h"

#include "bench/text.h"

namespace plug::bench {
namespace {

std::string FieldLines(Fields fields) {
    const std::vector<FieldText> texts = FieldTexts(fields);
    std::size_t width = 0;
    for (const FieldText& field : texts) width = std::max(width, field.name.size());
    std::string lines;
    for (const FieldText& field : texts)
        lines += "    " + field.name + std::string(width + 2 - field.name.size(), ' ') + field.values + "\n";
    return lines;
}

}  // namespace

std::vector<FieldText> FieldTexts(Fields fields) {
    std::vector<FieldText> texts;
    for (const Field& field : fields)
        if (field.kind != FieldKind::kSkip) texts.push_back({field.name, ValueMeaning(field)});
    return texts;
}

std::string AnswerShape(const AnswerLayout& answer) {
    switch (answer.shape) {
        case Shape::kNothing:
            return "its result alone";
        case Shape::kRecord:
            return "one record";
        case Shape::kList:
            return "count and entries, each with";
        case Shape::kPorts:
            return "count and ports, each with down and up in bytes";
        case Shape::kRadios:
            return "radios (how many) and ssids, each with its radio and";
        case Shape::kLinkStates:
            return "lan_ports, wans and wifi_modules: the state of each";
        case Shape::kNoAnswer:
            return "none";
    }
    return "";
}

std::string FormLines(const CommandForm& form) {
    std::string lines;
    if (!form.parameters.empty())
        lines += "  takes, in this order or as name=value:\n" + FieldLines(form.parameters);
    lines += "  answer: " + AnswerShape(form.answer) + "\n" + FieldLines(form.answer.fields);
    return lines;
}

}  // namespace plug::bench
