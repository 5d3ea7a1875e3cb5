#include "preload/test_clock.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <limits>
#include <new>
#include <system_error>

namespace plug::preload {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kNoLeash = std::numeric_limits<std::int64_t>::max();

template <class Clock>
std::int64_t Since() {
    return Clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

std::int64_t Now() {
    return Since<std::chrono::steady_clock>();
}

}  // namespace

TestClock::TestClock(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* mapped = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(Clock)) == 0)
        mapped = mmap(nullptr, sizeof(Clock), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (mapped == MAP_FAILED) throw std::system_error(errno, std::generic_category(), path);
    const std::int64_t now = Now();
    clock_ =
        new (mapped) Clock{{0}, {now}, {now}, {1}, {kNoLeash}, {Since<std::chrono::system_clock>() - now}};
}

TestClock::~TestClock() {
    munmap(clock_, sizeof(Clock));
}

void TestClock::Move(std::int64_t seconds, int speed) {
    const std::int64_t now = Now();
    const std::int64_t shown = clock_->Shown(now) + seconds * kSecond;
    ++clock_->sequence;
    clock_->true_anchor = now;
    clock_->shown_anchor = shown;
    clock_->speed = speed;
    ++clock_->sequence;
}

void TestClock::Leash(std::chrono::nanoseconds true_time) {
    clock_->leash = true_time.count();
    Move(0, speed());
}

void TestClock::SetDay(std::int64_t seconds) {
    clock_->day = seconds * kSecond - clock_->Shown(Now());
}

double TestClock::Elapsed() const {
    return static_cast<double>(clock_->Shown(Now())) / kSecond;
}

double TestClock::Day() const {
    return Elapsed() + static_cast<double>(clock_->day) / kSecond;
}

}  // namespace plug::preload
