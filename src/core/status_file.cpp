#include "core/status_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "core/log.h"
#include "core/paths.h"

namespace plug {

constexpr char kLogModule[] = "Common.c";

int WriteStatus(Status status) {
    // /tmp is shared: a link planted there is not followed.
    const int file = open(kStatusPath, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (file < 0) {
        PLUG_LOG(kErr, "Can not open(\"%s\") for status %d.", kStatusPath, static_cast<int>(status));
        return -1;
    }
    char line[8];
    const int length = snprintf(line, sizeof line, "%03d\n", static_cast<int>(status));
    const bool written = write(file, line, static_cast<std::size_t>(length)) == length;
    close(file);
    return written ? 0 : -1;
}

}  // namespace plug
