#include "bench/event_log.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <system_error>

namespace plug::bench {

const char* Name(EventKind kind) {
    switch (kind) {
        case EventKind::kConnected:
            return "connected";
        case EventKind::kRegister:
            return "register";
        case EventKind::kLogin:
            return "login";
        case EventKind::kHeartbeat:
            return "heartbeat";
        case EventKind::kReport:
            return "report";
        case EventKind::kReply:
            return "reply";
        case EventKind::kBadFrame:
            return "bad-frame";
        case EventKind::kClosed:
            return "closed";
    }
    return "unknown";
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

EventLog::EventLog() : notice_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (notice_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

EventLog::~EventLog() {
    close(notice_);
}

void EventLog::Append(LinkEvent event) {
    event.time = std::chrono::steady_clock::now();
    event.wall_time = std::chrono::system_clock::now();
    {
        const std::lock_guard guard(mutex_);
        event.number = events_.size();
        events_.push_back(std::move(event));
    }
    appended_.notify_all();
    eventfd_write(notice_, 1);
}

std::uint64_t EventLog::size() const {
    const std::lock_guard guard(mutex_);
    return events_.size();
}

std::optional<LinkEvent> EventLog::At(std::uint64_t number,
                                      std::chrono::steady_clock::time_point deadline) const {
    std::unique_lock lock(mutex_);
    if (!appended_.wait_until(lock, deadline, [&] { return events_.size() > number; })) return {};
    return events_[number];
}

void EventLog::ClearNotice() const {
    eventfd_t count;
    eventfd_read(notice_, &count);
}

std::optional<LinkEvent> Cursor::Next(Milliseconds timeout) {
    auto event = log_->At(next_, std::chrono::steady_clock::now() + timeout);
    if (event) ++next_;
    return event;
}

std::optional<LinkEvent> Cursor::WaitFor(const EventMatch& matches, Milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (auto event = log_->At(next_, deadline)) {
        ++next_;
        if (matches(*event)) return event;
    }
    return {};
}

}  // namespace plug::bench
