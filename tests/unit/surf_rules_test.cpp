// The access windows: their table, their commands and what the scheduler makes of them.
#include "rules/surf_rules.h"

#include <map>
#include <random>
#include <thread>

#include "rules/surf_schedule.h"
#include "support/command.h"
#include "support/home.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

constexpr char kMac[] = "00:00:5E:00:53:B1";

/// The windows under a key, "8:0-9:30 ..."; "none" without an entry.
std::string WindowsOf(const std::string& key) {
    const Guard guard(SurfRuleMutex());
    const RuleEntry* const entry = hash_table_lookup(key);
    if (entry == nullptr) return "none";
    std::string text;
    for (const RuleNode* node = entry->windows; node != nullptr; node = node->next) {
        const AccessWindow& window = node->window;
        text += std::to_string(window.start_hour) + ":" + std::to_string(window.start_minute) + "-" +
                std::to_string(window.stop_hour) + ":" + std::to_string(window.stop_minute) + " ";
    }
    return text;
}

std::string Element(const std::string& flag, const std::string& mac, const std::string& days,
                    const std::string& start, const std::string& stop) {
    return R"({"FLAG":")" + flag + R"(","MAC":")" + mac + R"(","DAY":")" + days + R"(","START":")" + start +
           R"(","STOP":")" + stop + R"(","ALLOW":"1"})";
}

int Command(const std::string& elements) {
    return ParseSurfRulesParam((R"({"LIST":[)" + elements + "]}").c_str());
}

int Add(const std::string& mac, const std::string& days, const std::string& start, const std::string& stop) {
    return Command(Element("1", mac, days, start, stop));
}

int Delete(const std::string& mac, const std::string& days, const std::string& start,
           const std::string& stop) {
    return Command(Element("0", mac, days, start, stop));
}

class SurfRules : public Sandbox {};

TEST_F(SurfRules, WindowsArriveUnderTheirDays) {
    Home{}.Write();
    EXPECT_EQ(0, Add(kMac, "5x31", "08:00", "9:30"));
    EXPECT_EQ(0, Add(kMac, "3", "22:00", "6"));
    EXPECT_EQ(0, Add(kMac, "3", "08:00", "09:30"));  // again
    EXPECT_EQ(0, Add(kMac, "0890", "1:00", "2:00"));
    EXPECT_EQ(-1, CommitSurfRule(1, 0, kMac, nullptr, "1:00", "2:00"));
    EXPECT_EQ(0, CommitSurfRule(2, 0, kMac, "2", "1:00", "2:00"));
    // The middle, the first and a last window go.
    Add(kMac, "6", "1:00", "2:00");
    Add(kMac, "6", "3:00", "4:00");
    Add(kMac, "6", "5:00", "6:00");
    Delete(kMac, "6", "3:00", "4:00");
    EXPECT_EQ("1:0-2:0 5:0-6:0 ", WindowsOf(std::string(kMac) + "|6"));
    Delete(kMac, "6", "1:00", "2:00");
    std::string days;
    for (int day = 0; day <= 9; ++day) days += WindowsOf(kMac + ("|" + std::to_string(day))) + "; ";
    EXPECT_EQ("none; 8:0-9:30 ; none; 8:0-9:30 22:0-6:0 ; none; 8:0-9:30 ; 5:0-6:0 ; none; none; none; ",
              days);
}

