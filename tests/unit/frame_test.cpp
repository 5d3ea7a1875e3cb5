// Bounds, records, the cipher and the frames of a stream, against bytes made with other tools:
//
//   printf '<plaintext>' | openssl enc -aes-128-cbc -K 61626300000000000000000000000000 -iv 0 | xxd -p
//
// (the key is "abc", zero-filled); the checksums are added up by hand.
#include "platform/frame.h"

#include <numeric>

#include "platform/security.h"
#include "platform/tcp_queue.h"
#include "support/text.h"

namespace plug::test {
namespace {

constexpr CipherKey kKey = {'a', 'b', 'c'};

TEST(Wire, NothingIsReadOrWrittenPastTheEnd) {
    ByteVector three = {1, 2, 3};  // on the heap, where a tool sees a step too far
    ByteReader in(three);
    EXPECT_EQ(0x0201, in.U16());
    EXPECT_EQ(0, in.U16()) << "half a value is none";
    EXPECT_FALSE(in.ok());
    EXPECT_EQ(3U, ByteReader(three).Take(4).size());
    ByteWriter out(three);
    out.U16(0x0504);
    out.U16(0x0706);
    out.U8(8);
    EXPECT_FALSE(out.ok());
    EXPECT_EQ("040503", ToHex(three)) << "nothing follows what did not fit";
}

TEST(Wire, TheLeastSignificantByteIsFirstExceptInAddresses) {
    ByteVector bytes(19);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    ByteReader in(bytes);
    EXPECT_EQ(0x01, in.U8());
    EXPECT_EQ(0x0302, in.U16());
    EXPECT_EQ(0x07060504U, in.U32());
    EXPECT_EQ(0x0F0E0D0C0B0A0908U, in.U64());
    EXPECT_EQ(0x10111213U, in.Ip4());
    ByteVector written(bytes.size());
    ByteWriter out(written);
    out.U8(0x01);
    out.U16(0x0302);
    out.U32(0x07060504);
    out.U64(0x0F0E0D0C0B0A0908);
    out.Ip4(0x10111213);
    EXPECT_EQ(ToHex(bytes), ToHex(written));
}

TEST(Frame, RecordsHaveTwoLayouts) {
    const auto read = [](const ByteVector& bytes, bool with_address) {
        const DataRecord record = ReadDataRecord(bytes, with_address);
        return std::to_string(record.data_type) + " " + ToHex(record.address) + " " +
               std::to_string(record.declared_length) + " " + std::string(AsText(record.data));
    };
    EXPECT_EQ("3 00005e005301 5 hello", read(ParseHex("ffff 03 00005e005301 0500 68656c6c6f 0303"), true));
    EXPECT_EQ("13 000000000000 65535 ", read(ParseHex("0000 0d ffff"), false)) << "never more than there is";
    EXPECT_EQ("3 000000000000 0 ", read(ParseHex("0000 03"), true));
}

TEST(Security, CiphertextIsThatOfOpenssl) {
    const std::pair<std::string, const char*> kCases[] = {
        {"", "f389c94a3796f702b9c4bdf3b2a5885c"},
        {"0123456789abcde", "3824270ab126679d2d22ba590e5f1c5b"},
        {"0123456789abcdef", "e8bf2e37df9493571ca7c1eec9054ca18be682936982d91ed992bde0cbd999f2"},
    };
    for (const auto& [text, expected] : kCases) {
        SCOPED_TRACE(text);
        ByteVector cipher(PaddedSize(text.size()));
        std::size_t length = 0;
        ASSERT_EQ(0, aes_encrypt(kKey, AsBytes(text), cipher, length));
        EXPECT_EQ(cipher.size(), length);
        EXPECT_EQ(expected, ToHex(cipher)) << "and again with the same context, from a zero IV";
        EXPECT_EQ(-1, aes_encrypt(kKey, AsBytes(text), Bytes(cipher).first(length - 1), length));

        ByteVector padded(cipher.size());
        ASSERT_EQ(0, aes_decrypt(kKey, cipher, padded, length));
        EXPECT_EQ(cipher.size(), length);
        EXPECT_EQ(length - text.size(), padded.back()) << "the padding stays and counts itself";
        ConstBytes plain;
        ASSERT_TRUE(WithoutPadding(padded, plain));
        EXPECT_EQ(text, AsText(plain));
    }
}

TEST(Security, PaddingIsTheLastByteAndNoMoreThanThereIs) {
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"41424301", "414243"},    {"41424303", "41"},        {"41424304", ""},
        {"41424305", "not valid"}, {"414243ff", "not valid"}, {"41424300", "41424300"},
        {"", "not valid"},         {"99010203", "99"},        {"41990299", "not valid"}};
    for (const auto& [padded, left] : kCases) {
        const ByteVector bytes = ParseHex(padded);
        ConstBytes stripped;
        EXPECT_EQ(left, WithoutPadding(bytes, stripped) ? ToHex(stripped) : "not valid") << padded;
    }
}

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

TEST_F(Queue, WhatTheStreamMayHold) {
    const std::string frame = kFrame;
    const struct {
        const char* what;
        std::string stream;
        std::vector<std::string> frames;
    } kCases[] = {
        {"glued frames", frame + frame + frame, {kCut, kCut, kCut}},
        {"junk before a frame", "00ccee ddcc dd" + frame, {kCut}},
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
