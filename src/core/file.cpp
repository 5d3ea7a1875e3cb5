#include "core/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace plug {
namespace {

constexpr int kOpenFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

bool IsOwn(int descriptor) {
    struct stat file {};
    return fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_uid == geteuid() &&
           file.st_nlink == 1 && (file.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// Opens a file of the agent's own; -1 when there is none.
int OpenOwn(const char* path, int access) {
    const int descriptor = open(path, access | kOpenFlags);
    if (descriptor < 0 || IsOwn(descriptor)) return descriptor;
    close(descriptor);
    return -1;
}

/// Opens an empty file of the agent's own to write; -1 when that fails.
int OpenEmpty(const char* path) {
    const int own = OpenOwn(path, O_WRONLY);
    if (own >= 0 && ftruncate(own, 0) == 0) return own;
    if (own >= 0) close(own);
    unlink(path);
    return open(path, O_WRONLY | O_CREAT | O_EXCL | kOpenFlags, 0644);
}

FilePtr Stream(int descriptor, const char* mode) {
    FILE* const file = descriptor >= 0 ? fdopen(descriptor, mode) : nullptr;
    if (descriptor >= 0 && file == nullptr) close(descriptor);
    return FilePtr(file);
}

/// Writes the text over the beginning of the file.
bool WriteOver(int descriptor, std::string_view text) {
    ssize_t written = -1;
    do {
        written = pwrite(descriptor, text.data(), text.size(), 0);
    } while (written < 0 && errno == EINTR);
    return written == static_cast<ssize_t>(text.size());
}

}  // namespace

FilePtr OpenToRead(const char* path) {
    return FilePtr(fopen(path, "re"));
}

FilePtr OpenOwnToRead(const char* path) {
    return Stream(OpenOwn(path, O_RDONLY), "r");
}

FilePtr OpenToWrite(const char* path) {
    return Stream(OpenEmpty(path), "wb");
}

int OverwriteFile(const char* path, std::string_view text) {
    const int descriptor = OpenOwn(path, O_WRONLY);
    if (descriptor < 0) return ReplaceFile(path, text);
    const bool done =
        WriteOver(descriptor, text) && ftruncate(descriptor, static_cast<off_t>(text.size())) == 0;
    close(descriptor);
    return done ? 0 : ReplaceFile(path, text);  // not to leave half of it
}

int ReplaceFile(const char* path, std::string_view text) {
    std::array<char, 64> draft;
    if (snprintf(draft.data(), draft.size(), "%s.new", path) >= static_cast<int>(draft.size())) return -1;
    const int descriptor = OpenEmpty(draft.data());
    if (descriptor < 0) return -1;
    const bool done = WriteOver(descriptor, text);
    close(descriptor);
    return done && rename(draft.data(), path) == 0 ? 0 : -1;
}

}  // namespace plug
