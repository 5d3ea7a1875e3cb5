// The byte queue between the socket and the frame handler, and the cutting of frames out of it.
#pragma once

#include "core/sync.h"
#include "platform/frame.h"

namespace plug {

/// One frame cut out of the stream, with its bytes. Reused from frame to frame.
struct InboundFrame {
    FrameHeader header;
    std::uint16_t body_lead_word = 0;  // the first two body bytes; 0 without a body
    std::array<std::uint8_t, kMaxFrameSize> bytes{};

    ConstBytes head() const { return ConstBytes(bytes).subspan(kFrameHeaderSize, header.head_length); }
    ConstBytes body() const {
        return ConstBytes(bytes).subspan(kFrameHeaderSize + header.head_length, header.body_length);
    }
};

/// Bytes are appended at the end and whole frames leave at the front. One thread pushes, another pops.
class ReceiveQueue {
  public:
    constexpr ReceiveQueue() = default;

    void Reset();
    /// Appends all bytes, or none (-1) when they exceed the room.
    int Push(ConstBytes bytes);
    /// Cuts the next whole frame out, with any bytes before its magic. 0, or -1 when none is complete. A
    /// header that announces more than kMaxFrameSize is no frame: its magic is dropped and the search goes on
    /// behind it.
    int Pop(InboundFrame& frame);

  private:
    /// The offset of the next magic, or used_ when there is none.
    std::size_t FindMagic() const PLUG_CHECKED(requires_capability(mutex_));
    void Drop(std::size_t count) PLUG_CHECKED(requires_capability(mutex_));

    Mutex mutex_;
    std::size_t used_ PLUG_CHECKED(guarded_by(mutex_)) = 0;
    std::array<std::uint8_t, 204800> bytes_ PLUG_CHECKED(guarded_by(mutex_)){};
};

}  // namespace plug
