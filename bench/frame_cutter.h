// The frames of both links and directions, put together from what passes.
#pragma once

#include <chrono>
#include <map>

#include "bench/frame_decode.h"
#include "bench/tap.h"

namespace plug::bench {

/// A frame, or with a note bytes that are none.
struct PassedFrame {
    std::chrono::system_clock::time_point time;
    Wire wire;
    MacAddress mac{};  // the agent; all zero while unknown
    bool from_agent = false;
    ByteVector bytes;
    std::string note;
};

/// One thread at a time.
class FrameCutter {
  public:
    /// What is complete with this passage.
    std::vector<PassedFrame> Note(const Passed& passed);

  private:
    using Direction = std::tuple<Socket, int, bool>;

    std::map<Direction, ByteVector> streams_;
};

/// DecodeFrame or DecodeLocalFrame of it; bytes that are no frame as {"message": "bytes", "note": ..,
/// "bytes": ..}.
Json Decode(const CipherKey& key, const PassedFrame& frame);

}  // namespace plug::bench
