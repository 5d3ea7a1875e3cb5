// The HTTP client: one GET over one plain TCP connection, of a body of known length.
//
// Any thread; a transfer has no state beyond its call but the measured rate. A body of 1024 bytes or less is
// refused. No server keeps a transfer up: it fails when the server closes early, when connecting or the
// header takes more than 30 seconds, when any 30 seconds bring less than 1024 bytes of the body, when all of
// it takes more than 30 minutes (a rate test: 90 seconds), and when the link to the platform is lost.
#pragma once

namespace plug {

/// Fetches `path` from a host (name or dotted IPv4) into a file, which is created or emptied first and left
/// as it is on a failure. A body that would leave less than 4 MiB of the file system is refused. 0 or -1. The
/// names of both transfers are spelled so.
int DownLoadFIle(const char* host, unsigned port, const char* path, const char* local_file);

/// Fetches `path` only to time it; nothing is stored, and `file_name` is ignored. 0 with a rate, or -1.
int DownTestRateFIle(const char* host, unsigned port, const char* path, const char* file_name);

/// What the last DownTestRateFIle measured: bytes per second, 0 when it took less than a second; -1 when it
/// failed, or runs.
int MeasuredRate();

}  // namespace plug
