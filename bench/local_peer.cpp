#include "bench/local_peer.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

#include "bench/process.h"
#include "bench/sockets.h"

namespace plug::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Milliseconds kUnreadPatience{2000};
constexpr std::uint32_t kLongestPayload = 65536;  // more can only be a header gone wrong
constexpr std::size_t kDeviceName = 32;

/// Waits until the other side has read everything that was written, so that the next write is read alone.
void AwaitRead(int socket) {
    WaitUntil(
        [socket] {
            int unread = 0;
            return ioctl(socket, SIOCOUTQ, &unread) != 0 || unread == 0;
        },
        kUnreadPatience);
}

void PutHeader(ByteVector& frame, const LocalHeader& header) {
    memcpy(frame.data(), &header, sizeof header);
}

/// A whole frame as an event.
PeerEvent ReadPeerFrame(ByteVector frame) {
    PeerEvent event;
    event.frame = std::move(frame);
    const LocalHeader header = ReadLocalHeader(event.frame);
    event.func_id = header.func_id;
    event.sequence = header.sequence;
    const auto payload = CheckedPayload(header, event.frame);
    event.kind = payload ? PeerEventKind::kRequest : PeerEventKind::kBadFrame;
    if (payload)
        event.payload.assign(payload->begin(), payload->end());
    else
        event.note = "wrong checksum";
    return event;
}

}  // namespace

const char* Name(PeerEventKind kind) {
    static constexpr const char* kNames[] = {"connected", "request", "bad-frame", "closed"};
    return kNames[static_cast<std::size_t>(kind)];
}

PeerMatch IsRequest(std::uint16_t func_id) {
    return [func_id](const PeerEvent& event) {
        return event.kind == PeerEventKind::kRequest && event.func_id == func_id;
    };
}

Json DecodePeerEvent(const PeerEvent& event) {
    Json shown = {{"peer", Name(event.kind)}, {"link", event.link}};
    if (event.kind == PeerEventKind::kRequest) {
        shown["id"] = event.func_id;
        shown["sequence"] = event.sequence;
        static constexpr CommandForm kUnknown{0, "unknown", ""};
        const CommandForm* const row = Find(LocalRequests(), event.func_id);
        shown["name"] = row != nullptr ? row->name : kUnknown.name;
        if (event.text() != "i")  // which only fills a request that has nothing to say
            shown.update(DecodePayload(row != nullptr ? *row : kUnknown, event.payload));
    }
    if (event.kind == PeerEventKind::kBadFrame) shown["bytes"] = ToHex(event.frame);
    if (!event.note.empty()) shown["note"] = event.note;
    return shown;
}

LocalPeer::LocalPeer(PeerOptions options)
    : options_(std::move(options)), next_sequence_(options_.first_sequence) {
    thread_ = std::thread([this] { Serve(); });
}

LocalPeer::~LocalPeer() {
    stopping_ = true;
    wake_.Set();
    thread_.join();
    if (socket_ < 0) return;
    Tell(Passage::kClosed);
    close(socket_);
}

bool LocalPeer::Connect(Milliseconds timeout) {
    Disconnect();
    const auto deadline = Clock::now() + timeout;
    if (!WaitUntil([this] { return !connected(); }, timeout)) return false;
    int socket = -1;
    WaitUntil(
        [&] {
            socket = ConnectTo(options_.path);
            return socket >= 0;
        },
        std::chrono::duration_cast<Milliseconds>(deadline - Clock::now()));
    if (socket < 0) return false;
    Adopt(socket);
    return true;
}

void LocalPeer::Adopt(int socket) {
    PeerEvent event;
    {
        const std::lock_guard guard(mutex_);
        socket_ = socket;
        event.link = ++link_;
        dropped_ = false;
        Tell(Passage::kOpened);
    }
    log_.Append(std::move(event));
    wake_.Set();
}

void LocalPeer::Disconnect() {
    const std::lock_guard guard(mutex_);
    if (socket_ < 0) return;
    dropped_ = true;
    shutdown(socket_, SHUT_RDWR);
}

bool LocalPeer::connected() const {
    const std::lock_guard guard(mutex_);
    return socket_ >= 0;
}

bool LocalPeer::SendBytes(ConstBytes bytes) {
    const std::lock_guard guard(mutex_);
    if (socket_ < 0 || dropped_) return false;
    AwaitRead(socket_);
    Tell(Passage::kToAgent, bytes);
    return WriteAll(socket_, bytes);
}

ByteVector LocalPeer::Frame(std::uint16_t func_id, ConstBytes payload) {
    return LocalFrame(func_id, next_sequence_++, payload);
}

ByteVector LocalPeer::RepeatedFrame(std::uint16_t func_id, ConstBytes payload) const {
    return LocalFrame(func_id, next_sequence_ - 1, payload);
}

// --- the serving thread ---

void LocalPeer::Serve() {
    while (!stopping_) {
        pollfd polled[2] = {{wake_.descriptor(), POLLIN, 0}, {-1, POLLIN, 0}};
        {
            const std::lock_guard guard(mutex_);
            polled[1].fd = socket_;
        }
        poll(polled, 2, static_cast<int>(UntilDue().count()));
        if (polled[0].revents != 0) wake_.Clear();
        if (polled[1].revents != 0) Read();
        AnswerDue();
    }
}

