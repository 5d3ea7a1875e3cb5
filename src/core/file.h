// Files, closed by their owner. What the agent writes lies in /tmp, which everybody shares: what is there and
// is no regular file of the agent's own, with one link and writable for its owner alone, is somebody else's
// doing. It is never read, and makes way for a new file before the agent writes.
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

namespace plug {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

/// Any file; null when it cannot be opened.
FilePtr OpenToRead(const char* path);
/// A file that the agent wrote itself; null when it cannot be opened or is another.
FilePtr OpenOwnToRead(const char* path);
/// Creates or empties a file of the agent's own; null when that fails.
FilePtr OpenToWrite(const char* path);

/// Makes `text` the content of the file by one write over the old content, so that nobody ever finds it empty
/// or mixed if the new one is as long. 0 or -1.
int OverwriteFile(const char* path, std::string_view text);
/// Makes `text` the content of the file in one step, by way of a file beside it. 0 or -1.
int ReplaceFile(const char* path, std::string_view text);

}  // namespace plug
