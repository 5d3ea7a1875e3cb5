// Frames of the local peer, sound or with one wrong byte anywhere. They pass the ring in between.
#include "commserver/comm_dispatch.h"
#include "commserver/comm_frame.h"
#include "commserver/comm_queue.h"
#include "commserver/comm_reply.h"
#include "fakes/clock.h"
#include "fuzz/surroundings.h"
#include "subdev/function40.h"

namespace plug::test {
namespace {

constexpr std::uint8_t kWrongByte = 0x80;  // beside the number that counts the handled FuncIDs
constexpr auto kFuncIds =
    std::to_array<std::uint16_t>({1, 40, 70, 75, 78, 81, 82, 84, 86, 88, 89, 997, 998, 999, 500});

constinit CommRQ ring;
constinit std::uint32_t sequence = 0;

std::vector<std::uint8_t> NextFrame(ByteReader& input) {
    const std::uint8_t number = input.U8();
    const ConstBytes payload = input.Take(input.U16() & 0x1FFF);
    std::vector<std::uint8_t> frame(sizeof(LocalHeader) + payload.size());
    const std::uint16_t func_id = kFuncIds[(number & ~kWrongByte) % kFuncIds.size()];
    Require(WriteLocalFrame(frame, func_id, ++sequence, payload) == frame.size());
    if ((number & kWrongByte) != 0) {
        const std::size_t place = input.U8();
        frame[place % frame.size()] = input.U8();
    }
    return frame;
}

}  // namespace

void Look(ByteReader input) {
    Require(ring.Create(10, 9000) == 0);
    std::vector<std::vector<std::uint8_t>> pushed;
    while (!input.rest().empty()) {
        AdvanceClock(std::int64_t{1000} * input.U8());
        std::vector<std::uint8_t> frame = NextFrame(input);
        if (ring.Push(frame) == 0) pushed.push_back(std::move(frame));
        if (!ring.IsFull() && !input.rest().empty()) continue;
        for (const std::vector<std::uint8_t>& expected : pushed) {
            const ConstBytes popped = ring.Pop();
            Require(std::equal(popped.begin(), popped.end(), expected.begin(), expected.end()));
            HandleLocalFrame(expected);
        }
        Require(ring.IsEmpty());
        pushed.clear();
    }
    LocalReply reply;
    CopyReply(reply);
    Require(reply.payload().size() <= reply.data.size());
    Fn40Round();
}

}  // namespace plug::test
