#include "platform/uplink.h"

#include "core/clock.h"
#include "core/log.h"
#include "platform/link_state.h"
#include "platform/settings.h"
#include "platform/tcp_server.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Protool.c";

bool Fits(ConstBytes data) {
    if (data.size() <= kMaxUpData) return true;
    PLUG_LOG(kErr, "%zu bytes are too many to send", data.size());
    return false;
}

}  // namespace

int SendRouteUpData(ConstBytes head, ConstBytes body, MsgType type, int flag, std::uint8_t checksum) {
    const LogAuthor author(__func__);
    if (head.empty() && body.empty()) return -1;
    std::array<std::uint8_t, kMaxFrameSize> frame;
    const std::size_t size = WriteFrame(frame, type, flag, head, body, checksum);
    if (type == MsgType::kAddressedReport) PLUG_LOG(kDebug, "%zu", size);
    if (SendFrame(ConstBytes(frame).first(size)) != 0) {
        PLUG_LOG(kErr, "mTcpConnectServer->sendData error");
        return -1;
    }
    return 0;
}

int SendRecord(MsgType type, int flag, ConstBytes head, ConstBytes plain) {
    std::array<std::uint8_t, kMaxFrameSize> body;
    std::size_t body_size = 0;
    if (aes_encrypt(PlatformSettings().key, plain, body, body_size) != 0) return -1;
    return SendRouteUpData(head, ConstBytes(body).first(body_size), type, flag,
                           FrameChecksum(body_size, head, plain));
}

int SendIpUpData(ConstBytes data, std::uint8_t data_type, const MacAddress* address) {
    const LogAuthor author(__func__);
    if (!LoggedIn() || data.empty() || !Fits(data)) return -1;
    std::array<std::uint8_t, kMaxFrameSize> plain;
    ByteWriter record(plain);
    WriteDataRecord(record, data_type, address, data);
    const MsgType type = address != nullptr ? MsgType::kAddressedReport : MsgType::kDataReport;
    const int result = SendRecord(type, 1, {}, record.written());
    PLUG_LOG(kInfo, "Send MsgType=[%u] DataType=[%u] ", static_cast<unsigned>(type), data_type);
    return result;
}

int SendReplyUpData(std::uint16_t result_code, ConstBytes data, std::uint8_t data_type,
                    const MacAddress* address) {
    const LogAuthor author(__func__);
    if (!LoggedIn() || !Fits(data)) return -1;
    const MsgType type = address != nullptr ? MsgType::kFunctionReply : MsgType::kPlugReply;
    std::array<std::uint8_t, sizeof result_code> head_bytes;
    ByteWriter head(head_bytes);
    head.U16(result_code);
    if (data.empty()) return SendRouteUpData(head_bytes, {}, type, 0, FrameChecksum(0, head_bytes, {}));
    std::array<std::uint8_t, kMaxFrameSize> plain;
    ByteWriter record(plain);
    WriteDataRecord(record, data_type, address, data);
    return SendRecord(type, 0, head_bytes, record.written());
}

int SendHeartbeat() {
    std::array<std::uint8_t, 4> head_bytes;
    ByteWriter head(head_bytes);
    head.U32(static_cast<std::uint32_t>(WallSeconds()));
    return SendRouteUpData(head_bytes, {}, MsgType::kHeartbeat, 1, FrameChecksum(0, head_bytes, {}));
}

}  // namespace plug
