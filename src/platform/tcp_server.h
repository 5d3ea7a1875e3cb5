// The one TCP connection to the platform at a time: its socket, its two threads and its queue.
//
// ServerRecv reads the stream into the queue; RespProc cuts frames out of it and hands each to the frame
// handler, one at a time. The main thread connects and tears down; any thread sends.
#pragma once

#include <span>

#include "platform/tcp_queue.h"

namespace plug {

/// The threads of a connection and of the login on it; owned by the main thread.
struct LinkThreads {
    Thread response;
    Thread receive;
    Thread check;
    Thread heartbeat;
};

/// What the link calls: on its response thread for each frame, and once on its receive thread when it gives
/// up.
struct LinkHandlers {
    void (*on_frame)(const InboundFrame& frame);
    void (*on_lost)();
};

/// Given once at start-up.
void SetLinkHandlers(const LinkHandlers& handlers);

/// The first address of `name` as dotted IPv4 text. 0; -1 when the name does not resolve; -2 without an
/// address.
int GetServerIp(const char* name, std::span<char> ip);

/// Connects to a dotted IPv4 address and starts both threads. 0 or -1; after -1 the caller calls
/// DeleteServer.
int ServerInit(const char* ip, int port, LinkThreads& threads);

/// Stops both threads and closes the socket. Takes a second.
void DeleteServer(LinkThreads& threads);

/// Forgets that a connection is running; for a fresh start after DeleteServer.
void ResetLinkRunning();

/// Sends one frame of 1 to 8192 bytes. 0, or -1 without a socket or when the socket takes nothing. Of a frame
/// that it takes in part the rest must follow within two seconds, or the link is given up.
int SendFrame(ConstBytes frame);

}  // namespace plug
