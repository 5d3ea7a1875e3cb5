// Frames of the platform with a right checksum, or with one damaged byte: whatever their type, head and body.
#include "platform/inbound.h"
#include "bench/frames.h"
#include "commands/diagnostics.h"
#include "fuzz/surroundings.h"
#include "platform/link_state.h"

namespace plug::test {
namespace {

constinit InboundFrame frame;

}  // namespace

void Look(ByteReader input) {
    const auto type = static_cast<MsgType>(input.U8() & 0x1F);
    const std::uint8_t state = input.U8();
    const std::size_t damaged = input.U16();
    if (type == MsgType::kForcedDisconnect) return;  // would end the process
    const ConstBytes head = input.Take(input.U8());
    if (head.size() + input.rest().size() > 8000) return;
    std::vector<std::uint8_t> bytes =
        bench::BuildFrame(bench::MakeKey(kKey), type, head, Exact(input.rest()));
    // Behind the lengths, which the cutter has already read.
    if (damaged > kFrameHeaderSize && damaged < bytes.size()) bytes[damaged] ^= 1;

    frame.header = ReadFrameHeader(bytes);
    std::copy(bytes.begin(), bytes.end(), frame.bytes.begin());
    frame.body_lead_word = ByteReader(frame.body()).U16();
    SetRegistered((state & 1) != 0);
    SetLoggedIn((state & 2) != 0);
    CBHandle(frame);
    StopDiagnostics();
}

}  // namespace plug::test
