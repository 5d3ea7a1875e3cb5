// The report times, and the configuration on its ways between platform, agent and local peer.
#include "commserver/auto_report_config.h"

#include <cstdlib>
#include <ctime>

#include "commserver/comm_request.h"
#include "core/clock.h"
#include "core/json.h"
#include "core/text.h"
#include "platform/identity.h"
#include "support/local_peer.h"

namespace plug::test {
namespace {

TEST(JumpTime, Table) {
    const std::pair<const char*, std::array<int, 3>> cases[] = {
        // the result, start and end
        {"23:00-1:00", {0, 82800, 3600}},
        {"23:59-0:01", {0, 86340, 60}},
        {"1:00--3:00-5", {0, 3600, 10800}},
        {"12:3-1:00", {0, 43200 + (30 + '\0' - '0') * 60, 3600}},  // short minutes count the NUL
        {"1:00-1:59", {-1, 0, 0}},
        {"1:00-", {-1, 0, 0}},
        {"", {-1, 0, 0}},
        {"1200-3:00", {-1, 0, 0}},
        {"1:00-003:00", {-1, 0, 0}},
    };
    for (const auto& [text, expected] : cases) {
        std::array<int, 3> got{};
        got[0] = jumpTimeToSec(got[2], got[1], text);
        EXPECT_EQ(expected, got) << text;
    }
}

struct TimesCase {
    const char *what, *zone;
    std::int64_t now;
    int mac_value, refer_num, interval2, interval3, server_diff;
    const char* jump_time;
    std::int64_t midnight;
    double day, cycle_start;
};

// Computed with exact fractions and a calendar of another make.
constexpr char kUtc[] = "UTC0";
constexpr char kWest[] = "EST5EDT,M3.2.0,M11.1.0";
constexpr TimesCase kTimes[] = {
    {"lowest MAC", kUtc, 1715688000, 0, 5, 1440, 0, 0, "", 1715644800, 1715644800, 0},
    {"most slots", kUtc, 1715688000, 0xFFFFFF, 20000000, 1440, 0, 0, "", 1715644800, 1715717277.568800, 0},
    {"folded", kUtc, 1715688000, 1234567, 1300000, 1440, 0, -90, "1:00-3:00", 1715644800, 1715658361.222154,
     0},
    {"ahead", kUtc, 1715688000, 0xFFFFFF, 20000000, 1440, 0, 90, "1:00-3:00", 1715644800, 1715728167.5688, 0},
    {"29 s late", kUtc, 1715645214, 3, 7, -1, 15, 0, "", 1715644800, 0, 1715645185.714286},
    {"30 s late", kUtc, 1715645215, 3, 7, -1, 15, 0, "", 1715644800, 0, 1715646085.714286},
    {"half a minute before the next", kUtc, 1715646065, 3, 7, -1, 15, 0, "", 1715644800, 0,
     1715646985.714286},
    {"a day late", kUtc, 1715731199, 0xFFFFFF, 20000000, -1, 7, -90, "", 1715644800, 0, 1715731582.321515},
    {"noon after the hour was lost", kWest, 1678636800, 0x010203, 1000, 1440, 60, 0, "", 1678597200,
     1678601606.4, 1678636983.6},
    {"noon after the hour came twice", kWest, 1699203600, 0x010203, 1000, 1440, 60, 0, "", 1699156800,
     1699161206.4, 1699203783.6},
};

TEST(ReportTimes, AgainstExactArithmetic) {
    for (const TimesCase& row : kTimes) {
        setenv("TZ", row.zone, 1);
        tzset();
        EXPECT_EQ(row.midnight, LocalMidnight(row.now)) << row.what;
        ReportSettings settings;
        settings.refer_num = row.refer_num;
        settings.interval2 = row.interval2;
        settings.interval3 = row.interval3;
        settings.server_diff = row.server_diff;
        CopyText(settings.jump_time, row.jump_time);
        ReportTimes times;
        ASSERT_EQ(0, ComputeReportTimes(row.now, row.midnight, row.mac_value, settings, times)) << row.what;
        EXPECT_NEAR(row.day, times.day, 1.1e-6) << row.what;
        EXPECT_NEAR(row.cycle_start, times.cycle_start, 1.1e-6) << row.what;
    }
}

class AutoReportConfig : public LocalServer {
  protected:
    AutoReportConfig() {
        SetRouterIdentity({0, 0, 0x5E, 0x00, 0x53, 0x01});
        peer_.ConnectServed();
    }

