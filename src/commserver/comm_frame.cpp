#include "commserver/comm_frame.h"

#include <numeric>

namespace plug {
namespace {

std::uint16_t CheckSum(ConstBytes payload) {
    return static_cast<std::uint16_t>(std::accumulate(payload.begin(), payload.end(), 0U));
}

}  // namespace

LocalHeader ReadLocalHeader(ConstBytes frame) {
    LocalHeader header;
    memcpy(&header, frame.data(), sizeof header);
    return header;
}

std::optional<ConstBytes> CheckedPayload(const LocalHeader& header, ConstBytes frame) {
    const ConstBytes received = frame.subspan(sizeof header);
    if (header.length > received.size()) return std::nullopt;
    const ConstBytes payload = received.first(header.length);
    if (CheckSum(payload) != header.check_sum) return std::nullopt;
    return payload;
}

std::size_t WriteLocalFrame(Bytes out, std::uint16_t func_id, std::uint32_t sequence, ConstBytes payload) {
    LocalHeader header;
    header.func_id = func_id;
    header.sequence = sequence;
    header.length = static_cast<std::uint32_t>(payload.size());
    header.check_sum = CheckSum(payload);
    ByteWriter writer(out);
    writer.Copy(AsBytes({reinterpret_cast<const char*>(&header), sizeof header}));
    writer.Copy(payload);
    return writer.ok() ? writer.size() : 0;
}

}  // namespace plug
