// The log: which levels print, and the exact bytes of an entry.
#include "core/log.h"

#include <algorithm>
#include <ctime>

#include "support/text.h"

namespace {

std::time_t fixed_time = 0;  // 0: the true time

}  // namespace

/// Stands in for the C library's clock of this program.
extern "C" std::time_t time(std::time_t* out) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t result = fixed_time != 0 ? fixed_time : now.tv_sec;
    if (out != nullptr) *out = result;
    return result;
}

namespace plug::test {
namespace {

constexpr char kLogModule[] = "Plug.c";

TEST(Log, OnlyErrorsPrintBeforeTheMaskIsSet) {
    for (const std::uint32_t level : {kErr, kWarn, kNotice, kInfo, kDebug})
        EXPECT_EQ(level != kErr, LogOf([&] { LogTest(level); }).empty());
}

TEST(Log, ALevelIsASingleBitOfTheMaskWithAName) {
    constexpr struct {
        std::uint32_t mask, level;
        const char* name;  // nullptr: nothing is printed; bit 5 has none
    } kCases[] = {
        {0, kDebug, nullptr},
        {kErr | kDebug, kInfo, nullptr},
        {kAllLevels, kErr, "[ERR]"},
        {kAllLevels, kWarn, "[WARN]"},
        {kAllLevels, kNotice, "[NOTICE]"},
        {kAllLevels, kInfo, "[INFO]"},
        {kAllLevels, kDebug, "[DEBUG]"},
        {kAllLevels, 0, nullptr},
        {kAllLevels, 3, nullptr},
        {kAllLevels, 31, nullptr},
        {63, 32, "[]"},
        {~0U, 64, nullptr},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::Message() << "mask " << row.mask << " level " << row.level);
        SetLogMask(row.mask);
        int result = -1;
        const std::string said = LogOf([&] { result = LogTest(row.level); });
        EXPECT_EQ(row.name != nullptr ? 1 : 0, result);
        EXPECT_EQ(row.name != nullptr ? row.name : "", said.substr(std::min(said.find('['), said.size())));
        EXPECT_EQ(row.mask == kAllLevels, DebugMode());
    }
}

constexpr int kEntryLine = __LINE__ + 2;
void LogEntry(LogLevel level) {
    PLUG_LOG(level, "%d of %s", 7, "it");
}

TEST(Log, AnEntryIsStampPlaceAndColouredText) {
    setenv("TZ", "UTC", 1);
    tzset();
    fixed_time = 1709622249;  // 2024-03-05 07:04:09
    SetLogMask(kAllLevels);
    const std::string place = " [Plug.c->LogEntry->" + std::to_string(kEntryLine) + "]-> \x1b[0m";
    const std::tuple<LogLevel, const char*, const char*> entries[] = {
        {kErr, "[ERR]\x1b[1;31m", "\x1b[1;33m"},
        {kInfo, "[INFO]\x1b[1;32m", "\x1b[1;32m"},
        {kDebug, "[DEBUG]\x1b[1;33m", "\x1b[1;33m"}};
    for (const auto& [level, name, colour] : entries)
        EXPECT_EQ("2024-3-5 07:04:09 " + (name + place) + colour + "7 of it\n\n\x1b[0m",
                  LogOf([level = level] { LogEntry(level); }));
    fixed_time = 1735689599;  // 2024-12-31 23:59:59, one day later and eight hours east of it
    setenv("TZ", "XYZ-8", 1);
    tzset();
    EXPECT_EQ(0U, LogOf([] { LogEntry(kErr); }).find("2025-1-1 07:59:59 [ERR]"));
}

TEST(Log, ADisabledLevelFormatsNothing) {
    SetLogMask(kErr);
    int calls = 0;
    EXPECT_EQ("", LogOf([&] { PLUG_LOG(kInfo, "%d", ++calls); }));
    EXPECT_EQ(0, calls);
}

}  // namespace
}  // namespace plug::test
