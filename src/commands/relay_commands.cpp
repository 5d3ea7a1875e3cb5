// Commands that the local peer answers.
#include "commands/handlers.h"
#include "commserver/auto_report_config.h"
#include "commserver/comm_request.h"
#include "core/log.h"
#include "router/sdk_records.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr std::uint8_t kHighestBand = 8;
constexpr std::size_t kNeighbourSize = 77;

/// What a local request returned, as it travels. A failure is logged as that of `what`.
std::uint16_t Checked(unsigned result, const char* what) {
    if (result != 0) PLUG_LOG(kErr, "ERROR: %s failed! ret=%u", what, result);
    return static_cast<std::uint16_t>(result);
}

void GetSwitch(unsigned (*get)(std::uint8_t&), const char* what, Answer& answer) {
    std::uint8_t value = 0;
    answer.result = Checked(get(value), what);
    answer.payload.U8(answer.result == kDone ? value : std::uint8_t{0});
}

/// False, with a failed answer, when the reply is not `shortest` to `longest` bytes long.
bool LengthWithin(const LocalReply& reply, int shortest, int longest, Answer& answer) {
    if (reply.length >= shortest && reply.length <= longest) return true;
    PLUG_LOG(kErr, "ERROR: Data length is too short! len=%d", reply.length);
    answer.Fail(kLocalFailure);
    return false;
}

/// The reply's payload as it is, behind its length.
void PassReply(unsigned (*get)(LocalReply&), const char* what, int longest, Answer& answer) {
    LocalReply reply;
    answer.result = Checked(get(reply), what);
    if (answer.result != kDone || !LengthWithin(reply, 11, longest, answer)) return;
    answer.payload.U16(static_cast<std::uint16_t>(reply.payload().size()));
    answer.payload.Copy(reply.payload());
}

}  // namespace

void GetWifiFreqband(ByteReader& parameters, Answer& answer) {
    const std::uint8_t index = parameters.U8();
    PLUG_LOG(kDebug, "Get freqband index=%d", index);
    std::uint8_t band = 0;
    unsigned result = ComF_get_wifi_freqband(index, band);
    if (result == 0 && band > kHighestBand) result = kLocalFailure;
    answer.result = Checked(result, "get freqband");
    answer.payload.U8(answer.result == kDone ? band : std::uint8_t{0});
}

void GetMeshSupport(ByteReader&, Answer& answer) {
    GetSwitch(ComF_get_mesh_support, "get mesh support", answer);
}

void SetMeshSwitch(ByteReader& parameters, Answer& answer) {
    const std::uint8_t value = parameters.U8();
    PLUG_LOG(kDebug, "Set mesh switch=%d", value);
    answer.result = Checked(ComF_set_mesh_switch(value), "set mesh switch");
}

void GetMeshSwitch(ByteReader&, Answer& answer) {
    GetSwitch(ComF_get_mesh_switch, "get mesh switch", answer);
}

void SetMeshRoamingSwitch(ByteReader& parameters, Answer& answer) {
    const std::uint8_t value = parameters.U8();
    PLUG_LOG(kDebug, "Set mesh roaming switch=%d", value);
    answer.result = Checked(ComF_set_mesh_roaming_switch(value), "set mesh roaming switch");
}

void GetMeshRoamingSwitch(ByteReader&, Answer& answer) {
    GetSwitch(ComF_get_mesh_roaming_switch, "get mesh roaming switch", answer);
}

void SetMeshRoamingThreshold(ByteReader& parameters, Answer& answer) {
    const std::uint8_t index = parameters.U8();
    const std::uint8_t threshold = parameters.U8();
    PLUG_LOG(kDebug, "Set mesh roaming index=%d, threshold=%d", index, threshold);
    answer.result = Checked(ComF_set_mesh_roaming_threshold(index, threshold), "set mesh roaming threshold");
}

void GetMeshRoamingThreshold(ByteReader&, Answer& answer) {
    RoamingThreshold threshold{};
    answer.result = Checked(ComF_get_mesh_roaming_threshold(threshold), "get mesh roaming threshold");
    if (answer.result != kDone) threshold = {};
    PLUG_LOG(kDebug, "get threshold %u,%u", threshold.first, threshold.second);
    answer.payload.U32(threshold.first);
    answer.payload.U32(threshold.second);
}

void GetMeshTopology(ByteReader&, Answer& answer) {
    PassReply(ComF_get_mesh_topology, "get mesh topology", 4000, answer);
}

void GetNeighbourWifi(ByteReader&, Answer& answer) {
    LocalReply reply;
    answer.result = Checked(ComF_get_adj_wifi_info(reply), "get adj wifi info");
    if (answer.result != kDone || !LengthWithin(reply, 80, 4000, answer)) return;
    ByteReader entries(reply.payload());
    const std::uint16_t count = entries.U16();
    PLUG_LOG(kDebug, "adj wifi info length: %d", reply.length);
    PLUG_LOG(kDebug, "adj wifi adjdevnum: %d", count);
    const ConstBytes listed = entries.Take(count * kNeighbourSize);
    if (!entries.ok()) {
        PLUG_LOG(kErr, "list of %d neighbours refused, reply has %zu bytes of them", count, listed.size());
        answer.Fail(kLocalFailure);
        return;
    }
    answer.payload.U16(count);
    answer.payload.Copy(listed);
}

void GetBssid(ByteReader&, Answer& answer) {
    PassReply(ComF_get_bssid, "get bssid", 2048, answer);
}

void SetWan(ByteReader& parameters, Answer& answer) {
    answer.result = Checked(ComF_set_wan_cfg(TakeRecord<wan_cfg>(parameters)), "set wan configure");
}

void TriggerOneKeyOptimize(ByteReader&, Answer& answer) {
    answer.result = Checked(ComF_trig_onekey_optimize(), "trigger onekey optimize");
}

void TriggerFaultDiagnosis(ByteReader&, Answer& answer) {
    answer.result = Checked(ComF_trig_fault_diagnosis(), "trigger fault diagnosis");
}

void SetAutoReport(ByteReader& parameters, Answer& answer) {
    const std::uint16_t length = parameters.U16();
    PLUG_LOG(kDebug, "88 jsonLen: %d", length);
    answer.result = Checked(ComF_set_auto_report(AsText(parameters.Take(length))), "set auto report");
}

}  // namespace plug