void LocalPeer::Read() {
    std::array<std::uint8_t, 16384> chunk;
    const ssize_t count = recv(socket_, chunk.data(), chunk.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) {
        Tell(Passage::kClosed, {}, !dropped_);
        Close(dropped_ ? "closed by the peer" : "closed by the agent");
        return;
    }
    received_.insert(received_.end(), chunk.begin(), chunk.begin() + count);
    Tell(Passage::kFromAgent, ConstBytes(chunk).first(static_cast<std::size_t>(count)));
    while (const auto piece = FirstLocalPiece(received_)) {
        const auto end = received_.begin() + static_cast<std::ptrdiff_t>(piece->size);
        PeerEvent event = ReadPeerFrame({received_.begin(), end});
        received_.erase(received_.begin(), end);
        if (!piece->note.empty()) {
            event.kind = PeerEventKind::kBadFrame;
            event.note = piece->note;
        }
        Handle(std::move(event));
    }
}

void LocalPeer::Handle(PeerEvent event) {
    if (event.kind == PeerEventKind::kRequest) {
        if (auto reply = ReplyTo(event))
            due_.push_back({Clock::now() + reply->delay, link_, event.func_id, std::move(reply->payload)});
    }
    Record(std::move(event));
}

std::optional<PeerAnswers::Reply> LocalPeer::ReplyTo(const PeerEvent& request) {
    if (!options_.answer) return answers_.ReplyTo(request.func_id, request.payload);
    auto payload = options_.answer(request);
    if (!payload) return {};
    return PeerAnswers::Reply{std::move(*payload)};
}

void LocalPeer::AnswerDue() {
    const auto now = Clock::now();
    for (const Due& due : due_)
        if (due.time <= now && due.link == link_) Send(due.func_id, due.payload);
    std::erase_if(due_, [now](const Due& due) { return due.time <= now; });
}

Milliseconds LocalPeer::UntilDue() const {
    Milliseconds left{60000};
    for (const Due& due : due_)
        left = std::min(left, std::chrono::ceil<Milliseconds>(due.time - Clock::now()));
    return std::max(left, Milliseconds(0));
}

void LocalPeer::Close(std::string note) {
    PeerEvent event;
    if (!received_.empty()) {
        event.kind = PeerEventKind::kBadFrame;
        event.frame = std::exchange(received_, {});
        event.note = "the connection ended inside a frame";
        Record(std::move(event));
        event = {};
    }
    event.kind = PeerEventKind::kClosed;
    event.note = std::move(note);
    Record(std::move(event));
    const std::lock_guard guard(mutex_);
    close(socket_);
    socket_ = -1;
}

void LocalPeer::Record(PeerEvent event) {
    event.link = link_;
    log_.Append(std::move(event));
}

void LocalPeer::Tell(Passage kind, ConstBytes bytes, bool by_agent) const {
    if (options_.tap) options_.tap({{Socket::kLocal, link_, {}, {}}, kind, bytes, by_agent});
}

std::optional<Piece> FirstLocalPiece(ConstBytes stream) {
    if (stream.size() < sizeof(LocalHeader)) return {};
    const LocalHeader header = ReadLocalHeader(stream);
    if (header.head != kLocalHead || header.length > kLongestPayload)
        return Piece{stream.size(), "no header of a local frame"};
    const std::size_t size = sizeof header + header.length;
    if (stream.size() < size) return {};
    return Piece{size};
}

ByteVector LocalFrame(std::uint16_t func_id, std::uint32_t sequence, ConstBytes payload) {
    ByteVector frame(sizeof(LocalHeader) + payload.size());
    WriteLocalFrame(frame, func_id, sequence, payload);
    return frame;
}

// --- frames that break the rules ---

ByteVector WithWrongHead(ByteVector frame) {
    frame[0] ^= 0xFF;
    return frame;
}

ByteVector WithWrongSum(ByteVector frame) {
    LocalHeader header = ReadLocalHeader(frame);
    ++header.check_sum;
    PutHeader(frame, header);
    return frame;
}

ByteVector WithLength(ByteVector frame, std::uint32_t length) {
    LocalHeader header = ReadLocalHeader(frame);
    header.length = length;
    PutHeader(frame, header);
    return frame;
}

ByteVector DevicesPayload(const std::vector<ReportedDevice>& devices) {
    ByteVector payload;
    const auto append = [&payload](const Field& field, const std::string& text) {
        WriteField(payload, field, text);
    };
    append({"count", FieldKind::kU16}, std::to_string(devices.size()));
    for (const ReportedDevice& device : devices) {
        append({"mac", FieldKind::kMac}, MacText(device.mac));
        append({"name", FieldKind::kText, kDeviceName}, device.name);
        append({"online", FieldKind::kSwitch}, device.online ? "on" : "off");
    }
    return payload;
}

}  // namespace plug::bench
