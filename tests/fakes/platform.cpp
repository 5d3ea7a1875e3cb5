#include "fakes/platform.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "core/profile.h"
#include "platform/link_state.h"
#include "platform/security.h"
#include "platform/session.h"
#include "platform/settings.h"

using namespace plug;

namespace {

constexpr char kProfile[] = "/tmp/plug.conf";

bool AddressedType(MsgType type) {
    return type == MsgType::kAddressedReport || type == MsgType::kFunctionReply;
}

}  // namespace

Platform::Platform() {
    std::ofstream(kProfile) << "[Dev]\nPIN=123456789012\n[Protool]\nKEY=0123456789abcdef\n"
                               "SERVER1=127.0.0.1\n";
    NewProgramProfile("", kProfile);
    InitProtool();
    SetRouterIdentity({0x00, 0x00, 0x5E, 0x00, 0x53, 0x01});
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(listener_, 1);
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
}

Platform::~Platform() {
    DeleteServer(threads_);
    close(listener_);
    close(link_);
}

void Platform::Attach() {
    SetLinkHandlers({[](const InboundFrame&) {}, [] {}});
    ServerInit("127.0.0.1", port_, threads_);
    SetLoggedIn(true);
}

void Platform::Accept() {
    if (link_ < 0) link_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
}

bool Platform::ReadAll(void* out, std::size_t size) const {
    auto* bytes = static_cast<std::uint8_t*>(out);
    while (size > 0) {
        pollfd waited{link_, POLLIN, 0};
        if (poll(&waited, 1, 10'000) != 1) return false;
        const ssize_t count = recv(link_, bytes, size, 0);
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

UpFrame Platform::Receive() {
    Accept();
    UpFrame frame;
    std::array<std::uint8_t, kFrameHeaderSize> header_bytes;
    if (!ReadAll(header_bytes.data(), header_bytes.size())) return frame;
    const FrameHeader header = ReadFrameHeader(header_bytes);
    std::vector<std::uint8_t> body(header.body_length);
    frame.head.resize(header.head_length);
    if (!ReadAll(frame.head.data(), frame.head.size()) || !ReadAll(body.data(), body.size())) return frame;
    frame.type = header.type();
    frame.flag = header.type_byte >> 5;
    frame.with_body = !body.empty();
    if (!frame.with_body) return frame;
    std::vector<std::uint8_t> plain(body.size());
    std::size_t length = 0;
    aes_decrypt(PlatformSettings().key, body, plain, length);
    ConstBytes record_bytes;
    WithoutPadding(ConstBytes(plain).first(length), record_bytes);
    const DataRecord record = ReadDataRecord(record_bytes, AddressedType(frame.type));
    frame.data_type = record.data_type;
    frame.address = record.address;
    frame.data = AsText(record.data);
    return frame;
}

bool Platform::Silent() {
    Accept();
    pollfd waited{link_, POLLIN, 0};
    return poll(&waited, 1, 0) == 0;
}

InboundFrame Platform::Down(MsgType type, std::uint8_t data_type, std::string_view data, bool with_address) {
    std::vector<std::uint8_t> plain(kMaxFrameSize);
    ByteWriter record(plain);
    const MacAddress address{1, 2, 3, 4, 5, 6};
    WriteDataRecord(record, data_type, with_address ? &address : nullptr, AsBytes(data));
    InboundFrame frame;
    std::size_t size = 0;
    aes_encrypt(PlatformSettings().key, record.written(), Bytes(frame.bytes).subspan(kFrameHeaderSize), size);
    frame.header.type_byte = static_cast<std::uint8_t>(type);
    frame.header.body_length = static_cast<std::uint16_t>(size);
    frame.header.checksum = FrameChecksum(size, {}, record.written());
    return frame;
}
