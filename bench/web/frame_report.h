// Frames and connections as the page lists them: what it is in short, all that it says, and its bytes.
//
//   {"side": "platform", "way": "up", "kind": "report", "name": "version", "mac": .., "link": 2, "time": ms,
//    "decoded": {..}, "note": .., "hex": ".."}
//
// `way` is "up" for what comes from an agent and "down" for what goes to it, whichever side is at its other
// end.
#pragma once

#include "bench/local_peer.h"
#include "bench/platform.h"

namespace plug::bench {

Json ReportOf(const LinkEvent& event);
Json ReportOf(const PeerEvent& event);

/// Bytes as they were sent to an agent: a frame or, as mischief has it, several or none.
std::vector<Json> ReportsOfSent(const CipherKey& key, const MacAddress& agent, int link, ConstBytes bytes);
/// The same for what the local peer sends.
Json ReportOfSentByPeer(int link, ConstBytes bytes);

}  // namespace plug::bench
