#include "bench/frame_watch.h"

#include <ctime>

#include "bench/frame_decode.h"
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

void FrameWatch::Attach(Interpreter& interpreter) {
    interpreter.AddNews([this] { return notice_.descriptor(); },
                        [this, &output = interpreter.output()] {
                            notice_.Clear();
                            std::deque<Seen> seen;
                            {
                                const std::lock_guard guard(mutex_);
                                seen.swap(seen_);
                            }
                            for (const Seen& one : seen) Show(one, output);
                        });
}

void FrameWatch::Note(const Passed& passed) {
    const std::lock_guard guard(mutex_);
    const bool from_agent = passed.kind == Passage::kFromAgent;
    switch (passed.kind) {
        case Passage::kOpened:
            break;
        case Passage::kFromAgent:
        case Passage::kToAgent: {
            ByteVector& stream = streams_[{passed.wire.socket, passed.wire.number, from_agent}];
            stream.insert(stream.end(), passed.bytes.begin(), passed.bytes.end());
            Cut(passed.wire, from_agent, stream);
            break;
        }
        case Passage::kClosed:
            for (const bool direction : {true, false}) {
                const auto left = streams_.extract({passed.wire.socket, passed.wire.number, direction});
                if (left && !left.mapped().empty())
                    Add(passed.wire, direction, left.mapped(), "the connection ended inside a frame");
            }
            break;
    }
}

void FrameWatch::Cut(const Wire& wire, bool from_agent, ByteVector& stream) {
    const auto next = [&]() -> std::optional<Piece> {
        if (wire.socket == Socket::kPlatform) return FirstPiece(stream);
        const auto piece = FirstLocalPiece(stream);
        // The agent takes what one read yields as one frame, so nothing more belongs to it.
        return from_agent || stream.empty() || piece ? piece : Piece{stream.size()};
    };
    while (const auto piece = next()) {
        Add(wire, from_agent, ConstBytes(stream).first(piece->size), piece->note);
        stream.erase(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(piece->size));
    }
}

void FrameWatch::Add(const Wire& wire, bool from_agent, ConstBytes bytes, std::string note) {
    seen_.push_back({std::chrono::system_clock::now(), wire, from_agent, Join({bytes}), std::move(note)});
    notice_.Set();
}

void FrameWatch::Show(const Seen& seen, Output& output) const {
    const bool platform = seen.wire.socket == Socket::kPlatform;
    Json decoded = {{"message", "bytes"}, {"note", seen.note}, {"bytes", ToHex(seen.bytes)}};
    if (seen.note.empty())
        decoded = platform ? DecodeFrame(key_, seen.from_agent, seen.bytes)
                           : DecodeLocalFrame(seen.from_agent, seen.bytes);
    const std::string time = TimeText(seen.time);
    const char* const other = platform ? "platform" : "local peer";
    const std::string way =
        seen.from_agent ? std::string("agent -> ") + other : other + std::string(" -> agent");
    Json shown = {{"frame", seen.from_agent ? "from agent" : "to agent"},
                  {"socket", platform ? "platform" : "local"},
                  {"link", seen.wire.number},
                  {"time", time},
                  {"size", seen.bytes.size()}};
    shown.update(decoded);
    std::string text = time + "  " + way + Format(" #%d  ", seen.wire.number) + Headline(decoded);
    for (const char* const key : {"text", "bytes"})
        if (decoded.contains(key)) text += "\n    " + Inline(decoded[key]);
    if (decoded.contains("fields") && !decoded["fields"].empty()) text += "\n" + Lines(decoded["fields"]);
    output.Show(shown, text);
}

}  // namespace plug::bench
