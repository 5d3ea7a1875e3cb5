// Every function-ID command: its number and name, what it takes and what its answer holds. One row a command.
// The same for reports, and for what goes over the local socket.
#pragma once

#include "bench/layout.h"

namespace plug::bench {

/// What follows the echo and the result in an answer.
enum class Shape : std::uint8_t {
    kNothing,
    kRecord,  // the fields
    kList,    // u16 count, then that many records of the fields
    kPorts,   // u16 count, then that many down counters (u64), then as many up counters
    kRadios,  // u16 count of radios, then for each a u16 count of SSIDs and that many records of the fields
    kLinkStates,  // u16 count and states of the LAN ports, the same of the WANs, then four Wi-Fi modules
    kNoAnswer,    // the command is never answered
};

struct AnswerLayout {
    Shape shape = Shape::kNothing;
    Fields fields{};
};

struct CommandForm {
    std::uint16_t id;
    const char* name;
    const char* help;
    const char* topic = "";
    Fields parameters{};
    AnswerLayout answer{};
    /// A command whose answer is laid out like these parameters: those not given are taken from it.
    std::uint16_t read_first = 0;
    int answer_seconds = 15;  // how long an answer may take
};

/// What is sent unasked: reports by DataType, and answer-shaped replies by function ID.
struct ReportForm {
    std::uint8_t id;
    const char* name;
    bool binary = false;  // in the shape of an answer; else text
    AnswerLayout answer{};
    bool sequenced = false;  // its first word counts the reports
};

std::span<const CommandForm> CommandForms();
std::span<const ReportForm> ReportForms();
/// What the agent asks of the local peer: the request's payload is the parameters, the reply's data behind
/// its result byte the answer.
std::span<const CommandForm> LocalRequests();
/// What the local peer sends unasked; its payload is the parameters.
std::span<const CommandForm> LocalReports();

/// The one of these forms with that name or number; nullptr when there is none.
template <class Form>
const Form* Find(std::span<const Form> forms, std::string_view name_or_id) {
    const auto found = std::ranges::find_if(forms, [name_or_id](const Form& form) {
        return form.name == name_or_id || std::to_string(form.id) == name_or_id;
    });
    return found == forms.end() ? nullptr : &*found;
}
template <class Form>
const Form* Find(std::span<const Form> forms, std::uint16_t id) {
    const auto found = std::ranges::find(forms, id, &Form::id);
    return found == forms.end() ? nullptr : &*found;
}

}  // namespace plug::bench
