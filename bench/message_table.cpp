#include "bench/message_table.h"

#include <numeric>

namespace plug::bench {
namespace {

using K = FieldKind;

constexpr Field kCode[] = {{"code", K::kU16}};
constexpr Field kTime[] = {{"agent_time", K::kU32}};
constexpr Field kRegisterHead[] = {{"", K::kSkip, 3}, {"pin", K::kText, 12}};
constexpr Field kRegister[] = {
    {"", K::kSkip, 2}, {"serial", K::kShortText}, {"mac", K::kMac}, {"", K::kSkip, 32}};
constexpr Field kRegisterAck[] = {{"", K::kSkip, 2},
                                  {"token", K::kText, 32},
                                  {"login_server", K::kIp},
                                  {"login_port", K::kU16},
                                  {"second_value", K::kText, 32}};
constexpr Field kLoginHead[] = {{"pin", K::kText, 12}, {"token", K::kText, 32}};
constexpr Field kLogin[] = {{"", K::kSkip, 19}, {"version", K::kRaw, 4}, {"", K::kSkip, 2}};
constexpr Field kLoginAck[] = {{"", K::kSkip, 2}, {"interval", K::kU16}};

constexpr Fields kNone{};
constexpr MessageForm kMessages[] = {
    {MsgType::kHeartbeat, "heartbeat", kTime},
    {MsgType::kHeartbeatAck, "heartbeat ack"},
    {MsgType::kForcedDisconnect, "forced disconnect"},
    {MsgType::kRegister, "register", kRegisterHead, BodyForm::kFields, kRegister},
    {MsgType::kLogin, "login", kLoginHead, BodyForm::kFields, kLogin},
    {MsgType::kAck, "register ack", kCode, BodyForm::kFields, kRegisterAck},
    {MsgType::kAck, "login ack", kCode, BodyForm::kFields, kLoginAck},
    {MsgType::kAck, "ack", kCode},
    {MsgType::kDataReport, "report", kNone, BodyForm::kRecord},
    {MsgType::kPlugCommand, "plug command", kNone, BodyForm::kRecord},
    {MsgType::kAddressedReport, "addressed report", kNone, BodyForm::kAddressed},
    {MsgType::kFunctionCommand, "function command", kNone, BodyForm::kAddressed},
    {MsgType::kPlugReply, "plug reply", kCode, BodyForm::kRecord},
    {MsgType::kFunctionReply, "function reply", kCode, BodyForm::kAddressed},
};

constexpr PlugDataForm kPlugData[] = {
    {1, "update-notice"},   {2, "update-order"},     {4, "online-result"},   {5, "favoured-device"},
    {6, "known-device"},    {7, "unknown-device"},   {9, "port-forwarding"}, {15, "firmware-notice"},
    {16, "firmware-order"}, {18, "online-interval"},
};

}  // namespace

std::span<const MessageForm> MessageForms() {
    return kMessages;
}

std::span<const PlugDataForm> PlugDataForms() {
    return kPlugData;
}

std::size_t LeastSize(Fields fields) {
    return std::accumulate(fields.begin(), fields.end(), std::size_t{0},
                           [](std::size_t sum, const Field& field) { return sum + FieldSize(field); });
}

const MessageForm* FindMessage(MsgType type, std::size_t plain_size) {
    const auto* const found = std::ranges::find_if(kMessages, [=](const MessageForm& form) {
        return form.type == type && LeastSize(form.body) <= plain_size;
    });
    return found == std::end(kMessages) ? nullptr : found;
}

}  // namespace plug::bench
