// Files, closed by their owner. What the agent writes lies in /tmp, which is shared: a link planted there is
// not followed, and only the owner may write.
#pragma once

#include <cstdio>
#include <memory>

namespace plug {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

/// Null when the file cannot be opened.
FilePtr OpenToRead(const char* path);
/// The same for a file that the agent wrote itself: null also when the path is a link, and never blocking.
FilePtr OpenOwnToRead(const char* path);
/// Creates or empties the file; null when that fails or the path is a link.
FilePtr OpenToWrite(const char* path);

}  // namespace plug
