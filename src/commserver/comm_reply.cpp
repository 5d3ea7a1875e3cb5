#include "commserver/comm_reply.h"

#include <atomic>

#include "core/log.h"
#include "core/sync.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr std::size_t kMaxReply = 4000;

struct ReplyState {
    Mutex mutex;
    LocalReply reply PLUG_CHECKED(guarded_by(mutex));
    Event ready;
    std::atomic<bool> ended{false};
};
constinit ReplyState state;

}  // namespace

void ResetReply() {
    const Guard guard(state.mutex);
    state.reply = {};
    state.ready.Clear();
}

void CommFuncRecv(ConstBytes payload) {
    const LogAuthor author(__func__);
    const Guard guard(state.mutex);
    LocalReply& reply = state.reply;
    reply.result = payload.empty() ? std::uint8_t{0} : payload[0];
    if (reply.result != 0) return;
    if (payload.empty() || payload.size() > kMaxReply) {
        PLUG_LOG(kErr, "ERROR: receive data too large!");
        reply.result = 1;
        return;
    }
    reply.length = static_cast<std::uint16_t>(payload.size());
    *std::copy(payload.begin() + 1, payload.end(), reply.data.begin()) = 0;
    PLUG_LOG(kDebug, "Recv length: %d", reply.length);
}

void SetReplyReady() {
    state.ready.Set();
}

void ClearReplyReady() {
    state.ready.Clear();
}

void EndReplyWaits() {
    state.ended = true;
    state.ready.Set();
}

bool Route_Wait(int polls) {
    const LogAuthor author(__func__);
    if (state.ended) return false;
    if (state.ready.WaitFor(std::int64_t{polls} * kPollMilliseconds)) return !state.ended;
    PLUG_LOG(kErr, "ERROR: request timeout!");
    return false;
}

void CopyReply(LocalReply& out) {
    const Guard guard(state.mutex);
    out = state.reply;
}

}  // namespace plug
