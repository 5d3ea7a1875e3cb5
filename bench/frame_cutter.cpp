#include "bench/frame_cutter.h"

namespace plug::bench {
namespace {

std::optional<Piece> Next(const Wire& wire, bool from_agent, ConstBytes stream) {
    if (wire.socket == Socket::kPlatform) return FirstPiece(stream);
    const auto piece = FirstLocalPiece(stream);
    // The agent takes what one read yields as one frame, so nothing more belongs to it.
    return from_agent || stream.empty() || piece ? piece : Piece{stream.size()};
}

}  // namespace

std::vector<PassedFrame> FrameCutter::Note(const Passed& passed) {
    std::vector<PassedFrame> frames;
    const auto add = [&](bool from_agent, ByteVector bytes, const std::string& note) {
        frames.push_back(
            {std::chrono::system_clock::now(), passed.wire, passed.mac, from_agent, std::move(bytes), note});
    };
    const bool from_agent = passed.kind == Passage::kFromAgent;
    if (from_agent || passed.kind == Passage::kToAgent) {
        ByteVector& stream = streams_[{passed.wire.socket, passed.wire.number, from_agent}];
        stream.insert(stream.end(), passed.bytes.begin(), passed.bytes.end());
        while (const auto piece = Next(passed.wire, from_agent, stream)) {
            const auto end = stream.begin() + static_cast<std::ptrdiff_t>(piece->size);
            add(from_agent, {stream.begin(), end}, piece->note);
            stream.erase(stream.begin(), end);
        }
    } else if (passed.kind == Passage::kClosed) {
        for (const bool direction : {true, false})
            if (auto left = streams_.extract({passed.wire.socket, passed.wire.number, direction});
                left && !left.mapped().empty())
                add(direction, std::move(left.mapped()), "the connection ended inside a frame");
    }
    return frames;
}

Json Decode(const CipherKey& key, const PassedFrame& frame) {
    if (!frame.note.empty())
        return {{"message", "bytes"}, {"note", frame.note}, {"bytes", ToHex(frame.bytes)}};
    return frame.wire.socket == Socket::kPlatform ? DecodeFrame(key, frame.from_agent, frame.bytes)
                                                  : DecodeLocalFrame(frame.from_agent, frame.bytes);
}

}  // namespace plug::bench
