// The platform's end of the link, over loopback: reads what the agent sends up, and makes frames that come
// down.
#pragma once

#include <string>
#include <vector>

#include "platform/tcp_server.h"

/// One frame of the agent, decrypted.
struct UpFrame {
    plug::MsgType type{};
    int flag = 0;
    std::vector<std::uint8_t> head;
    bool with_body = false;
    std::uint8_t data_type = 0;
    plug::MacAddress address{};
    std::string data;
};

class Platform {
  public:
    /// Listens, and gives the agent its settings. Needs a /tmp of its own.
    Platform();
    ~Platform();

    /// Connects the agent and logs it in.
    void Attach();
    /// The next frame of the agent; type 0 when none comes for ten seconds.
    UpFrame Receive();
    /// True when nothing is left to read. What the agent sends, it has sent when its call returns.
    bool Silent();

    /// A frame that carries a data record down.
    static plug::InboundFrame Down(plug::MsgType type, std::uint8_t data_type, std::string_view data,
                                   bool with_address = false);

  private:
    void Accept();
    bool ReadAll(void* out, std::size_t size) const;

    int listener_ = -1;
    int port_ = 0;
    int link_ = -1;
    plug::LinkThreads threads_;
};
