// Where sides, console and scripts print: text for people, or one JSON object a line for machines.
#pragma once

#include <cstdio>
#include <functional>

#include "bench/layout.h"

namespace plug::bench {

class Output {
  public:
    explicit Output(bool json, FILE* to = stdout) : json_(json), to_(to) {}

    /// Prints the object in JSON mode, else the text.
    void Show(const Json& object, const std::string& text) {
        if (instead) return instead(object, text);
        if (before) before();
        const std::string line = json_ ? object.dump(-1, ' ', false, Json::error_handler_t::replace) : text;
        fprintf(to_, "%s%s", line.c_str(), line.ends_with('\n') ? "" : "\n");
        fflush(to_);
        if (after) after();
    }
    bool json() const { return json_; }

    // Takes what would be printed.
    std::function<void(const Json& object, const std::string& text)> instead;
    // A console takes its prompt away before and puts it back after.
    std::function<void()> before;
    std::function<void()> after;

  private:
    bool json_;
    FILE* to_;
};

}  // namespace plug::bench