    /// Sets a configuration that the peer answers; the message that it got.
    std::string Set(const std::string& json, unsigned expected_result = 0) {
        std::thread request(
            [&json, expected_result] { EXPECT_EQ(expected_result, ComF_set_auto_report(json)); });
        const PeerEvent message = peer_.Next();
        EXPECT_EQ(88, message.func_id);
        peer_.Send(88, ByteVector{static_cast<std::uint8_t>(expected_result)});
        request.join();
        return std::string(message.text());
    }

    void Tell(std::uint8_t result, const std::string& json) {
        ByteVector payload = ToBytes(json);
        payload.insert(payload.begin(), result);
        Comm_get_88Conf(payload);
    }

    std::string Calibration() {
        ComF_send_calibration();
        std::string messages;
        for (const PeerEvent& message : peer_.Unread()) messages += message.text();
        return messages;
    }

    TestPeer peer_;
};

TEST_F(AutoReportConfig, SetAddsTheTimes) {
    EXPECT_EQ(-1, AutoReportIntervals().interval1);
    EXPECT_EQ(
        R"({"referNum":5,"interval1":3,"interval2":0,"INTERVAL3":0,"serverDiff":0,"dayReportTime":"0.000000","cycleReportStart":"0.000000","save":1})",
        Set(R"({"referNum":5,"interval1":3,"interval2":0,"INTERVAL3":0})"));
    EXPECT_EQ(3, AutoReportIntervals().interval1);
    EXPECT_EQ(0, AutoReportIntervals().interval3);

    const std::string message = Set(
        "{\"referNum\":20000000,\"interval2\":1440,\"timestamp\":" + std::to_string(WallSeconds() + 60) + "}",
        5);
    const JsonPtr json(cJSON_Parse(message.c_str()));
    const int difference = JsonInteger(json.get(), "serverDiff").value_or(0);
    EXPECT_TRUE(difference > 0 && difference <= 60) << message;
    const double slot = 86400.0 / 20000000 * 0x005301;
    EXPECT_NEAR(static_cast<double>(LocalMidnight(WallSeconds()) + difference) + slot,
                std::stod(JsonString(json.get(), "dayReportTime")), 1e-3);
    EXPECT_EQ(1440, AutoReportIntervals().interval2);
    EXPECT_EQ("", Calibration()) << "the number of slots is known from the local peer only";
    EXPECT_EQ(500U, Set("{\"referNum\":5,\"filler\":\"" + std::string(600, 'x') + "\"}").size()) << "cut";
}

TEST_F(AutoReportConfig, Refusals) {
    const std::string now = std::to_string(WallSeconds());
    const std::string far = std::to_string(WallSeconds() + 95);
    for (const std::string& text :
         {std::string("{"), R"({"referNum":5})" + std::string(1024 - 14, ' '), std::string("{}"),
          std::string(R"({"referNum":4})"), std::string(R"({"referNum":20000001})"),
          std::string(R"({"referNum":5,"interval2":1})"),
          R"({"referNum":5,"interval3":1,"timestamp":)" + far + "}"})
        EXPECT_EQ(1U, ComF_set_auto_report(text)) << text;
    for (const char* window : {"1:00-1:30", "01:00-01:30", "0:00-24:00", "0:00-99:99"})
        EXPECT_EQ(1U, ComF_set_auto_report(R"({"referNum":5,"interval2":1440,"jumpTime":")" +
                                           std::string(window) + R"(","timestamp":)" + now + "}"));
    EXPECT_TRUE(peer_.Unread().empty());
    EXPECT_EQ(-1, AutoReportIntervals().interval2) << "a refused configuration leaves the settings";
}

TEST_F(AutoReportConfig, CalibrationFollowsWhatTheLocalPeerTold) {
    EXPECT_EQ("", Calibration()) << "nothing told yet";
    Tell(0, R"({"referNum":5,"interval1":1,"interval2":2,"interval3":0,"serverDiff":7})");
    EXPECT_EQ(
        R"({"interval1":1,"interval2":2,"interval3":0,"dayReportTime":"0.000000","cycleReportStart":"0.000000","save":0})",
        Calibration());
    Tell(0, R"({"referNum":5,"interval2":0,"interval3":0})");
    EXPECT_EQ("", Calibration()) << "closed";
    for (const char* unfit : {R"({"referNum":5})", R"({"referNum":4,"interval2":2})",
                              R"({"referNum":5,"interval2":1440,"jumpTime":"1:00-1:30"})"}) {
        Tell(0, unfit);
        EXPECT_EQ("", Calibration()) << unfit;
    }
    Tell(0, R"({"referNum":20000000,"interval1":8,"interval2":2})");
    EXPECT_EQ(8, AutoReportIntervals().interval1);
    Tell(1, R"({"referNum":5,"interval1":9})");
    EXPECT_EQ(-1, AutoReportIntervals().interval1) << "an error clears the settings";
}

}  // namespace
}  // namespace plug::test
