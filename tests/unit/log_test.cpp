// The log: which levels print, and the exact bytes of an entry.
#include "core/log.h"

#include <algorithm>
#include <ctime>
#include <thread>

#include "support/text.h"

namespace {

std::time_t fixed_time = 0;  // 0: the true time

}  // namespace

/// Stands in for the C library's clock of this program.
extern "C" std::time_t time(std::time_t* out) noexcept(noexcept(std::time(nullptr))) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t result = fixed_time != 0 ? fixed_time : now.tv_sec;
    if (out != nullptr) *out = result;
    return result;
}

namespace plug::test {
namespace {

constexpr char kLogModule[] = "Plug.c";

TEST(Log, ALevelIsASingleBitOfTheMaskWithAName) {
    constexpr std::tuple<std::uint32_t, std::uint32_t, const char*> kCases[] = {
        // mask, level, name; without one nothing is printed
        {kErr | kDebug, kInfo, ""},    {kAllLevels, kErr, "[ERR]"},
        {kAllLevels, kWarn, "[WARN]"}, {kAllLevels, kNotice, "[NOTICE]"},
        {kAllLevels, kInfo, "[INFO]"}, {kAllLevels, kDebug, "[DEBUG]"},
        {kAllLevels, 3, ""},           {~0U, 64, ""},
    };
    for (const auto& [mask, level, name] : kCases) {
        SetLogMask(mask);
        int result = -1;
        const std::string said = LogOf([&, level = level] { result = LogTest(level); });
        EXPECT_EQ(*name != '\0' ? 1 : 0, result) << mask << " " << level;
        EXPECT_EQ(name, said.substr(std::min(said.find('['), said.size()))) << mask << " " << level;
        EXPECT_EQ(mask == kAllLevels, DebugMode());
    }
}

constexpr int kEntryLine = __LINE__ + 2;
void LogEntry(LogLevel level) {
    PLUG_LOG(level, "%d of %s", 7, "it");
}

std::string AuthorOf(const std::string& entry) {
    const std::size_t begin = entry.find("->") + 2;
    return entry.substr(begin, entry.find("->", begin) - begin);
}

TEST(Log, AHelperLogsInTheNameOfItsOperation) {
    SetLogMask(kAllLevels);
    const auto author = [] { return AuthorOf(LogOf([] { LogEntry(kErr); })); };
    EXPECT_EQ("?", author());
    const LogAuthor outer("Outer");
    {
        const LogAuthor inner("Inner");
        EXPECT_EQ("Inner", author());
        std::string other;
        std::thread([&] { other = author(); }).join();
        EXPECT_EQ("?", other) << "each thread has its own";
    }
    EXPECT_EQ("Outer", author());
}

TEST(Log, AnEntryIsStampPlaceAndColouredText) {
    setenv("TZ", "UTC", 1);
    tzset();
    fixed_time = 1709622249;  // 2024-03-05 07:04:09
    SetLogMask(kAllLevels);
    const LogAuthor author("main");
    const std::string place = " [Plug.c->main->" + std::to_string(kEntryLine) + "]-> \x1b[0m";
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

}  // namespace
}  // namespace plug::test
