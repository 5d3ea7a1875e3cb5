#include "commserver/comm_queue.h"

#include <new>

namespace plug {
namespace {

constexpr int kMostBytes = 102420;

using ByteCount = std::int32_t;
constexpr std::size_t kSpareBytes = 8;  // of a slot: its byte count, and as much again

}  // namespace

int CommRQ::Create(int slot_count, int slot_size) {
    if (slot_count < 3 || slot_count > 50 || slot_size < 1 || slot_size > 9000) return -1;
    if (slot_count * slot_size > kMostBytes) return -1;
    Destroy();
    const Guard guard(mutex_);
    block_ = new (std::nothrow) std::uint8_t[static_cast<std::size_t>(slot_count * slot_size)];
    if (block_ == nullptr) return -1;
    count_ = slot_count;
    size_ = slot_size;
    return 0;
}

void CommRQ::Destroy() {
    const Guard guard(mutex_);
    delete[] block_;
    block_ = nullptr;
    count_ = size_ = head_ = tail_ = 0;
}

bool CommRQ::IsEmpty() {
    const Guard guard(mutex_);
    return block_ == nullptr || EmptyLocked();
}

bool CommRQ::IsFull() {
    const Guard guard(mutex_);
    return block_ != nullptr && FullLocked();
}

int CommRQ::Push(ConstBytes bytes) {
    const Guard guard(mutex_);
    if (block_ == nullptr || bytes.data() == nullptr) return -1;
    if (FullLocked()) return -2;
    if (bytes.size() + kSpareBytes > static_cast<std::size_t>(size_)) return -6;
    if (bytes.empty()) return -7;
    std::uint8_t* const slot = Slot(tail_);
    const auto count = static_cast<ByteCount>(bytes.size());
    memcpy(slot, &count, sizeof count);
    memcpy(slot + sizeof count, bytes.data(), bytes.size());
    tail_ = Next(tail_);
    return 0;
}

ConstBytes CommRQ::Pop() {
    const Guard guard(mutex_);
    if (block_ == nullptr || EmptyLocked()) return {};
    const std::uint8_t* const slot = Slot(head_);
    // A full ring still leaves one slot free, and now it is this one: no push reaches it before the next Pop.
    head_ = Next(head_);
    ByteCount count = 0;
    memcpy(&count, slot, sizeof count);
    return {slot + sizeof count, static_cast<std::size_t>(count)};
}

}  // namespace plug
