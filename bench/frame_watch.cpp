#include "bench/frame_watch.h"

#include <ctime>

#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

using TimePoint = std::chrono::system_clock::time_point;

std::string TimeText(TimePoint time) {
    const auto since_1970 = std::chrono::floor<Milliseconds>(time.time_since_epoch()).count();
    return ClockText(time) + Format(".%03d", static_cast<int>(since_1970 % 1000));
}

/// "function reply 3 wan-config, code 0, result 0": what stands on the frame's first line.
std::string Headline(const Json& frame) {
    std::string line = frame.value("message", "");
    for (const char* const key : {"id", "name"})
        if (frame.contains(key)) line += " " + Inline(frame[key]);
    for (const auto& [key, value] : frame.items()) {
        if (key == "message" || key == "id" || key == "name" || key == "note" || value.is_structured())
            continue;
        if (key != "bytes" && key != "text") line += ", " + key + " " + Inline(value);
    }
    if (frame.contains("note")) line += "  (" + frame.value("note", "") + ")";
    return line;
}

}  // namespace

void FrameWatch::Attach(Interpreter& interpreter, Output& output) {
    interpreter.AddNews([this] { return notice_.descriptor(); },
                        [this, &output] {
                            notice_.Clear();
                            std::deque<PassedFrame> passed;
                            {
                                const std::lock_guard guard(mutex_);
                                passed.swap(passed_);
                            }
                            for (const PassedFrame& frame : passed) Show(frame, output);
                        });
}

void FrameWatch::Note(const Passed& passed) {
    const std::lock_guard guard(mutex_);
    for (PassedFrame& frame : cutter_.Note(passed)) {
        passed_.push_back(std::move(frame));
        notice_.Set();
    }
}

void FrameWatch::Show(const PassedFrame& frame, Output& output) const {
    const bool platform = frame.wire.socket == Socket::kPlatform;
    const Json decoded = Decode(key_, frame);
    const std::string time = TimeText(frame.time);
    const char* const other = platform ? "platform" : "local peer";
    const std::string way =
        frame.from_agent ? std::string("agent -> ") + other : other + std::string(" -> agent");
    Json shown = {{"frame", frame.from_agent ? "from agent" : "to agent"},
                  {"socket", platform ? "platform" : "local"},
                  {"link", frame.wire.number},
                  {"time", time},
                  {"size", frame.bytes.size()}};
    shown.update(decoded);
    std::string text = time + "  " + way + Format(" #%d  ", frame.wire.number) + Headline(decoded);
    for (const char* const key : {"text", "bytes"})
        if (decoded.contains(key)) text += "\n    " + Inline(decoded[key]);
    if (decoded.contains("fields") && !decoded["fields"].empty()) text += "\n" + Lines(decoded["fields"]);
    output.Show(shown, text);
}

}  // namespace plug::bench
