#include "core/file.h"

#include <fcntl.h>
#include <unistd.h>

namespace plug {
namespace {

FilePtr OpenAs(const char* path, int flags, const char* mode) {
    const int descriptor = open(path, flags | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor < 0) return nullptr;
    FILE* const file = fdopen(descriptor, mode);
    if (file == nullptr) close(descriptor);
    return FilePtr(file);
}

}  // namespace

FilePtr OpenToRead(const char* path) {
    return FilePtr(fopen(path, "re"));
}

FilePtr OpenOwnToRead(const char* path) {
    return OpenAs(path, O_RDONLY | O_NONBLOCK, "r");
}

FilePtr OpenToWrite(const char* path) {
    return OpenAs(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK, "wb");
}

}  // namespace plug
