// Cutting frames out of the stream.
#include "platform/tcp_queue.h"

#include "core/log.h"
#include "support/text.h"

namespace plug::test {
namespace {

// 13 bytes: two of head, four of body.
constexpr char kFrame[] = "ccdd 34 02 99 0400 1112 21222324";

class Queue : public testing::Test {
  protected:
    Queue() { SetLogMask(0); }

    static void Push(std::string_view hex) { ASSERT_EQ(0, queue_.Push(ParseHex(hex))); }

    /// The next frame's header fields, head, body and lead word, or "none".
    static std::string Pop() {
        if (queue_.Pop(frame_) != 0) return "none";
        const FrameHeader& header = frame_.header;
        return std::to_string(static_cast<int>(header.type())) + " " + std::to_string(header.checksum) + " " +
               ToHex(frame_.head()) + " " + ToHex(frame_.body()) + " " +
               std::to_string(frame_.body_lead_word);
    }

    static constinit inline ReceiveQueue queue_;
    static constinit inline InboundFrame frame_;
};

constexpr char kCut[] = "20 153 1112 21222324 8737";

TEST_F(Queue, AFrameIsHandedOverOnceWithItsLastByte) {
    const auto bytes = ParseHex(kFrame);
    for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            EXPECT_EQ("none", Pop()) << "after " << at << " of " << bytes.size() << " bytes";
            const std::size_t size = std::min(piece, bytes.size() - at);
            ASSERT_EQ(0, queue_.Push(ConstBytes(bytes).subspan(at, size)));
        }
        EXPECT_EQ(kCut, Pop());
        EXPECT_EQ("none", Pop());
    }
}

TEST_F(Queue, WhatTheStreamMayHold) {
    const std::string frame = kFrame;
    const struct {
        const char* what;
        std::string stream;
        std::vector<std::string> frames;
    } kCases[] = {
        {"nothing", "", {}},
        {"glued frames", frame + frame + frame, {kCut, kCut, kCut}},
        {"junk before a frame", "00ccee ddcc dd" + frame, {kCut}},
        {"junk longer than the frame", std::string(40, '0') + frame, {kCut}},
        {"a header only", "ccdd 02 00 00 0000", {"2 0   0"}},
        {"a header less one byte", "ccdd 02 00 00 00", {}},
        {"a head only", "ccdd 21 04 14 0000 78563412", {"1 20 78563412  0"}},
        {"a body of one byte has no lead word", "ccdd 14 00 00 0100 ff", {"20 0  ff 0"}},
        {"type bits 0 to 4", "ccdd ff 00 00 0000", {"31 0   0"}},
        {"a magic within a body", "ccdd 14 00 00 0400 ccddccdd" + frame, {"20 0  ccddccdd 56780", kCut}},
        {"a false magic waits for what it announces",
         "ccdd 01 02 03 0500" + frame,
         {"1 3 ccdd 3402990400 564"}},
        {"an announced 8193 bytes is no frame", "ccdd 14 00 00 fa1f" + frame, {kCut}},
        {"nor 65535 bytes of body", "ccdd 14 ff 00 ffff" + frame, {kCut}},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.what);
        queue_.Reset();
        Push(row.stream);
        for (const std::string& expected : row.frames) EXPECT_EQ(expected, Pop());
        EXPECT_EQ("none", Pop());
    }
}

TEST_F(Queue, TheLargestFrameFits) {
    ByteVector bytes(kMaxFrameSize, 0x5A);
    const auto header = ParseHex("ccdd 14 ff 00 fa1e");  // 7 + 255 + 7930 = 8192
    std::copy(header.begin(), header.end(), bytes.begin());
    ASSERT_EQ(0, queue_.Push(ConstBytes(bytes).first(kMaxFrameSize - 1)));
    EXPECT_EQ(-1, queue_.Pop(frame_));
    ASSERT_EQ(0, queue_.Push(ConstBytes(bytes).last(1)));
    ASSERT_EQ(0, queue_.Pop(frame_));
    EXPECT_EQ(255U, frame_.head().size());
    EXPECT_EQ(7930U, frame_.body().size());
    EXPECT_EQ(0x5A, frame_.body().back());
}

TEST_F(Queue, AChunkThatDoesNotFitIsDroppedWhole) {
    SetLogMask(kDebug);
    const ByteVector chunk(1500);
    for (int i = 0; i < 136; ++i) ASSERT_EQ(0, queue_.Push(chunk));  // 204000 bytes
    EXPECT_TRUE(Contains(LogOf([&] { EXPECT_EQ(-1, queue_.Push(chunk)); }), "over flow\n\n"));
    EXPECT_EQ(0, queue_.Push(ConstBytes(chunk).first(787)));
    Push(kFrame);  // the last 13 of 204800
    LogOf([&] { EXPECT_EQ(-1, queue_.Push(ConstBytes(chunk).first(1))); });
    EXPECT_EQ(kCut, Pop()) << "with all the junk before it";
    EXPECT_EQ(0, queue_.Push(chunk));
}

}  // namespace
}  // namespace plug::test
