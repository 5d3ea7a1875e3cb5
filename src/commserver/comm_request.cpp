#include "commserver/comm_request.h"

#include "commserver/comm_send.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/sync.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr int kLongPolls = 1200;
constexpr unsigned kFailed = 1;

constexpr std::int64_t kNoLimit = 86'400'000;  // milliseconds; a request under way ends long before

struct RequestState {
    Mutex mutex;
    bool under_way PLUG_CHECKED(guarded_by(mutex)) = false;  // a request, until its reply is copied out
    Event ended;
};
constinit RequestState state;

/// The turn of one request; the next one waits for its end.
class Turn {
  public:
    /// Waits for the turn, at most `milliseconds`.
    explicit Turn(std::int64_t milliseconds) {
        const std::int64_t deadline = MonotonicMilliseconds() + milliseconds;
        do {
            taken_ = Take();
        } while (!taken_ && state.ended.WaitFor(deadline - MonotonicMilliseconds()));
    }
    ~Turn() {
        if (!taken_) return;
        const Guard guard(state.mutex);
        state.under_way = false;
        state.ended.Set();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    bool taken() const { return taken_; }

  private:
    static bool Take() {
        const Guard guard(state.mutex);
        if (state.under_way) return false;
        state.under_way = true;
        state.ended.Clear();
        return true;
    }

    bool taken_ = false;
};

/// A large query.
unsigned Fetch(const LocalRequest& request, LocalReply& reply) {
    return Exchange(request, {}, reply) == RequestOutcome::kReplied ? reply.result : kFailed;
}

unsigned GetByte(const LocalRequest& request, ConstBytes data, std::uint8_t& out) {
    LocalReply reply;
    if (Exchange(request, data, reply) != RequestOutcome::kReplied) return kFailed;
    out = reply.data[0];
    return reply.result;
}

ConstBytes OneByte(const std::uint8_t& value) {
    return {&value, 1};
}

}  // namespace

RequestOutcome Exchange(const LocalRequest& request, ConstBytes data, LocalReply& reply) {
    const LogAuthor author(request.operation);
    const std::int64_t time = std::int64_t{request.polls} * kPollMilliseconds;
    const std::int64_t deadline = MonotonicMilliseconds() + time;
    const Turn turn(request.impatient ? time : kNoLimit);
    if (!turn.taken()) {
        const LogAuthor waiting("Route_Wait");
        PLUG_LOG(kErr, "ERROR: request timeout!");
        return RequestOutcome::kNoReply;
    }
    ClearReplyReady();
    if (CommSendCmd(request.func_id, data) != 0) {
        PLUG_LOG(kErr, "%s", request.send_failure);
        return RequestOutcome::kNotSent;
    }
    const std::int64_t left = request.impatient ? deadline - MonotonicMilliseconds() : time;
    if (!Route_Wait(static_cast<int>(left / kPollMilliseconds))) return RequestOutcome::kNoReply;
    CopyReply(reply);
    return RequestOutcome::kReplied;
}

unsigned RequestResult(const LocalRequest& request, ConstBytes data) {
    LocalReply reply;
    return Exchange(request, data, reply) == RequestOutcome::kReplied ? reply.result : kFailed;
}

unsigned ComF_get_wifi_freqband(std::uint8_t band, std::uint8_t& out) {
    return GetByte({__func__, 70, kUsualPolls, "ERROR: send command failed!"}, OneByte(band), out);
}

unsigned ComF_get_mesh_support(std::uint8_t& out) {
    return GetByte({__func__, 71, kUsualPolls, "ERROR: send get mesh support command failed!"}, {}, out);
}

unsigned ComF_set_mesh_switch(std::uint8_t value) {
    return RequestResult({__func__, 72, kUsualPolls, "ERROR: send set mesh switch command failed!"},
                         OneByte(value));
}

unsigned ComF_get_mesh_switch(std::uint8_t& out) {
    return GetByte({__func__, 73, kUsualPolls, "ERROR: send get mesh switch command failed!"}, {}, out);
}

unsigned ComF_set_mesh_roaming_switch(std::uint8_t value) {
    return RequestResult({__func__, 74, kUsualPolls, "ERROR: send set mesh roaming switch command failed!"},
                         OneByte(value));
}

unsigned ComF_get_mesh_roaming_switch(std::uint8_t& out) {
    return GetByte({__func__, 75, kUsualPolls, "ERROR: send get mesh roaming switch command failed!"}, {},
                   out);
}

unsigned ComF_set_mesh_roaming_threshold(std::uint8_t first, std::uint8_t second) {
    const std::uint8_t values[] = {first, second};
    return RequestResult(
        {__func__, 76, kUsualPolls, "ERROR: send set mesh roaming threshold command failed!"}, values);
}

unsigned ComF_get_mesh_roaming_threshold(RoamingThreshold& out) {
    LocalReply reply;
    const LocalRequest request{__func__, 77, kUsualPolls,
                               "ERROR: send get mesh roaming threshold command failed!"};
    if (Exchange(request, {}, reply) != RequestOutcome::kReplied) return kFailed;
    out = {reply.data[0], reply.data[1]};
    return reply.result;
}

unsigned ComF_get_mesh_topology(LocalReply& reply) {
    return Fetch({__func__, 78, kUsualPolls, "ERROR: send get mesh topology command failed!"}, reply);
}

unsigned ComF_get_adj_wifi_info(LocalReply& reply) {
    return Fetch({__func__, 79, kLongPolls, "ERROR: send get adj wifi info command failed!"}, reply);
}

unsigned ComF_get_bssid(LocalReply& reply) {
    return Fetch({__func__, 80, kUsualPolls, "ERROR: send get bssid command failed!"}, reply);
}

unsigned ComF_set_wan_cfg(const wan_cfg& record) {
    return RequestResult({__func__, 82, kUsualPolls, "ERROR: send set wan cfg command failed!"},
                         AsBytes({reinterpret_cast<const char*>(&record), sizeof record}));
}

unsigned ComF_trig_onekey_optimize() {
    return RequestResult({__func__, 83, kUsualPolls, "ERROR: send trigger onekey optimize command failed!"},
                         {});
}

unsigned ComF_trig_fault_diagnosis() {
    return RequestResult({__func__, 85, kUsualPolls, "ERROR: send trigger fault diagnosis command failed!"},
                         {});
}

int SendPluginState() {
    if (CommSendCmd(998, {}) != 0) {
        PLUG_LOG(kErr, "ERROR: send plugin state failed!");
        return 1;
    }
    PLUG_LOG(kDebug, "send plugin state ok, no need ack.");
    return 0;
}

int ComF_send_pluginstate() {
    const LogAuthor author(__func__);
    return SendPluginState();
}

}  // namespace plug
