// One frame of either link and direction as an object for people and machines.
#pragma once

#include "bench/decode.h"
#include "bench/local_peer.h"
#include "bench/message_table.h"

namespace plug::bench {

/// {"message": "function command", "id": 3, "name": "wan-config", .., "fields": {..}}; "note" says what is
/// wrong with a frame.
Json DecodeFrame(const CipherKey& key, bool from_agent, ByteVector frame);
/// {"message": "request", "id": .., "name": .., "sequence": .., "fields": {..}}; of what has no sound header
/// or less payload than announced {"message": "bad frame", "note": .., "bytes": ..}.
Json DecodeLocalFrame(bool from_agent, const ByteVector& frame);

}  // namespace plug::bench
