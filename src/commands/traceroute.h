// The traceroute diagnostic: one worker thread runs the router's traceroute into /tmp/tracerouteFile, and a
// watchdog ends it after 500 seconds. Started, fetched and stopped on the response thread.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace plug {

/// Starts worker and watchdog for a dotted address. 0, or 1 while a traceroute runs or without threads.
int StartTraceroute(std::string_view address);

/// Ends a running traceroute and reads the beginning of its file into `room`: the text read, or none without
/// a file.
std::optional<std::string_view> FetchTraceroute(std::span<char> room);

/// Kills a running traceroute and joins both threads.
void StopTraceroute();

/// The watchdog: waits for the worker's end, at most 500 seconds, and kills traceroute when it does not come.
void KillTrace500s();

}  // namespace plug
