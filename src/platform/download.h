// The HTTP client: one GET over one plain TCP connection, of a body of known length.
//
// Any thread; a transfer has no state beyond its call but the measured rate. A body of 1024 bytes or less is
// refused. A server that closes early, or is silent for 30 seconds, fails the transfer.
#pragma once

namespace plug {

/// Fetches `path` from a host (name or dotted IPv4) into a file, which is created or emptied first and left
/// as it is on a failure. 0 or -1. The names of both transfers are spelled so.
int DownLoadFIle(const char* host, unsigned port, const char* path, const char* local_file);

/// Fetches `path` only to time it; nothing is stored, and `file_name` is ignored. 0 with a rate, or -1.
int DownTestRateFIle(const char* host, unsigned port, const char* path, const char* file_name);

/// What the last DownTestRateFIle measured: bytes per second, 0 when it took less than a second; -1 when it
/// failed, or runs.
int MeasuredRate();

}  // namespace plug
