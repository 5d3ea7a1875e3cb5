#include "shared_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace simulator {
namespace {

constexpr char kDefaultPath[] = "/tmp/router.json";

// False on an error.
bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool Lock(int fd) {
    int result;
    do {
        result = flock(fd, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

}  // namespace

const char* StatePath() {
    const char* path = std::getenv("ROUTER_SIM");
    return path != nullptr && *path != '\0' ? path : kDefaultPath;
}

WriteLock::WriteLock(const std::string& path)
    : file_(open((path + ".lock").c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644)),
      held_(file_.get() >= 0 && Lock(file_.get())) {}

std::optional<struct stat> PublishFile(const std::string& path, std::string_view text, Publish publish) {
    const std::string draft = path + "." + std::to_string(getpid()) + ".tmp";
    const Fd fd(open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (fd.get() < 0) return {};
    struct stat info;
    bool done = WriteAll(fd.get(), text) && WriteAll(fd.get(), "\n") && fstat(fd.get(), &info) == 0;
    if (done && publish == Publish::kReplace) done = rename(draft.c_str(), path.c_str()) == 0;
    if (done && publish == Publish::kUnlessThere)
        done = link(draft.c_str(), path.c_str()) == 0 || errno == EEXIST;
    const int error = errno;
    if (!done || publish == Publish::kUnlessThere) unlink(draft.c_str());
    errno = error;
    return done ? std::optional(info) : std::nullopt;
}

}  // namespace simulator
