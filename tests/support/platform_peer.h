// The platform's end of a logged-in link, over a real connection: what the agent sends, decoded.
#pragma once

#include "bench/agent_link.h"
#include "platform/tcp_server.h"
#include "support/home.h"

namespace plug::test {

/// The router of the link.
inline constexpr MacAddress kRouter = HomeMac(1);

/// The link stays up until the process ends.
class PlatformPeer {
  public:
    /// Connects the agent and logs it in.
    PlatformPeer();

    /// The next frame of the agent; throws when none comes or it is not sound.
    bench::LinkEvent Next();
    /// Expects a frame of this type, data type and data next; kRouter in it when it holds an address.
    void ExpectNext(MsgType type, int data_type, std::string_view data);
    /// True when the agent has sent nothing that was not read: a marker comes next.
    bool NothingSent();

  private:
    bench::DirectServer server_;
    bench::LinkPtr link_;
};

/// A frame of the platform, as it is handed over by the link.
InboundFrame FrameOf(ConstBytes bytes);
/// One with plug data.
InboundFrame PlugDataFrame(MsgType type, std::uint8_t data_type, std::string_view data);

}  // namespace plug::test
