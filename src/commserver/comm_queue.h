// CommRQ: the ring of received local frames between the connection and the dispatcher.
#pragma once

#include "core/sync.h"
#include "platform/wire.h"

namespace plug {

/// A fixed number of slots, one of which always stays free. A slot holds a signed 32-bit byte count and the
/// bytes as received. Any thread pushes, one thread pops.
class CommRQ {
  public:
    constexpr CommRQ() = default;
    ~CommRQ() { Destroy(); }
    CommRQ(const CommRQ&) = delete;
    CommRQ& operator=(const CommRQ&) = delete;

    /// 3 to 50 slots of 1 to 9000 bytes, together at most 102420. 0, or -1 outside these limits or without
    /// memory.
    int Create(int slot_count, int slot_size);
    void Destroy();

    bool IsEmpty();
    bool IsFull();
    /// 0; -1 when not created or without data, -2 when full, -6 when the bytes do not fit a slot, -7 when
    /// there are none.
    int Push(ConstBytes bytes);
    /// The bytes of the oldest slot, or none. They stay as they are until the next Pop.
    ConstBytes Pop();

  private:
    bool EmptyLocked() const PLUG_CHECKED(requires_capability(mutex_)) { return head_ == tail_; }
    bool FullLocked() const PLUG_CHECKED(requires_capability(mutex_)) { return Next(tail_) == head_; }
    int Next(int index) const PLUG_CHECKED(requires_capability(mutex_)) { return (index + 1) % count_; }
    std::uint8_t* Slot(int index) const PLUG_CHECKED(requires_capability(mutex_)) {
        return block_ + static_cast<std::ptrdiff_t>(index) * size_;
    }

    Mutex mutex_;
    std::uint8_t* block_ PLUG_CHECKED(guarded_by(mutex_)) = nullptr;  // null: not created
    int count_ PLUG_CHECKED(guarded_by(mutex_)) = 0;
    int size_ PLUG_CHECKED(guarded_by(mutex_)) = 0;
    int head_ PLUG_CHECKED(guarded_by(mutex_)) = 0;  // the oldest slot
    int tail_ PLUG_CHECKED(guarded_by(mutex_)) = 0;  // the next slot to fill
};

}  // namespace plug
