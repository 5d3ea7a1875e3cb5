#include "preload/test_clock.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <new>
#include <system_error>

namespace plug::preload {
namespace {

std::int64_t Now() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
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
    clock_ = new (mapped) Clock{{0}, {now}, {now}, {1}};
}

TestClock::~TestClock() {
    munmap(clock_, sizeof(Clock));
}

void TestClock::Move(std::int64_t seconds, int speed) {
    const std::int64_t now = Now();
    const std::int64_t shown = clock_->Shown(now) + seconds * 1'000'000'000;
    ++clock_->sequence;
    clock_->true_anchor = now;
    clock_->shown_anchor = shown;
    clock_->speed = speed;
    ++clock_->sequence;
}

}  // namespace plug::preload
