#include "state_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "default_home.h"
#include "records.h"

namespace simulator {
namespace {

constexpr off_t kMaxFileSize = 1 << 20;

// Times of change are counted in clock ticks: a file changed within one may change again without showing it.
constexpr std::int64_t kTickNs = 20'000'000;

// What tells one version of the file from another.
struct FileVersion {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t changed_ns = 0;

    bool operator==(const FileVersion&) const = default;
};

struct SimulatorState {
    std::mutex mutex;  // guards all below
    cJSON* tree = nullptr;
    FileVersion version;      // of the file that gave the tree, or the refusal to parse it
    bool settled = false;     // the file was old enough when it was read for `version` to be conclusive
    bool complained = false;  // about this version
};
SimulatorState state;

std::int64_t Nanoseconds(const timespec& time) {
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

std::int64_t Now() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return Nanoseconds(now);
}

FileVersion VersionOf(const struct stat& info) {
    return {info.st_dev, info.st_ino, info.st_size, Nanoseconds(info.st_mtim)};
}

void Remember(cJSON* tree, const FileVersion& version, std::int64_t read_at) {
    if (tree != state.tree) cJSON_Delete(state.tree);
    if (version != state.version) state.complained = false;
    state.tree = tree;
    state.version = version;
    state.settled = read_at - version.changed_ns > kTickNs;
}

bool ReadAll(int fd, std::string* text) {
    std::size_t filled = 0;
    while (filled < text->size()) {
        const ssize_t received = read(fd, text->data() + filled, text->size() - filled);
        if (received < 0 && errno == EINTR) continue;
        if (received < 0) return false;
        if (received == 0) break;
        filled += static_cast<std::size_t>(received);
    }
    text->resize(filled);
    return true;
}

// The default home as JSON text, up since now; nullptr without memory. The caller frees it with cJSON_free.
char* DefaultHome() {
    cJSON* home = cJSON_Parse(kDefaultHome);
    cJSON_SetNumberValue(Member(Member(home, "router"), "started"), static_cast<double>(std::time(nullptr)));
    char* text = cJSON_Print(home);
    cJSON_Delete(home);
    return text;
}

// Opens the state file, writing the default home first when there is none.
int OpenState(const char* path) {
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0 || errno != ENOENT) return fd;
    char* home = DefaultHome();
    if (home == nullptr) return -1;
    const bool written = PublishFile(path, home, Publish::kUnlessThere).has_value();
    cJSON_free(home);
    return written ? open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
}

cJSON* Parse(const std::string& text) {
    const char* end = text.c_str();
    cJSON* tree = cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &end, true);
    if (cJSON_IsObject(tree)) return tree;
    cJSON_Delete(tree);
    Complain("not a JSON object, see line %td", 1 + std::count(text.c_str(), end, '\n'));
    return nullptr;
}

}  // namespace

StateLock::StateLock(bool writing) {
    state.mutex.lock();
    if (writing) file_lock_.emplace(StatePath());
}

StateLock::~StateLock() {
    file_lock_.reset();
    state.mutex.unlock();
}

cJSON* LoadState() {
    const char* path = StatePath();
    struct stat info;
    if (state.settled && stat(path, &info) == 0 && VersionOf(info) == state.version) return state.tree;

    const std::int64_t read_at = Now();
    const Fd fd(OpenState(path));
    if (fd.get() < 0 || fstat(fd.get(), &info) != 0) {
        Remember(nullptr, {}, 0);
        Complain("%s", std::strerror(errno));
        return nullptr;
    }
    Remember(nullptr, VersionOf(info), read_at);
    if (!S_ISREG(info.st_mode) || info.st_size > kMaxFileSize) {
        Complain("not a file of at most %jd bytes", static_cast<std::intmax_t>(kMaxFileSize));
        return nullptr;
    }
    std::string text(static_cast<std::size_t>(info.st_size), '\0');
    if (ReadAll(fd.get(), &text)) state.tree = Parse(text);
    return state.tree;
}

int SaveState() {
    char* text = cJSON_Print(state.tree);
    const auto written = text != nullptr ? PublishFile(StatePath(), text, Publish::kReplace) : std::nullopt;
    cJSON_free(text);
    if (!written) {
        Complain("cannot be written: %s", std::strerror(errno));
        return kNotSaved;
    }
    Remember(state.tree, VersionOf(*written), Now());
    return kOk;
}

void DropState() {
    cJSON_Delete(state.tree);
    state.tree = nullptr;
    state.settled = false;
}

void Complain(const char* format, ...) {
    if (state.complained) return;
    state.complained = true;
    char text[160];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "simulated router: %s: %s\n", StatePath(), text);
}

}  // namespace simulator
