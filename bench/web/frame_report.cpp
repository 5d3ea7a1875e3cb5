#include "bench/web/frame_report.h"

#include "bench/sockets.h"

namespace plug::bench {
namespace {

Json Head(const Wire& wire, bool from_agent, std::chrono::system_clock::time_point time) {
    return {{"side", wire.socket == Socket::kPlatform ? "platform" : "peer"},
            {"way", from_agent ? "up" : "down"},
            {"link", wire.number},
            // Since 1970, with the microseconds, which tell the frames of one exchange apart.
            {"time", std::chrono::duration<double, std::milli>(time.time_since_epoch()).count()}};
}

Json ReportOfConnection(const Passed& passed) {
    const bool opened = passed.kind == Passage::kOpened;
    Json report = Head(passed.wire, opened || passed.by_agent, std::chrono::system_clock::now());
    const bool platform = passed.wire.socket == Socket::kPlatform;
    // The agent connects to the platform, and is connected to by the local peer.
    if (opened && !platform) report["way"] = "down";
    report["kind"] = opened ? "connected" : "closed";
    if (!AllZero(passed.mac)) report["mac"] = MacText(passed.mac);
    if (opened && platform)
        report["decoded"] = {{"from", AddressText(passed.wire.agent)},
                             {"to", AddressText(passed.wire.bench)}};
    if (!opened)
        report["note"] = std::string("closed by the ") +
                         (passed.by_agent ? "agent"
                          : platform      ? "platform"
                                          : "peer") +
                         (passed.reset ? " with a reset" : "");
    return report;
}

}  // namespace

void FrameReport::Note(const Passed& passed) {
    const std::lock_guard guard(mutex_);
    for (const PassedFrame& frame : cutter_.Note(passed)) feed_.Tell("frame", Report(frame));
    if (passed.kind == Passage::kOpened || passed.kind == Passage::kClosed)
        feed_.Tell("frame", ReportOfConnection(passed));
}

Json FrameReport::Report(const PassedFrame& frame) const {
    Json report = Head(frame.wire, frame.from_agent, frame.time);
    Json decoded = Decode(key_, frame);
    // That of a registration is the first to tell it.
    if (!AllZero(frame.mac))
        report["mac"] = MacText(frame.mac);
    else if (decoded.contains("mac"))
        report["mac"] = decoded["mac"];
    report["kind"] = decoded["message"];
    for (const char* const key : {"id", "name", "note"})
        if (decoded.contains(key)) report[key] = decoded[key];
    for (const char* const key : {"message", "id", "name", "note", "bytes"}) decoded.erase(key);
    if (!decoded.empty()) report["decoded"] = std::move(decoded);
    report["hex"] = ToHex(frame.bytes);
    return report;
}

}  // namespace plug::bench
