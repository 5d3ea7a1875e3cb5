// The ping diagnostic: one worker thread runs the router's ping and keeps what it prints for a later fetch.
//
// Started, fetched and joined on the response thread; while the worker runs, its result is not touched.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace plug {

/// Starts the worker. 0, kDiagnosticBusy while a ping runs, or the error number of the thread's start.
int StartPing(std::uint16_t size, std::uint16_t count, std::string_view address);

/// The result of the last ping, without its per-reply lines; none while it runs. A ping that could not be
/// started counts as running for good.
std::optional<std::string_view> FetchPing();

/// Waits for the worker, if there is one.
void JoinPing();

/// The worker's work: at most 50 pings of `size` bytes to a dotted address. 0; -1 when the command cannot be
/// started; -2 when closing it fails.
int PopenParsePing(int size, int count, const char* address);

}  // namespace plug