TEST_F(SurfRules, EveryCode) {
    const std::string whole = R"({"FLAG":"1","MAC":"1","DAY":"1","START":"1","STOP":"1","ALLOW":"1"})";
    int code = 3;
    for (const char* missing : {"FLAG", "MAC", "DAY", "START", "STOP", "ALLOW"}) {
        std::string element = whole;
        element.replace(element.find(missing), 1, "x");
        const std::string list = Element("1", "first", std::to_string(code - 2), "1:00", "2:00") + "," +
                                 element + "," + Element("1", "third", "1234567", "1:00", "2:00");
        EXPECT_EQ(code, Command(list));
        EXPECT_EQ("1:0-2:0 ", WindowsOf("first|" + std::to_string(code - 2)));
        EXPECT_EQ("none", WindowsOf("third|1"));
        ++code;
    }
    EXPECT_EQ(1, ParseSurfRulesParam(nullptr));
    EXPECT_EQ((ByteVector{2, 0}), RunCommand(69, AsBytes("{")));
    EXPECT_EQ((ByteVector{0, 0}), RunCommand(69, AsBytes("{}")));
    // A MAC that has no room in a key counts as missing; the longest that has is kept whole.
    EXPECT_EQ(4, Add(std::string(254, 'm'), "1", "1:00", "2:00"));
    EXPECT_EQ(0, Add(std::string(253, 'm'), "1", "1:00", "2:00"));
    EXPECT_EQ("1:0-2:0 ", WindowsOf(std::string(253, 'm') + "|1"));
}

TEST_F(SurfRules, AnUnusableElementHoldsTheCommandUntilTheLinkGoes) {
    for (const std::string& element :
         {Element("2", kMac, "1", "1:00", "2:00"),
          std::string(R"({"FLAG":"1","MAC":"m","DAY":"1","START":"","STOP":"","ALLOW":"yes"})")}) {
        EXPECT_EQ(
            0, CodeOfHeld([&] { return Command(element + "," + Element("1", "n", "1", "1:00", "2:00")); }));
        EXPECT_EQ("none", WindowsOf("n|1"));
    }
}

TEST_F(SurfRules, TheTableCountsInsertionsNotEntries) {
    Home{}.Write();
    for (int i = 0; i < 512; ++i) Add("device" + std::to_string(i), "1", "1:00", "2:00");
    EXPECT_EQ("1:0-2:0 ", WindowsOf("device511|1"));
    Add("one more", "1", "1:00", "2:00");
    EXPECT_EQ("none", WindowsOf("one more|1"));
    Add("device7", "1", "3:00", "4:00");
    EXPECT_EQ("1:0-2:0 3:0-4:0 ", WindowsOf("device7|1")) << "a known key still takes windows";
    for (int i = 0; i < 512; ++i) Delete("device" + std::to_string(i), "1", "1:00", "2:00");
    Add("one more", "1", "1:00", "2:00");
    EXPECT_EQ("none", WindowsOf("one more|1"));
    {
        const Guard guard(SurfRuleMutex());
        hash_table_init();
    }
    EXPECT_EQ("none", WindowsOf("device7|1"));
    Add("one more", "1", "1:00", "2:00");
    EXPECT_EQ("1:0-2:0 ", WindowsOf("one more|1"));
    // Windows come and go under one key without end, and without a trace.
    for (int i = 0; i < 10'000; ++i) {
        Add("one more", "1", "3:00", "4:00");
        Delete("one more", "1", "3:00", "4:00");
    }
    EXPECT_EQ("1:0-2:0 ", WindowsOf("one more|1"));
}

TEST_F(SurfRules, AKeyFindsAPrefixInItsBucket) {
    const Guard guard(SurfRuleMutex());
    hash_table_insert("ab", {1, 2, 3, 4});
    // A longer key of the same bucket finds a stored prefix; the later entry lies in front. "ab" is 97 * 31 +
    // 98 = 3105, that is bucket 33, and with two more characters c and d (3105 * 31 + c) * 31 + d modulo 512.
    const std::string longer = "abrr";
    const RuleEntry* const shorter = hash_table_lookup(longer);
    ASSERT_NE(nullptr, shorter);
    EXPECT_STREQ("ab", shorter->key);
    hash_table_insert(longer, {1, 0, 2, 0});
    EXPECT_EQ(longer, hash_table_lookup(longer)->key);
    hash_table_remove(longer);
    EXPECT_STREQ("ab", hash_table_lookup(longer)->key);
    // A character beyond ASCII counts as less than nothing: 0xE9 is -23, and -23 * 31 + 98 modulo 512 is 409.
    hash_table_insert(
        "\xE9"
        "b",
        {1, 2, 3, 4});
    ASSERT_NE(nullptr, hash_table_bucket(409));
    EXPECT_STREQ(
        "\xE9"
        "b",
        hash_table_bucket(409)->key);
}

