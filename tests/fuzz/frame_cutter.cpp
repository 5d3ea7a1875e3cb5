// The stream of the platform, cut into frames: however it comes in pieces, the frames are the same.
#include "fuzz/surroundings.h"
#include "platform/tcp_queue.h"

namespace plug::test {
namespace {

using Frames = std::vector<std::vector<std::uint8_t>>;

constinit ReceiveQueue queue;
constinit InboundFrame frame;

void TakeFrames(Frames& frames) {
    while (queue.Pop(frame) == 0) {
        Require(frame.header.frame_size() <= kMaxFrameSize);
        Require(frame.head().size() + frame.body().size() + kFrameHeaderSize == frame.header.frame_size());
        Require(ByteReader(frame.bytes).U16() == kFrameMagic);
        if (frame.body().size() >= 2) Require(ByteReader(frame.body()).U16() == frame.body_lead_word);
        frames.push_back(Exact(ConstBytes(frame.bytes).first(frame.header.frame_size())));
    }
}

Frames Cut(ConstBytes stream, std::size_t piece) {
    Frames frames;
    queue.Reset();
    while (!stream.empty()) {
        const std::size_t size = std::min(piece, stream.size());
        Require(queue.Push(Exact(stream.first(size))) == 0);
        stream = stream.subspan(size);
        TakeFrames(frames);
    }
    return frames;
}

}  // namespace

void Look(ByteReader input) {
    const std::size_t piece = std::size_t{1} + input.U8();
    Require(Cut(input.rest(), piece) == Cut(input.rest(), input.rest().size()));
}

}  // namespace plug::test
