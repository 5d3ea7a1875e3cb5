// What the process sets for itself once, before anything else.
#pragma once

namespace plug {

/// Lets only the owner write what the agent and its programs create.
/// Opens what is closed of the standard descriptors, so that no socket ever gets number 0, 1 or 2.
/// One heap arena for all threads: a dozen mostly idle threads need no more, and a small router feels each.
void PrepareProcess();

}  // namespace plug
