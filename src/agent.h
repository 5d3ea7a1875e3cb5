// The agent's life: start-up in a fixed order, then the session with the platform.
#pragma once

namespace plug {

/// -1 on an option error; otherwise it does not return. The process exits with status 255, or is ended by a
/// signal, and its supervisor starts it again.
int RunAgent(int argc, char** argv);

}  // namespace plug