TEST_F(SurfRules, TheLastWindowTakesTheKeyThatWasFoundWithIt) {
    Home{}.Write();
    Add("m", "1", "1:00", "2:00");
    const auto same_bucket = [](const std::string& key) {
        const Guard guard(SurfRuleMutex());
        const RuleEntry* const entry = hash_table_lookup(key);
        return entry != nullptr && entry->key == std::string("m|1");
    };
    // What is asked for is "m|1<tail>|2", with a tail that leads to the bucket of "m|1".
    std::string tail;
    for (int i = 0; !same_bucket("m|1" + tail + "|2"); ++i) tail = std::to_string(i);
    Delete("m|1" + tail, "2", "1:00", "2:00");
    const Guard guard(SurfRuleMutex());
    EXPECT_EQ(nullptr, hash_table_lookup("m|1"));
}

class Schedule : public SurfRules {
  protected:
    static void At(int weekday, int hour, int minute) {
        CalendarTime now{};
        now.weekday = weekday;
        now.hour = hour;
        now.minute = minute;
        surf_rule_func(now);
    }
    static Lines Switches() { return TakeSdkCalls("set_dev_access_control"); }
    /// The call that switches device B1.
    static Lines SwitchTo(const std::string& access, const std::string& by_name = "true") {
        return {
            R"(set_dev_access_control({"mac":"00:00:5E:00:53:B1","name":"pc","link":0,"band":0,"by_name":)" +
            by_name + R"(,"access":)" + access + R"(,"rssi":0,"address":"192.168.1.20"}) = 0)"};
    }
    const Home home_{.devices = {{HomeMac(0xB1), "pc"}, {HomeMac(0xB2), "other"}}};
};

TEST_F(Schedule, APassThatFailsIsSkipped) {
    Add(kMac, "1", "08:00", "09:00");
    const auto said_with = [this](const char* faults, const char* counts) {
        Home home = home_;
        home.faults = faults;
        home.counts = counts;
        home.Write();
        return LogOf([] { At(1, 8, 0); });
    };
    EXPECT_TRUE(Contains(said_with(R"("get_devs_cfg": 5)", ""), "get_devs_cfg failed\n"));
    EXPECT_TRUE(Switches().empty());
    said_with("", R"("get_devs_cfg": 129)");
    EXPECT_TRUE(Switches().empty()) << "a count past the room";
    said_with("", R"("get_devs_cfg": 128)");
    EXPECT_EQ(SwitchTo("false"), Switches());
}

TEST_F(Schedule, TheLastWindowOfADayGivesAccessBack) {
    home_.Write();
    Add(kMac, "1", "08:00", "09:00");
    Add(kMac, "1", "10:00", "11:00");
    At(1, 8, 0);
    TakeSdkCalls();
    Delete(kMac, "1", "08:00", "09:00");
    EXPECT_TRUE(TakeSdkCalls().empty()) << "a window is left";
    Delete(kMac, "1", "10:00", "11:30");
    EXPECT_EQ("10:0-11:0 ", WindowsOf(std::string(kMac) + "|1")) << "another window";
    Delete(kMac, "1", "10:00", "11:00");
    EXPECT_EQ((Lines{"get_dev_cfg(00:00:5E:00:53:B1) = 0", SwitchTo("true").front()}), TakeSdkCalls());
    EXPECT_EQ("none", WindowsOf(std::string(kMac) + "|1"));

    // A device that has its access is left alone; a day without windows is an error.
    Add(kMac, "2", "08:00", "09:00");
    EXPECT_EQ(0, del_surf_rule(kMac, 2, {8, 0, 9, 0}));
    EXPECT_EQ(Lines{"get_dev_cfg(00:00:5E:00:53:B1) = 0"}, TakeSdkCalls());
    EXPECT_EQ(-1, del_surf_rule(kMac, 2, {8, 0, 9, 0}));
}

