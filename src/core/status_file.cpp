#include "core/status_file.h"

#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/sync.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Common.c";

struct StatusState {
    Mutex mutex;  // held over a write, so that none goes over the last word
    bool last_word PLUG_CHECKED(guarded_by(mutex)) = false;
};
constinit StatusState state;

bool IsLastWord(Status status) {
    return status == Status::kUpdateReady || status == Status::kForcedDisconnect;
}

}  // namespace

int WriteStatus(Status status) {
    const Guard guard(state.mutex);
    if (state.last_word) return 0;
    char text[8];
    const int length = snprintf(text, sizeof text, "%03d\n", static_cast<int>(status));
    if (OverwriteFile(kStatusPath, {text, static_cast<std::size_t>(length)}) != 0) {
        PLUG_LOG(kErr, "Can not write(\"%s\") status %d.", kStatusPath, static_cast<int>(status));
        return -1;
    }
    state.last_word = IsLastWord(status);
    return 0;
}

}  // namespace plug
