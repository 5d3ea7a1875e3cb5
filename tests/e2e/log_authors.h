// In whose name the entries of an agent's log stand, and in whose they must.
#pragma once

#include <string>

namespace plug::e2e {

/// What is wrong with the authors of a log's entries, each in a line; empty when nothing is.
std::string ForeignAuthors(const std::string& log);

/// What a session of that name must have logged and `log` has not, each in a line.
std::string MissingTexts(const std::string& log, const std::string& session);

}  // namespace plug::e2e
