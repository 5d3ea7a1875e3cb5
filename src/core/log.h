// The one diagnostic log: coloured, levelled entries on standard error.
//
// Each source file declares `constexpr char kLogModule[]`, the module name in its entries, and calls
// PLUG_LOG. An entry is "<date> <time> [LEVEL]", a coloured " [module->author->line]-> " and the coloured
// text with one blank line after it. Any thread may log; entries of different threads may interleave. A
// disabled level costs one test of the mask.
//
// The author of an entry is the named operation that logs it, whichever of its helpers the line stands in.
// Readers of the log filter by it, so every operation that logs opens a LogAuthor with its name.
#pragma once

#include <cstdint>

namespace plug {

enum LogLevel : std::uint32_t {
    kErr = 1,
    kWarn = 2,
    kNotice = 4,
    kInfo = 8,
    kDebug = 16,
};
constexpr std::uint32_t kAllLevels = 31;

/// Sets the mask of enabled levels; it starts as kErr. Called once, before any thread starts.
void SetLogMask(std::uint32_t mask);
/// True when the mask has every level: the agent runs in debug mode.
bool DebugMode();
/// 0 when `level` is disabled or not a single bit; else prints its time stamp and returns 1.
int LogTest(std::uint32_t level);
/// Prints the location and the text of an entry whose time stamp LogTest has printed.
void LogWrite(std::uint32_t level, const char* module, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// Makes `name`, which must outlive the scope, the author of what the calling thread logs in the scope.
class LogAuthor {
  public:
    explicit LogAuthor(const char* name) : outer_(current_) { current_ = name; }
    ~LogAuthor() { current_ = outer_; }
    LogAuthor(const LogAuthor&) = delete;
    LogAuthor& operator=(const LogAuthor&) = delete;

    /// The innermost author; "?" outside of every scope.
    static const char* Current() { return current_; }

  private:
    static inline constinit thread_local const char* current_ = "?";
    const char* const outer_;
};

}  // namespace plug

#define PLUG_LOG(level, ...)                                                                         \
    do {                                                                                             \
        if (::plug::LogTest(level) != 0) ::plug::LogWrite(level, kLogModule, __LINE__, __VA_ARGS__); \
    } while (false)
