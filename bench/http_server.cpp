#include "bench/http_server.h"

#include <openssl/evp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <system_error>

#include "bench/frames.h"
#include "bench/process.h"
#include "bench/sockets.h"
#include "bench/text.h"

namespace plug::bench {
namespace {

constexpr Milliseconds kPatience{30000};  // of NextRequest
constexpr std::size_t kMostRequest = 8192;
constexpr std::size_t kMostBody = 1U << 30;
constexpr int kSlowSteps = 20;  // a second

/// The query of "GET /path?a&b=2 HTTP/1.1"; none when it holds what the server does not know.
std::optional<HttpWishes> WishesOf(const std::string& request) {
    static const char* const kKnown[] = {"404",   "no-length", "short-length", "early-close",
                                         "stall", "slow",      "dribble",      "size"};
    const std::size_t start = request.find(' ') + 1;
    const std::string target = request.substr(start, request.find(' ', start) - start);
    HttpWishes wishes;
    const std::size_t query = std::min(target.find('?'), target.size() - 1) + 1;
    for (const std::string& word : Split(target.substr(query), '&')) {
        const auto [name, text] = ParseNamed(word);
        std::size_t value = 1;
        if (text) std::from_chars(text->data(), text->data() + text->size(), value);
        if (std::find(std::begin(kKnown), std::end(kKnown), name) == std::end(kKnown)) return {};
        wishes[name] = value;
    }
    return wishes;
}

std::string Header(const char* status, const std::string& fields) {
    return std::string("HTTP/1.1 ") + status +
           "\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n" + fields + "\r\n";
}

std::string LengthField(std::size_t length) {
    return "Content-Length: " + std::to_string(length) + "\r\n";
}

std::string Sized(const std::string& content, std::size_t size) {
    std::string body;
    while (body.size() < size && !content.empty()) body += content.substr(0, size - body.size());
    return body;
}

}  // namespace

HttpServer::HttpServer(std::string content, std::uint16_t port, std::string address, HttpProgress* progress)
    : content_(std::move(content)), address_(std::move(address)), progress_(progress), port_(port) {
    listener_ = Listen(address_, port_);
    thread_ = std::thread([this] { Serve(); });
}

HttpServer::~HttpServer() {
    stop_.Set();
    thread_.join();
    close(listener_);
}

std::string HttpServer::Url(const std::string& rest) const {
    return "http://" + address_ + ":" + std::to_string(port_) + "/" + rest;
}

std::vector<std::string> HttpServer::Requests() const {
    const std::lock_guard guard(mutex_);
    return requests_;
}

std::string HttpServer::NextRequest() {
    const bool came = WaitUntil([this] { return Requests().size() > returned_; }, kPatience);
    if (!came) throw std::runtime_error("nobody asks the HTTP server");
    return Requests()[returned_++];
}

void HttpServer::AnswerAs(std::string bytes) {
    const std::lock_guard guard(mutex_);
    fixed_answer_ = std::move(bytes);
}

void HttpServer::Serve() {
    for (;;) {
        pollfd polled[2] = {{stop_.descriptor(), POLLIN, 0}, {listener_, POLLIN, 0}};
        poll(polled, 2, -1);
        if (polled[0].revents != 0) return;
        sockaddr_in peer{};
        const int client = AcceptFrom(listener_, peer);
        if (client < 0) continue;
        Answer(client);
        close(client);
    }
}

/// Up to the empty line; what there is when the client ends it or the server stops.
std::string HttpServer::ReadRequest(int client) {
    std::string request;
    while (!request.ends_with("\r\n\r\n") && request.size() < kMostRequest) {
        pollfd polled[2] = {{stop_.descriptor(), POLLIN, 0}, {client, POLLIN, 0}};
        poll(polled, 2, -1);
        if (polled[0].revents != 0) break;
        char byte;
        if (recv(client, &byte, 1, 0) != 1) break;
        request += byte;
    }
    const std::lock_guard guard(mutex_);
    requests_.push_back(request);
    return request;
}

void HttpServer::Answer(int client) {
    const std::string request = ReadRequest(client);
    std::string fixed_answer;
    {
        const std::lock_guard guard(mutex_);
        fixed_answer = fixed_answer_;
    }
    const std::optional<HttpWishes> wishes = WishesOf(request);
    if (!fixed_answer.empty())
        WriteAll(client, AsBytes(fixed_answer));
    else if (!wishes || wishes->contains("404"))
        WriteAll(client, AsBytes(Header(wishes ? "404 Not Found" : "400 Bad Request", LengthField(0))));
    else
        SendFile(client, *wishes);
}

void HttpServer::SendFile(int client, const HttpWishes& wishes) {
    const auto wish = [&wishes](const char* name) { return wishes.contains(name); };
    const std::string sized =
        wish("size") ? Sized(content_, std::min(wishes.at("size"), kMostBody)) : std::string();
    std::string_view body = wish("size") ? sized : content_;
    const std::size_t announced = body.size() - (wish("short-length") && !body.empty() ? 1 : 0);
    const std::string header = Header("200 OK", wish("no-length") ? "" : LengthField(announced));
    if (progress_ != nullptr) progress_->size = announced;
    if (wish("early-close") || wish("stall")) body = body.substr(0, body.size() / 2);

    const bool dribble = wish("dribble");
    for (std::size_t at = 0; at < header.size(); at += dribble ? 1 : header.size())
        if (!WriteAll(client, AsBytes(std::string_view(header).substr(at, dribble ? 1 : header.npos))))
            return;
    const double seconds = wish("slow") ? static_cast<double>(wishes.at("slow")) : 0;
    if (SendBody(client, body, seconds, dribble) && wish("stall")) AwaitEnd(client);
}

bool HttpServer::SendBody(int client, std::string_view body, double seconds, bool dribble) {
    const std::size_t steps = static_cast<std::size_t>(seconds * kSlowSteps) + 1;
    const std::size_t even = body.size() / steps + 1;
    for (std::size_t at = 0, piece = 1; at < body.size(); at += piece) {
        piece = dribble ? at % 997 + 1 : even;
        if (at > 0 && steps > 1 && !Pause(Milliseconds(1000 / kSlowSteps))) return false;
        if (progress_ != nullptr) progress_->sent = at;
        if (!WriteAll(client, AsBytes(body.substr(at, piece)))) return false;
    }
    if (progress_ != nullptr) progress_->sent = body.size();
    return true;
}

/// False when the server shall stop.
bool HttpServer::Pause(Milliseconds time) const {
    pollfd stop{stop_.descriptor(), POLLIN, 0};
    return poll(&stop, 1, static_cast<int>(time.count())) == 0;
}

/// Until the client goes or the server stops.
void HttpServer::AwaitEnd(int client) const {
    pollfd polled[2] = {{stop_.descriptor(), POLLIN, 0}, {client, POLLIN, 0}};
    poll(polled, 2, -1);
}

std::string Md5(std::string_view text) {
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest;
    unsigned length = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_md5(), nullptr) != 1)
        throw std::runtime_error("cannot compute an MD5");
    return ToHex(ConstBytes(digest).first(length));
}

}  // namespace plug::bench
