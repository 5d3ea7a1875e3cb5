// The agent's own update: a new version is downloaded, checked and left for the supervisor to install.
// Response thread.
#pragma once

#include <array>

namespace plug {

/// An MD5 as 32 lower-case hexadecimal digits.
using Md5Text = std::array<char, 33>;

/// 0; -1 when the file cannot be opened; the last read count when a read fails. `md5` is empty then.
int Compute_file_md5(const char* path, Md5Text& md5);

/// The download and the check of an update as a step by itself: to /tmp/plug_download. The download's result
/// when that failed, else that of Compute_file_md5. `matches` is set once status 004 is written for a match,
/// else the file is removed; nothing is reported.
int DownLoadProc(const char* md5, const char* server, int port, const char* path, bool& matches);

void DeleteDownloadFile();

/// The update command (DataType 2). On success the platform is told, status 004 is written and the process
/// ends, for its supervisor to install the download; on any failure the platform is told, status 104 is
/// written and 0 returned.
int UpdatePlugin(const char* payload);

}  // namespace plug
