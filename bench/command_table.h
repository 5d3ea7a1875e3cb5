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
    Fields parameters{};
    AnswerLayout answer{};
    /// A command whose answer is laid out like these parameters: those not given are taken from it.
    std::uint16_t read_first = 0;
    int answer_seconds = 15;  // how long an answer may take
};

std::span<const CommandForm> CommandForms();
const CommandForm* FindCommand(std::string_view name_or_id);
const CommandForm* FindCommand(std::uint16_t id);

/// What is sent unasked: reports by DataType, and answer-shaped replies by function ID.
struct ReportForm {
    std::uint8_t number;
    const char* name;
    bool binary = false;  // in the shape of an answer; else text
    AnswerLayout answer{};
    bool sequenced = false;  // its first word counts the reports
};
const ReportForm* FindReport(std::string_view name_or_number);
const ReportForm* FindReport(std::uint16_t number);

/// What the agent asks of the local mesh/Wi-Fi agent: the request's payload is the parameters, the reply's
/// data behind its result byte the answer.
std::span<const CommandForm> LocalRequests();
const CommandForm* FindLocalRequest(std::string_view name_or_id);
const CommandForm* FindLocalRequest(std::uint16_t id);
/// What that one sends unasked; its payload is the parameters.
std::span<const CommandForm> LocalReports();
const CommandForm* FindLocalReport(std::string_view name_or_id);

}  // namespace plug::bench
