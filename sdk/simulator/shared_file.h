// The state file as those who change it share it: the simulated router, and programs beside it.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

namespace simulator {

// Where the state is: what ROUTER_SIM names, or /tmp/router.json.
const char* StatePath();

// An open file; closed with the object. Negative when opening it failed.
class Fd {
  public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

// The lock of a file's writers, on another file beside it. Waits for it, and holds it as long as it lives.
class WriteLock {
  public:
    explicit WriteLock(const std::string& path);
    // False when there can be no lock; errno then says why.
    bool held() const { return held_; }

  private:
    Fd file_;
    bool held_;
};

enum class Publish { kReplace, kUnlessThere };

// Makes the text and a newline the file's content in one step, by way of a file beside it. What the new file
// is like, or none with errno set. A file that is there is no error with kUnlessThere, and stays.
std::optional<struct stat> PublishFile(const std::string& path, std::string_view text, Publish publish);

}  // namespace simulator
