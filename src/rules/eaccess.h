// The access control: who may use the internet when. Main thread.
#pragma once

namespace plug {

/// Starts the access-control thread with an empty rule table. 0, or the error number of its creation (logged,
/// with status 102); the agent goes on without it.
int StartEaccess();
/// Ends and joins it.
void StopEaccess();

}  // namespace plug
