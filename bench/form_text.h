// Rows of the command table as text for people: what a command takes and what its answer holds.
#pragma once

#include "bench/command_table.h"

namespace plug::bench {

/// A field as a reader needs it: its name, and its values with their unit.
struct FieldText {
    std::string name;
    std::string values;
};
std::vector<FieldText> FieldTexts(Fields fields);

/// What the answer holds, in words, but for the fields of its layout: "a record", "a list of records".
std::string AnswerShape(const AnswerLayout& answer);

/// Parameters and answer, one line each, for a screen.
std::string FormLines(const CommandForm& form);

}  // namespace plug::bench
