// Bandwidth limits of single devices, as the platform lists them. Response thread.
#pragma once

namespace plug {

/// Applies {"LIST":[{"FLAG":"1","MAC":"AA:BB:CC:DD:EE:FF","UP":"512","DOWN":"2048"}]} in its order; FLAG 0
/// takes the limits away. 0 done, 1 without a text, 2 no JSON, 3 to 6 an element without FLAG, MAC, UP, DOWN
/// (those before it stay applied). An element that cannot be used blocks: see rule_list.h.
int ParseTcParam(const char* json);

}  // namespace plug
