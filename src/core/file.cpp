#include "core/file.h"

#include <fcntl.h>
#include <unistd.h>

namespace plug {

FilePtr OpenToRead(const char* path) {
    return FilePtr(fopen(path, "re"));
}

FilePtr OpenToWrite(const char* path) {
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor < 0) return nullptr;
    FILE* const file = fdopen(descriptor, "wb");
    if (file == nullptr) close(descriptor);
    return FilePtr(file);
}

}  // namespace plug
