// Which reports are relayed, and as which bytes.
#include "commserver/auto_report.h"

#include <algorithm>

#include "platform/link_state.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

/// Reports of one type that come one after another, and whether each is relayed.
struct Arrival {
    std::int64_t at;
    std::uint8_t content;
    bool relayed;
};
struct Row {
    const char* what;
    std::uint8_t type;
    std::vector<Arrival> arrivals;
};

TEST(AutoReport, RateLimits) {
    const Row rows[] = {
        {"first ones pass, at any uptime", 1, {{0, 9, true}}},
        {"", 2, {{3, 9, true}}},
        {"", 3, {{3, 9, true}}},
        {"type 1 outside two minutes", 1, {{10, 9, true}, {130, 9, true}}},
        {"type 1 takes its digest inside two minutes only",
         1,
         {{10, 9, true}, {70, 9, true}, {130, 9, false}, {250, 9, true}, {310, 9, false}, {370, 8, true}}},
        {"type 1, five seconds",
         1,
         {{10, 1, true}, {14, 2, false}, {19, 3, true}, {24, 4, true}, {28, 5, false}}},
        {"a type-1 report within five seconds leaves its digest",
         1,
         {{10, 1, true}, {14, 2, false}, {60, 2, false}}},
        {"a report dropped restarts the interval",
         2,
         {{100, 0, true}, {1269, 0, false}, {2438, 0, false}, {3608, 0, true}}},
        {"type 3", 3, {{100, 0, true}, {149, 0, false}, {198, 0, false}, {248, 0, true}}},
        {"other types", 4, {{100, 0, false}, {10'000, 0, false}}},
        {"", 0, {{100, 0, false}}},
    };
    for (const Row& row : rows) {
        ReportHistory history;
        for (const Arrival& arrival : row.arrivals) {
            EXPECT_EQ(arrival.relayed,
                      AdmitReport(history, ByteVector{row.type, arrival.content}, arrival.at))
                << row.what << ", type " << int{row.type} << " at " << arrival.at;
        }
    }
}

TEST(AutoReport, TypesDoNotLimitEachOther) {
    ReportHistory history;
    for (const std::uint8_t type : ByteVector{1, 2, 3})
        EXPECT_TRUE(AdmitReport(history, ByteVector{type}, 100));
}

class Relayed : public Sandbox {};

TEST_F(Relayed, JsonIsRelayedBehindAHeader) {
    PlatformPeer platform;
    CommAutoJsonReport(AsBytes("{}"), 84);
    bench::LinkEvent report = platform.Next();
    EXPECT_EQ(84, report.data_type);
    EXPECT_EQ(MsgType::kAddressedReport, report.header.type());
    EXPECT_EQ(kRouter, report.address);
    EXPECT_EQ((ByteVector{0, 0, 84, 0, 0, 0, 2, 0, '{', '}'}), report.data);

    CommAutoJsonReport({}, 86);
    CommAutoJsonReport(ByteVector(8086, 'x'), 86);
    report = platform.Next();
    ASSERT_EQ(8094U, report.data.size());
    EXPECT_EQ((ByteVector{1, 0, 86, 0, 0, 0, 0x96, 0x1F}),
              ByteVector(report.data.begin(), report.data.begin() + 8));

    const ByteVector typed = {2, 0xAA};
    CommAutoReport89(typed);
    EXPECT_EQ((ByteVector{2, 0, 89, 0, 0, 0, 2, 0, 2, 0xAA}), platform.Next().data);
    CommAutoReport89(typed);
    CommAutoReport89({});
    EXPECT_TRUE(platform.NothingSent());

    SetLoggedIn(false);
    CommAutoJsonReport(AsBytes("{}"), 84);
    SetLoggedIn(true);
    CommAutoJsonReport(AsBytes("{}"), 84);
    EXPECT_EQ(4, platform.Next().data.at(0)) << "the sequence counts reports that did not go out";
}

TEST_F(Relayed, OnlyTheAddressesOfAStatusRecordAreReversed) {
    PlatformPeer platform;
    ByteVector payload(230);
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<std::uint8_t>(i);
    CommAutoReport(payload);
    ByteVector expected = {0, 0, 81, 0, 0, 0};
    expected.insert(expected.end(), payload.begin(), payload.end());
    for (const int at : {205, 209, 213, 217, 221})
        std::reverse(expected.begin() + 6 + at, expected.begin() + 10 + at);
    const bench::LinkEvent report = platform.Next();
    EXPECT_EQ(81, report.data_type);
    EXPECT_EQ(expected, report.data);

    CommAutoReport(ByteVector{7});
    EXPECT_EQ((ByteVector{1, 0, 81, 0, 0, 0, 7}), platform.Next().data);
}

TEST_F(Relayed, FirmwareResults) {
    PlatformPeer platform;
    for (const auto& [result, text] : {std::pair{0, "success"},
                                       {1, "fromVersion not match."},
                                       {2, "toVersion not support."},
                                       {3, "url address error."},
                                       {4, "check method not match."},
                                       {5, "fileLength error."},
                                       {6, "file download failed."},
                                       {7, "check sum error."},
                                       {8, "firmware update faiiled."},
                                       {9, "unKnown error."},
                                       {255, "unKnown error."}}) {
        CommFwUpdateResult(ByteVector{static_cast<std::uint8_t>(result)});
        const bench::LinkEvent report = platform.Next();
        EXPECT_EQ(17, report.data_type);
        EXPECT_EQ(MsgType::kDataReport, report.header.type());
        EXPECT_EQ("{\"result\":" + std::to_string(result) + ",\"resultDesc\":\"" + text + "\"}",
                  report.text());
    }
    CommFwUpdateResult({});
    CommFwUpdateResult(ByteVector{0, 0});
    EXPECT_TRUE(platform.NothingSent());
}

}  // namespace
}  // namespace plug::test
