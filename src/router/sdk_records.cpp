#include "router/sdk_records.h"

namespace plug {
namespace {

template <class Integer>
void SwapAt(Bytes bytes, std::size_t offset, Integer (*swap)(Integer)) {
    Integer value{};
    memcpy(&value, bytes.data() + offset, sizeof value);
    value = swap(value);
    memcpy(bytes.data() + offset, &value, sizeof value);
}

}  // namespace

void SwapFields(Bytes bytes, std::span<const RecordField> fields) {
    for (const RecordField& field : fields) {
        switch (field.kind) {
            case FieldKind::kU16:
                SwapAt(bytes, field.offset, Swap16);
                break;
            case FieldKind::kU32:
                SwapAt(bytes, field.offset, Swap32);
                break;
            case FieldKind::kIp4:
                SwapAt(bytes, field.offset, SwapAddress);
                break;
        }
    }
}

}  // namespace plug
