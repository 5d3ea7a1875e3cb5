// Function 40: the local peer says which devices are online, and each is reported once.
//
// Its lists go into a table of 128 devices. The thread reports what is new every ten seconds, and forgets the
// whole table every forget period. It does nothing until a local peer has connected.
#pragma once

#include "platform/wire.h"

namespace plug {

/// Clears the table and starts the thread. 0 or -1.
int Fn40Init();
/// Stops and joins the thread.
void Fn40Stop();

/// Takes a list: u16 count (1 to 128), then per device its MAC (6), name (32) and status (1: online). Behind
/// the first device that is not online nothing is looked at. Any thread.
void Fn40Handle(ConstBytes payload);

/// One ten-second round: reports what is new, forgets when the period is over.
void Fn40Round();

}  // namespace plug