TEST_F(Schedule, ADeviceIsNotBarredByAWindowThatGoesMeanwhile) {
    Home home = home_;
    home.delays = R"("set_dev_access_control": 500)";
    home.Write();
    Add(kMac, "1", "08:00", "09:00");
    std::thread pass([] { At(1, 8, 0); });
    WaitUntil([] { return Contains(ReadFile(kSdkCallsPath), "get_devs_cfg"); });
    Delete(kMac, "1", "08:00", "09:00");
    pass.join();
    EXPECT_EQ(SwitchTo("true").front(), Switches().back());
}

TEST_F(Schedule, InTestModeAccessIsNotByName) {
    UseProfile("[Protool]\nSERVER1=127.0.0.1\n");
    home_.Write();
    Add(kMac, "1", "08:00", "09:00");
    At(1, 8, 0);
    EXPECT_EQ(SwitchTo("false", "false"), Switches());
    Delete(kMac, "1", "08:00", "09:00");
    EXPECT_EQ(SwitchTo("true", "false"), Switches());
}

// A whole week, minute by minute, against a calendar with one box for each minute of each day.
TEST_F(Schedule, AWeekAgainstACalendar) {
    struct Calendar {
        bool ruled[7] = {};
        bool closed[7][1440] = {};
    };
    std::map<int, Calendar> calendars;
    std::mt19937 random(20221227);
    const auto below = [&random](unsigned limit) { return static_cast<int>(random() % limit); };
    Home{}.Write();
    for (int rule = 0; rule < 60; ++rule) {
        const int mac = below(5);
        const int start = below(1440);
        const int stop = below(4) == 0 ? below(1440) : start + below(240);  // past midnight, or past 24:00
        std::string days;
        for (int day = 0; day <= 9; ++day) {
            if (below(3) != 0) continue;
            days += std::to_string(day);
            if (day < 1 || day > 6) continue;
            calendars[mac].ruled[day] = true;
            for (int minute = start; minute <= std::min(stop, 1439); ++minute)
                calendars[mac].closed[day][minute] = true;
        }
        ASSERT_EQ(0, Add(MacText(HomeMac(0xA0 + mac)), days,
                         std::to_string(start / 60) + ":" + std::to_string(start % 60),
                         "0:" + std::to_string(stop)));
    }
    int changes = 0;
    const Guard guard(SurfRuleMutex());
    for (int minute_of_week = 0; minute_of_week < 7 * 1440; ++minute_of_week) {
        CalendarTime now{};
        now.weekday = minute_of_week / 1440;
        now.hour = minute_of_week % 1440 / 60;
        now.minute = minute_of_week % 60;
        for (int mac = 0; mac < 5; ++mac) {
            const Calendar& calendar = calendars[mac];
            for (const std::uint8_t access : std::initializer_list<std::uint8_t>{0, 1, 2}) {
                dev_cfg device{};
                const MacAddress bytes = HomeMac(0xA0 + mac);
                memcpy(device.mac, bytes.data(), bytes.size());
                device.access = access;
                const int wanted = calendar.closed[now.weekday][minute_of_week % 1440] ? 0 : 1;
                int expected = -1;
                if (calendar.ruled[now.weekday] && access == 1 - wanted) expected = wanted;
                const std::optional<std::uint8_t> due = DueAccess(now, device);
                ASSERT_EQ(expected, due ? *due : -1) << now.weekday << " " << now.hour << ":" << now.minute;
                if (due) ++changes;
            }
        }
    }
    EXPECT_LT(10'000, changes) << "the rules say something";
}

}  // namespace
}  // namespace plug::test
