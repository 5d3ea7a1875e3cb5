#include "platform/tcp_queue.h"

#include "core/log.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "TcpQueue.c";

}  // namespace

void ReceiveQueue::Reset() {
    const Guard guard(mutex_);
    used_ = 0;
}

int ReceiveQueue::Push(ConstBytes bytes) {
    const LogAuthor author(__func__);
    const Guard guard(mutex_);
    if (bytes.size() > bytes_.size() - used_) {
        PLUG_LOG(kDebug, "over flow");
        return -1;
    }
    std::copy(bytes.begin(), bytes.end(), bytes_.data() + used_);
    used_ += bytes.size();
    return 0;
}

std::size_t ReceiveQueue::FindMagic() const {
    for (std::size_t at = 0; at + 2 < used_; ++at) {
        if (bytes_[at] == (kFrameMagic & 0xFF) && bytes_[at + 1] == kFrameMagic >> 8) return at;
    }
    return used_;
}

void ReceiveQueue::Drop(std::size_t count) {
    memmove(bytes_.data(), bytes_.data() + count, used_ - count);
    used_ -= count;
}

int ReceiveQueue::Pop(InboundFrame& frame) {
    const LogAuthor author(__func__);
    const Guard guard(mutex_);
    for (;;) {
        if (used_ < 4) return -1;
        const std::size_t start = FindMagic();
        if (used_ - start <= kFrameHeaderSize - 1) return -1;
        const ConstBytes stream = ConstBytes(bytes_).subspan(start, used_ - start);
        const FrameHeader header = ReadFrameHeader(stream);
        if (header.frame_size() > kMaxFrameSize) {
            PLUG_LOG(kErr, "frame of %zu bytes refused", header.frame_size());
            Drop(start + sizeof kFrameMagic);
            continue;
        }
        if (stream.size() < header.frame_size()) return -1;
        frame.header = header;
        std::copy_n(stream.begin(), header.frame_size(), frame.bytes.begin());
        frame.body_lead_word = header.body_length > 0 ? ByteReader(frame.body()).U16() : std::uint16_t{0};
        Drop(start + header.frame_size());
        return 0;
    }
}

}  // namespace plug
