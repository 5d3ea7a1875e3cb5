// Port forwarding: one TCP rule at a time, as a pair of iptables NAT rules. Response thread.
#pragma once

namespace plug {

/// Adds or deletes the rule that a JSON text gives: "FLAG" ("1" adds, "0" deletes), "PRE_IP", "PRE_PORT",
/// "POST_IP", "POST_PORT". 0, whatever iptables says; -1 without a text; -2 when it is not JSON; -3 to -7
/// when one of the keys, in that order, is missing; -8 for any other flag.
int ParseRouteParam(const char* json);

/// Act on the rule that ParseRouteParam read last. Adding deletes first, so that one copy remains. Always 0.
int AddRoute();
int DeleteRoute();

}  // namespace plug
