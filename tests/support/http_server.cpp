#include "support/http_server.h"

namespace plug::test {

void HttpServer::Serve(const Script& script) {
    const Stream client = listener_.Accept();
    request_.clear();
    while (!request_.ends_with("\r\n\r\n")) {
        const ByteVector next = client.Receive(1);
        if (next.empty()) break;
        request_ += static_cast<char>(next[0]);
    }
    script(client);
}

void HttpServer::Start(Script script) {
    Finish();
    thread_ = std::thread([this, script = std::move(script)] { Serve(script); });
}

void HttpServer::Start(const std::string& answer) {
    Start([answer](const Stream& client) { client.Send(AsBytes(answer)); });
}

const std::string& HttpServer::Finish() {
    if (thread_.joinable()) thread_.join();
    return request_;
}

std::string HttpAnswer(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace plug::test
