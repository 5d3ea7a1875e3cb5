// The platform's end of the agent's connection, reduced to reading what the agent sends up.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "platform/link_state.h"
#include "platform/security.h"
#include "platform/session.h"
#include "platform/settings.h"
#include "platform/tcp_server.h"

namespace plug::test {

/// A report as decrypted; `with_address` tells an addressed one.
struct UpReport {
    int data_type = -1;  // -1: none came
    bool with_address = false;
    MacAddress address{};
    std::vector<std::uint8_t> data;
};

/// Connects the agent's link to itself and logs it in.
class PlatformStub {
  public:
    explicit PlatformStub(const MacAddress& router_mac) {
        PrepareCipher();
        SetRouterIdentity(router_mac);
        SetLinkHandlers({[](const InboundFrame&) {}, [] {}});
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), size));
        EXPECT_EQ(0, listen(listener, 1));
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
        EXPECT_EQ(0, ServerInit("127.0.0.1", ntohs(address.sin_port), threads_));
        socket_ = accept(listener, nullptr, nullptr);
        close(listener);
        SetLoggedIn(true);
    }
    ~PlatformStub() {
        DeleteServer(threads_);
        close(socket_);
    }
    PlatformStub(const PlatformStub&) = delete;

    /// The next report. Sends have happened before this is called, so nothing is waited for.
    UpReport Next() const {
        UpReport report;
        std::vector<std::uint8_t> bytes(kFrameHeaderSize);
        if (recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT) != ssize_t{kFrameHeaderSize})
            return report;
        const FrameHeader header = ReadFrameHeader(bytes);
        bytes.resize(header.body_length);
        EXPECT_EQ(header.body_length, recv(socket_, bytes.data(), bytes.size(), MSG_WAITALL));
        std::vector<std::uint8_t> decrypted(bytes.size());
        std::size_t length = 0;
        EXPECT_EQ(0, aes_decrypt(PlatformSettings().key, bytes, decrypted, length));
        ConstBytes plain;
        EXPECT_TRUE(WithoutPadding(ConstBytes(decrypted).first(length), plain));
        report.with_address = header.type() == MsgType::kAddressedReport;
        const DataRecord record = ReadDataRecord(plain, report.with_address);
        report.data_type = record.data_type;
        report.address = record.address;
        report.data.assign(record.data.begin(), record.data.end());
        return report;
    }

  private:
    LinkThreads threads_;
    int socket_ = -1;
};

}  // namespace plug::test
