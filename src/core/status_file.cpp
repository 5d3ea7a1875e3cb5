#include "core/status_file.h"

#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Common.c";

}  // namespace

int WriteStatus(Status status) {
    const FilePtr file = OpenToWrite(kStatusPath);
    if (!file) {
        PLUG_LOG(kErr, "Can not open(\"%s\") for status %d.", kStatusPath, static_cast<int>(status));
        return -1;
    }
    fprintf(file.get(), "%03d\n", static_cast<int>(status));
    return 0;
}

}  // namespace plug
