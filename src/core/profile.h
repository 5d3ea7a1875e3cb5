// The configuration file plug.conf: sections and key=value lines, read at start-up on the main thread.
//
// Matching is by substring, as every deployed file expects: a line with '[' is a section header, and it opens
// the section whose name it contains; a line that contains the key is a candidate. The last candidate of the
// section wins; an empty value does not count.
#pragma once

#include <span>

namespace plug {

/// Chooses the file: `given_path` (-f; may be empty) if readable, else `default_path` if readable, else
/// ./plug.conf.
void NewProgramProfile(const char* given_path, const char* default_path);

/// Reads one value, cut at the room of `value`. 0 when found or defaulted; -1 when not found without a
/// default (nullptr), and always when the file cannot be opened, even if the default was copied.
int getKeyValueStr(const char* section, const char* key, const char* default_value, std::span<char> value);

}  // namespace plug
