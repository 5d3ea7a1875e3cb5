// Which reports are relayed, and as which bytes.
#include "commserver/auto_report.h"

#include <algorithm>

#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

TEST(AutoReport, RateLimits) {
    struct Arrival {
        std::int64_t at;
        std::uint8_t type, content;
        bool relayed;
    };
    const struct {
        const char* what;
        std::vector<Arrival> arrivals;
    } rows[] = {
        {"the first one of each type, at any uptime", {{0, 1, 9, true}, {3, 2, 9, true}, {3, 3, 9, true}}},
        {"type 1 takes its digest inside two minutes only",
         {{10, 1, 9, true},
          {70, 1, 9, true},
          {130, 1, 9, false},
          {250, 1, 9, true},
          {310, 1, 9, false},
          {370, 1, 8, true}}},
        {"type 1, five seconds",
         {{10, 1, 1, true}, {14, 1, 2, false}, {19, 1, 3, true}, {24, 1, 4, true}, {28, 1, 5, false}}},
        {"a type-1 report within five seconds leaves its digest",
         {{10, 1, 1, true}, {14, 1, 2, false}, {60, 1, 2, false}}},
        {"a report dropped restarts the interval",
         {{100, 2, 0, true}, {1269, 2, 0, false}, {2438, 2, 0, false}, {3608, 2, 0, true}}},
        {"type 3", {{100, 3, 0, true}, {149, 3, 0, false}, {198, 3, 0, false}, {248, 3, 0, true}}},
        {"other types", {{100, 4, 0, false}, {10'000, 4, 0, false}, {100, 0, 0, false}}},
    };
    for (const auto& row : rows) {
        ReportHistory history;
        for (const Arrival& arrival : row.arrivals) {
            EXPECT_EQ(arrival.relayed,
                      AdmitReport(history, ByteVector{arrival.type, arrival.content}, arrival.at))
                << row.what << " at " << arrival.at;
        }
    }
}

TEST(AutoReport, TheFirstReportShowsNoIntervalOfItsOwn) {
    ReportHistory history;
    const auto log_of = [&](std::int64_t now) {
        return FullLogOf([&] { AdmitReport(history, ByteVector{1, 0}, now); });
    };
    const std::string first = log_of(20);
    const std::size_t at = first.find("interval: ") + 10;
    EXPECT_NEAR(static_cast<double>(time(nullptr)), std::stod(first.substr(at)), 60) << "seconds since 1970";
    EXPECT_TRUE(Contains(log_of(27), "Type1 report interval: 7 seconds!"));
}

class Relayed : public Sandbox {};

TEST_F(Relayed, OnlyTheAddressesOfAStatusRecordAreReversed) {
    PlatformPeer platform;
    ByteVector payload(230);
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<std::uint8_t>(i);
    CommAutoReport(payload);
    ByteVector expected = payload;
    for (const int at : {205, 209, 213, 217, 221})
        std::reverse(expected.begin() + at, expected.begin() + 4 + at);
    platform.ExpectNext(MsgType::kAddressedReport, 81, Unhex("000051000000" + ToHex(expected)));
    CommAutoReport(ByteVector{7});
    platform.ExpectNext(MsgType::kAddressedReport, 81, Unhex("01005100000007"));
}

TEST_F(Relayed, FirmwareResults) {
    PlatformPeer platform;
    const std::pair<int, const char*> results[] = {{0, "success"},
                                                   {1, "fromVersion not match."},
                                                   {2, "toVersion not support."},
                                                   {3, "url address error."},
                                                   {4, "check method not match."},
                                                   {5, "fileLength error."},
                                                   {6, "file download failed."},
                                                   {7, "check sum error."},
                                                   {8, "firmware update faiiled."},
                                                   {9, "unKnown error."},
                                                   {255, "unKnown error."}};
    for (const auto& [result, text] : results) {
        CommFwUpdateResult(ByteVector{static_cast<std::uint8_t>(result)});
        platform.ExpectNext(MsgType::kDataReport, 17,
                            "{\"result\":" + std::to_string(result) + ",\"resultDesc\":\"" + text + "\"}");
    }
    CommFwUpdateResult({});
    CommFwUpdateResult(ByteVector{0, 0});
    EXPECT_TRUE(platform.NothingSent());
}

}  // namespace
}  // namespace plug::test
