// The checks on a received local frame, and the table that says who handles it.
#pragma once

#include "platform/wire.h"

namespace plug {

/// Who takes the device lists (FuncID 40). Given once at start-up, before the server starts.
void SetDeviceListHandler(void (*handler)(ConstBytes payload));

/// Forgets the last sequence. Before any thread starts.
void ResetDispatch();

/// Checks one frame as received and hands its payload to the handler of its FuncID; a frame that fails a
/// check is dropped. Afterwards a waiting request sees its reply ready. Dispatcher thread.
void HandleLocalFrame(ConstBytes received);

}  // namespace plug
