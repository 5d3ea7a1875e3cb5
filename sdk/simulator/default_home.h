// The home that a new state file describes, for programs beside the simulator too.
#pragma once

namespace simulator {

// JSON; the router's "started" is 0, which a new state file has as now.
extern const char kDefaultHome[];

}  // namespace simulator
