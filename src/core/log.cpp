#include "core/log.h"

#include <bit>
#include <cstdarg>
#include <cstdio>
#include <iterator>

#include "core/clock.h"

namespace plug {
namespace {

constexpr const char* kLevelNames[] = {"ERR", "WARN", "NOTICE", "INFO", "DEBUG", ""};

constinit std::uint32_t log_mask = kErr;  // written once, before any thread starts

void PrintTimeStamp(const char* level_name) {
    const CalendarTime now = LocalCalendar(WallSeconds());
    fprintf(stderr, "%d-%d-%d %02d:%02d:%02d [%s]", now.year, now.month, now.day, now.hour, now.minute,
            now.second, level_name);
}

const char* PrefixColour(std::uint32_t level) {
    switch (level) {
        case kErr:
            return "\x1b[1;31m";
        case kInfo:
            return "\x1b[1;32m";
        default:
            return "\x1b[1;33m";
    }
}

}  // namespace

void SetLogMask(std::uint32_t mask) {
    log_mask = mask;
}

bool DebugMode() {
    return log_mask == kAllLevels;
}

int LogTest(std::uint32_t level) {
    if ((level & log_mask) == 0) return 0;
    const auto bit = static_cast<std::size_t>(std::countr_zero(level));
    if (!std::has_single_bit(level) || bit >= std::size(kLevelNames)) return 0;
    PrintTimeStamp(kLevelNames[bit]);
    return 1;
}

void LogWrite(std::uint32_t level, const char* module, int line, const char* format, ...) {
    fprintf(stderr, "%s [%s->%s->%d]-> \x1b[0m%s", PrefixColour(level), module, LogAuthor::Current(), line,
            level == kInfo ? "\x1b[1;32m" : "\x1b[1;33m");
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputs("\n\n\x1b[0m", stderr);
}

}  // namespace plug
