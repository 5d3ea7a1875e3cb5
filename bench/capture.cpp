#include "bench/capture.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <system_error>

namespace plug::bench {
namespace {

// pcapng
constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t kByteOrder = 0x1A2B3C4D;
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint16_t kIpv4Link = 228;
constexpr std::uint16_t kInterfaceName = 2;       // options
constexpr std::uint16_t kWritingApplication = 4;  // of a section

// TCP
constexpr std::uint8_t kFin = 0x01;
constexpr std::uint8_t kSyn = 0x02;
constexpr std::uint8_t kRst = 0x04;
constexpr std::uint8_t kPsh = 0x08;
constexpr std::uint8_t kAck = 0x10;
constexpr std::uint8_t kTcp = 6;
constexpr std::size_t kIpHeader = 20;
constexpr std::size_t kTcpHeader = 20;
constexpr std::size_t kLongestSegment = 16384;  // as much as the bench reads at once
constexpr std::uint16_t kFirstPeerPort = 10000;

void Little(ByteVector& out, std::uint64_t value, std::size_t size) {
    for (std::size_t byte = 0; byte < size; ++byte)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
}

void Big(ByteVector& out, std::uint64_t value, std::size_t size) {
    for (std::size_t byte = size; byte-- > 0;) out.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
}

void Append(ByteVector& out, ConstBytes bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void PadTo4(ByteVector& out) {
    out.resize((out.size() + 3) / 4 * 4);
}

void TextOption(ByteVector& out, std::uint16_t code, std::string_view text) {
    Little(out, code, 2);
    Little(out, text.size(), 2);
    Append(out, AsBytes(text));
    PadTo4(out);
    Little(out, 0, 4);  // no more options
}

ByteVector Block(std::uint32_t type, ByteVector body) {
    PadTo4(body);
    const std::size_t size = 12 + body.size();
    ByteVector block;
    Little(block, type, 4);
    Little(block, size, 4);
    Append(block, body);
    Little(block, size, 4);
    return block;
}

ByteVector SectionBlock() {
    ByteVector body;
    Little(body, kByteOrder, 4);
    Little(body, 1, 2);  // version 1.0
    Little(body, 0, 2);
    Little(body, ~std::uint64_t{0}, 8);  // of unknown length
    TextOption(body, kWritingApplication, "plug-bench");
    return Block(kSectionHeader, body);
}

ByteVector InterfaceBlock(std::string_view name) {
    ByteVector body;
    Little(body, kIpv4Link, 2);
    Little(body, 0, 2);
    Little(body, 0, 4);  // packets of any length
    TextOption(body, kInterfaceName, name);
    return Block(kInterface, body);
}

ByteVector PacketBlock(std::uint32_t interface, ConstBytes packet) {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    const auto time =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(since_1970).count());
    ByteVector body;
    Little(body, interface, 4);
    Little(body, time >> 32, 4);
    Little(body, time, 4);
    Little(body, packet.size(), 4);
    Little(body, packet.size(), 4);
    Append(body, packet);
    return Block(kEnhancedPacket, body);
}

struct End {
    std::uint32_t address;
    std::uint16_t port;
};

End EndOf(const Wire& wire, bool agent) {
    if (wire.socket == Socket::kLocal) {
        const auto port = static_cast<std::uint16_t>(kFirstPeerPort + wire.number % kFirstPeerPort);
        return {INADDR_LOOPBACK, agent ? kLocalPort : port};
    }
    const sockaddr_in& name = agent ? wire.agent : wire.bench;
    return {ntohl(name.sin_addr.s_addr), ntohs(name.sin_port)};
}

/// The sum of the 16-bit words, as IP and TCP want it.
std::uint16_t InternetChecksum(ConstBytes bytes) {
    std::uint32_t sum = 0;
    for (std::size_t at = 0; at < bytes.size(); ++at)
        sum += static_cast<std::uint32_t>(bytes[at]) << (at % 2 == 0 ? 8 : 0);
    while (sum > 0xFFFF) sum = (sum >> 16) + (sum & 0xFFFF);
    return static_cast<std::uint16_t>(~sum);
}

void PutChecksum(ByteVector& packet, std::size_t at, std::uint16_t sum) {
    packet[at] = static_cast<std::uint8_t>(sum >> 8);
    packet[at + 1] = static_cast<std::uint8_t>(sum);
}

ByteVector IpPacket(const End& from, const End& to, ConstBytes tcp) {
    ByteVector packet;
    Big(packet, 0x4500, 2);
    Big(packet, kIpHeader + tcp.size(), 2);
    Big(packet, 0x00004000, 4);  // not to be fragmented
    Big(packet, 64 << 8 | kTcp, 2);
    Big(packet, 0, 2);
    Big(packet, from.address, 4);
    Big(packet, to.address, 4);
    PutChecksum(packet, 10, InternetChecksum(packet));
    Append(packet, tcp);
    return packet;
}

ByteVector TcpSegment(const End& from, const End& to, std::uint32_t sequence, std::uint32_t acknowledged,
                      std::uint8_t flags, ConstBytes bytes) {
    ByteVector tcp;
    Big(tcp, from.port, 2);
    Big(tcp, to.port, 2);
    Big(tcp, sequence, 4);
    Big(tcp, acknowledged, 4);
    Big(tcp, (kTcpHeader / 4) << 12 | flags, 2);
    Big(tcp, 0xFFFF, 2);  // window
    Big(tcp, 0, 4);
    Append(tcp, bytes);
    ByteVector summed;  // behind a pseudo header
    Big(summed, from.address, 4);
    Big(summed, to.address, 4);
    Big(summed, kTcp, 2);
    Big(summed, tcp.size(), 2);
    Append(summed, tcp);
    PutChecksum(tcp, 16, InternetChecksum(summed));
    return tcp;
}

}  // namespace

Capture::Capture(const std::string& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {
    if (file_ < 0) throw std::system_error(errno, std::generic_category(), path);
    Write(Join({SectionBlock(), InterfaceBlock("platform"), InterfaceBlock("local")}));
}

Capture::~Capture() {
    if (file_ >= 0) close(file_);
}

void Capture::Note(const Passed& passed) {
    const std::lock_guard guard(mutex_);
    const Wire& wire = passed.wire;
    Flow& flow = flows_[{wire.socket, wire.number}];
    if (flow.closed) return;
    const bool by_agent = passed.by_agent;
    // The agent connects to the platform, and the local peer to the agent.
    const bool agent_opens = wire.socket == Socket::kPlatform;
    switch (passed.kind) {
        case Passage::kOpened:
            Packet(wire, flow, {agent_opens, kSyn});
            Packet(wire, flow, {!agent_opens, kSyn | kAck});
            Packet(wire, flow, {agent_opens, kAck});
            break;
        case Passage::kFromAgent:
        case Passage::kToAgent:
            for (ConstBytes left = passed.bytes; !left.empty();) {
                const ConstBytes bytes = left.first(std::min(left.size(), kLongestSegment));
                Packet(wire, flow, {passed.kind == Passage::kFromAgent, kPsh | kAck, bytes});
                left = left.subspan(bytes.size());
            }
            break;
        case Passage::kClosed:
            if (passed.reset) {
                Packet(wire, flow, {by_agent, kRst | kAck});
            } else {
                Packet(wire, flow, {by_agent, kFin | kAck});
                Packet(wire, flow, {!by_agent, kFin | kAck});
                Packet(wire, flow, {by_agent, kAck});
            }
            flow.closed = true;
            break;
    }
}

void Capture::Packet(const Wire& wire, Flow& flow, const Segment& segment) {
    const End from = EndOf(wire, segment.from_agent);
    const End to = EndOf(wire, !segment.from_agent);
    std::uint32_t& sequence = segment.from_agent ? flow.from_agent : flow.to_agent;
    const bool acknowledges = (segment.flags & kAck) != 0;
    const std::uint32_t other = segment.from_agent ? flow.to_agent : flow.from_agent;
    const ByteVector tcp =
        TcpSegment(from, to, sequence, acknowledges ? other : 0, segment.flags, segment.bytes);
    sequence += static_cast<std::uint32_t>(segment.bytes.size());
    if ((segment.flags & (kSyn | kFin)) != 0) ++sequence;
    Write(PacketBlock(wire.socket == Socket::kPlatform ? 0 : 1, IpPacket(from, to, tcp)));
}

void Capture::Write(ConstBytes block) {
    if (file_ < 0 || write(file_, block.data(), block.size()) == static_cast<ssize_t>(block.size())) return;
    fprintf(stderr, "plug-bench: the capture ends: %s\n", std::generic_category().message(errno).c_str());
    close(file_);
    file_ = -1;
}

}  // namespace plug::bench
