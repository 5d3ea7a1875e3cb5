#include "platform/inbound.h"

#include <cstdio>

#include "core/log.h"
#include "core/process.h"
#include "core/status_file.h"
#include "platform/link_state.h"
#include "platform/security.h"
#include "platform/session.h"
#include "platform/settings.h"
#include "platform/uplink.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Protool.c";

constexpr std::uint16_t kReconnectWord = 0xFFFF;
constexpr std::uint16_t kShortestCommand = 10;       // bytes of a function command, up to its parameters
constexpr std::uint16_t kMostUnansweredData = 1018;  // bytes of a plug data command that gets no answer

enum ResultCode : std::uint16_t { kSuccess = 0, kBadChecksum = 11 };

struct InboundState {
    CommandHandlers handlers{};                       // set once at start-up
    std::array<std::uint8_t, kMaxFrameSize> plain{};  // response thread only, like the answer
    std::array<std::uint8_t, kMaxFrameSize> answer{};
    std::array<char, kMaxFrameSize> payload{};
};
constinit InboundState state;

/// A decrypted body. Without a whole block there is no plaintext and no valid padding.
struct Plaintext {
    ConstBytes padded;
    ConstBytes bytes;  // padding dropped; the padded bytes where the padding is not valid
    bool padding_valid = false;
};

/// False when the frame has no body or it cannot be decrypted: such a frame is ignored.
bool Decrypt(const InboundFrame& frame, Plaintext& plain) {
    if (frame.header.body_length == 0) return false;
    std::size_t length = 0;
    if (aes_decrypt(PlatformSettings().key, frame.body(), state.plain, length) != 0) return false;
    plain.padded = plain.bytes = ConstBytes(state.plain).first(length);
    plain.padding_valid = WithoutPadding(plain.padded, plain.bytes);
    return true;
}

/// Decrypts a command that is not answered, so its checksum is not verified; one with an invalid padding is
/// ignored.
bool DecryptUnverified(const InboundFrame& frame, Plaintext& plain) {
    if (!Decrypt(frame, plain)) return false;
    if (!plain.padding_valid) PLUG_LOG(kErr, "padding error in a body of %zu bytes", plain.padded.size());
    return plain.padding_valid;
}

bool Verified(const InboundFrame& frame, const Plaintext& plain) {
    const std::uint8_t sum = FrameChecksum(frame.header.body_length, frame.head(), plain.bytes);
    if (plain.padding_valid && sum == frame.header.checksum) return true;
    PLUG_LOG(kErr, "checksum error, frame says %d, its bytes %d", frame.header.checksum, sum);
    return false;
}

void LogReceived(const InboundFrame& frame, const DataRecord& record) {
    PLUG_LOG(kInfo, "Recv MsgType=[%d] DataType=[%d] DataLen=[%d]", static_cast<int>(frame.header.type()),
             record.data_type, record.declared_length);
}

void HandleAckFrame(const InboundFrame& frame) {
    Plaintext plain;
    if (frame.header.body_length > 0 && !Decrypt(frame, plain)) return;
    HandleAck(frame, plain.padded);
}

/// Runs a verified function command and sends its answers: a failing one may get two.
void ExecuteFunctionCommand(const DataRecord& record) {
    const auto reply = [&record](std::uint16_t code, ConstBytes body) {
        SendReplyUpData(code, body, record.data_type, &record.address);
    };
    if (record.declared_length < kShortestCommand) {
        reply(kSuccess, AsBytes("length error"));
        return;
    }
    state.answer = {};
    std::size_t length = 0;
    const Bytes room = Bytes(state.answer).first(kMaxUpData);  // what a reply can carry
    const int result = state.handlers.function_command(record.data, room, length);
    if (length > 0) reply(kSuccess, ConstBytes(state.answer).first(length));
    if (result != 0) reply(static_cast<std::uint16_t>(result), AsBytes("parser error"));
}

/// Runs a plug data command. What its family returned.
int RunPlugCommand(const DataRecord& record) {
    CopyText(state.payload, AsText(record.data));  // never cut: a record is shorter than a frame
    return state.handlers.plug_command(record.data_type, state.payload.data());
}

void ExecutePlugCommand(const DataRecord& record) {
    const int result = RunPlugCommand(record);
    char text[32];
    snprintf(text, sizeof text, "{\"result\":%d}", result);
    SendReplyUpData(static_cast<std::uint16_t>(result), AsBytes(text), record.data_type, nullptr);
}

/// A command of either family: checked, then executed, or answered with the failed check.
void HandleCommand(const InboundFrame& frame, bool with_address, void (*execute)(const DataRecord& record)) {
    SetAckSeen(true);
    Plaintext plain;
    if (!Decrypt(frame, plain)) return;
    const DataRecord record = ReadDataRecord(plain.bytes, with_address);
    LogReceived(frame, record);
    if (!Verified(frame, plain)) {
        SendReplyUpData(kBadChecksum, {}, record.data_type, with_address ? &record.address : nullptr);
        return;
    }
    execute(record);
}

/// A plug reply coming down carries a plug data command too; it is neither verified nor answered.
void HandlePlugReply(const InboundFrame& frame) {
    SetAckSeen(true);
    Plaintext plain;
    if (!DecryptUnverified(frame, plain)) return;
    const DataRecord record = ReadDataRecord(plain.padded, false);
    LogReceived(frame, record);
    if (record.declared_length <= kMostUnansweredData) RunPlugCommand(record);
}

/// A function reply coming down is only noted.
void HandleFunctionReply(const InboundFrame& frame) {
    SetAckSeen(true);
    Plaintext plain;
    if (DecryptUnverified(frame, plain)) LogReceived(frame, ReadDataRecord(plain.bytes, true));
}

[[noreturn]] void ForcedDisconnect() {
    PLUG_LOG(kInfo, "force disconnect exit !!!!!");
    WriteStatus(Status::kForcedDisconnect);
    PLUG_LOG(kErr, "exit at [CBHandle] %d", __LINE__);
    EndProcess();
}

}  // namespace

void SetCommandHandlers(const CommandHandlers& handlers) {
    state.handlers = handlers;
}

void CBHandle(const InboundFrame& frame) {
    const LogAuthor author(__func__);
    if (frame.body_lead_word == kReconnectWord) {
        PLUG_LOG(kErr, "net error reconnect");
        RaiseLinkError();
        return;
    }
    switch (frame.header.type()) {
        case MsgType::kHeartbeatAck:
            PLUG_LOG(kInfo, "heart beat ack");
            NoteHeartbeatAck();
            return;
        case MsgType::kForcedDisconnect:
            ForcedDisconnect();
        case MsgType::kAck:
            HandleAckFrame(frame);
            return;
        case MsgType::kPlugCommand:
            HandleCommand(frame, false, ExecutePlugCommand);
            return;
        case MsgType::kFunctionCommand:
            HandleCommand(frame, true, ExecuteFunctionCommand);
            return;
        case MsgType::kPlugReply:
            HandlePlugReply(frame);
            return;
        case MsgType::kFunctionReply:
            HandleFunctionReply(frame);
            return;
        default:
            return;
    }
}

}  // namespace plug
