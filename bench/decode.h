// Commands into bytes and answers into JSON, by the rows of the command table.
#pragma once

#include "bench/command_table.h"

namespace plug::bench {

/// Parameters as written: "name=value" in any order, or values in the order of the row. Throws
/// std::invalid_argument when one is missing, unknown or does not fit.
///
/// `base` is the payload of the row's read_first answer, which then gives what is not written; without a base
/// everything must be written.
ByteVector EncodeParameters(const CommandForm& form, const std::vector<std::string>& words,
                            ConstBytes base = {});
/// The parameters of the read_first row: the leading fields that both have.
ByteVector EncodeBaseParameters(const CommandForm& form, const std::vector<std::string>& words);
/// "index=0..65535 on=on|off"
std::string ParameterForm(const CommandForm& form);

/// {"answer": name, "id": .., "code": .., "result": .., "fields": {..}}, with "error" when the command failed
/// and "warning" when the payload is shorter or longer than its layout.
Json DecodeAnswer(const CommandForm& form, const LinkEvent& event);
/// Any event as an object that begins {"event": kind, "mac": ..}; reports and unasked replies with their data
/// decoded.
Json DecodeEvent(const LinkEvent& event);
/// A payload laid out as the row's parameters: {"fields": {..}}; without a layout also {"text": ..} or
/// {"bytes": ..}.
Json DecodePayload(const CommandForm& form, ConstBytes payload);
/// A payload laid out as an answer: {"fields": {..}}, with "warning" as in DecodeAnswer.
Json DecodeLayout(const AnswerLayout& layout, ConstBytes payload);
/// Data of any kind: {"fields": ..}, {"text": ..}, {"bytes": ..} or nothing.
Json DecodeData(ConstBytes data);
/// What the row's answer holds, from its written values; of a list, one word an entry.
ByteVector EncodeAnswer(const CommandForm& form, const std::vector<std::string>& words);
/// The payload behind the echo and the result of an answer; empty when it failed.
ConstBytes Payload(const LinkEvent& event);

}  // namespace plug::bench
