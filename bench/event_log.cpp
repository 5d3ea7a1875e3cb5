#include "bench/event_log.h"

namespace plug::bench {

const char* Name(EventKind kind) {
    static constexpr const char* kNames[] = {"connected", "register", "login",     "heartbeat",
                                             "report",    "reply",    "bad-frame", "closed"};
    return kNames[static_cast<std::size_t>(kind)];
}

const char* Name(Server server) {
    return server == Server::kRegistration ? "registration" : "login";
}

bool LinkEvent::has_echo() const {
    return data.size() >= 6 && text() != "parser error" && text() != "length error" && text() != "mem error";
}

EventMatch IsKind(EventKind kind) {
    return [kind](const LinkEvent& event) { return event.kind == kind; };
}

EventMatch IsReport(std::uint8_t data_type) {
    return [data_type](const LinkEvent& event) {
        return event.kind == EventKind::kReport && event.data_type == data_type;
    };
}

EventMatch IsAnswer(std::uint16_t function_id) {
    return [function_id](const LinkEvent& event) {
        return event.kind == EventKind::kReply && event.function_id() == function_id;
    };
}

EventMatch IsAnswerTo(const MacAddress& agent, std::uint16_t function_id, std::uint16_t head) {
    return [=](const LinkEvent& event) {
        if (event.kind != EventKind::kReply || event.mac != agent) return false;
        if (event.header.type() != MsgType::kFunctionReply) return false;
        return !event.has_echo() || (event.Word(0) == head && event.function_id() == function_id);
    };
}

EventMatch IsPlugReply(const MacAddress& agent) {
    return [=](const LinkEvent& event) {
        return event.kind == EventKind::kReply && event.mac == agent &&
               event.header.type() == MsgType::kPlugReply;
    };
}

}  // namespace plug::bench
