#include "bench/web/page_server.h"

#include <httplib.h>

#include "bench/web/assets.h"

namespace plug::bench {
namespace {

constexpr char kLoopback[] = "127.0.0.1";
constexpr std::size_t kThreads = 32;  // an open page holds one or two
constexpr std::size_t kLongestBody = 1 << 20;
constexpr char kJson[] = "application/json";

constexpr std::pair<std::string_view, const char*> kTypes[] = {{".html", "text/html; charset=utf-8"},
                                                               {".css", "text/css; charset=utf-8"},
                                                               {".js", "text/javascript; charset=utf-8"},
                                                               {".svg", "image/svg+xml"}};

const char* TypeOf(std::string_view path) {
    for (const auto& [ending, type] : kTypes)
        if (path.ends_with(ending)) return type;
    return "application/octet-stream";
}

const httplib::Headers& FixedHeaders() {
    static const httplib::Headers kHeaders = {
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
         "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cache-Control", "no-store"}};
    return kHeaders;
}

void Answer(httplib::Response& response, int status, const Json& content) {
    response.status = status;
    response.set_content(content.dump(-1, ' ', false, Json::error_handler_t::replace), kJson);
}

void TakeLine(const std::function<Json(const std::string&)>& handler, const httplib::Request& request,
              httplib::Response& response) {
    // Another site's form cannot send this type.
    if (request.get_header_value("Content-Type") != kJson)
        return Answer(response, 415, {{"failed", "a command comes as application/json"}});
    const Json order = Json::parse(request.body, nullptr, false);
    if (!order.is_object() || !order.contains("line") || !order["line"].is_string())
        return Answer(response, 400, {{"failed", "a command is {\"line\": text}"}});
    Answer(response, 200, handler(order["line"]));
}

void FollowFeed(Feed& feed, const httplib::Request& request, httplib::Response& response) {
    auto reader = std::make_shared<Feed::Reader>(feed, request.get_header_value("Last-Event-ID"));
    response.set_chunked_content_provider(
        "text/event-stream", [reader](std::size_t, httplib::DataSink& sink) {
            auto text = reader->Next(std::chrono::seconds(2));
            if (!text) {
                sink.done();
                return true;
            }
            if (text->empty()) text = ":\n\n";  // finds out whether the page is still there
            return sink.write(text->data(), text->size());
        });
}

std::string_view WithoutPort(std::string_view host) {
    const std::size_t colon = host.rfind(':');
    return colon == host.npos || host.ends_with(']') ? host : host.substr(0, colon);
}

}  // namespace

bool FromOwnPage(const std::string& host, const std::string& origin) {
    const std::string_view name = WithoutPort(host);
    if (name != "localhost" && name != kLoopback && name != "[::1]") return false;
    return origin.empty() || origin == "http://" + host;
}

struct PageServer::Http {
    httplib::Server server;
    int port = 0;
    std::thread thread;
};

PageServer::PageServer(std::uint16_t port) : http_(std::make_unique<Http>()) {
    httplib::Server& server = http_->server;
    // Not the library's own options, by which two benches would share a port.
    server.set_socket_options([](int socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    if (port == 0)
        http_->port = server.bind_to_any_port(kLoopback);
    else if (server.bind_to_port(kLoopback, port))
        http_->port = port;
    if (http_->port <= 0)
        throw std::runtime_error("the page's port " + std::to_string(port) + " is not free");
}

PageServer::~PageServer() {
    Stop();
}

void PageServer::Stop() {
    http_->server.stop();
    if (http_->thread.joinable()) http_->thread.join();
}

std::uint16_t PageServer::port() const {
    return static_cast<std::uint16_t>(http_->port);
}

void PageServer::Serve(Feed& feed, PageHandlers handlers) {
    httplib::Server& server = http_->server;
    server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server.set_payload_max_length(kLongestBody);
    server.set_tcp_nodelay(true);
    server.set_default_headers(FixedHeaders());
    server.set_pre_routing_handler([](const httplib::Request& request, httplib::Response& response) {
        if (FromOwnPage(request.get_header_value("Host"), request.get_header_value("Origin")))
            return httplib::Server::HandlerResponse::Unhandled;
        Answer(response, 403, {{"failed", "only the page itself is answered"}});
        return httplib::Server::HandlerResponse::Handled;
    });
    for (const Asset& asset : Assets()) {
        const auto send = [&asset](const httplib::Request&, httplib::Response& response) {
            response.set_content(asset.content.data(), asset.content.size(), TypeOf(asset.path));
        };
        server.Get(std::string(asset.path), send);
        if (asset.path == "/page.html") server.Get("/", send);
    }
    server.Get("/commands", [handlers](const httplib::Request&, httplib::Response& response) {
        Answer(response, 200, handlers.commands());
    });
    for (const auto& [path, handler] : {std::pair("/run", handlers.run), {"/cancel", handlers.cancel}})
        server.Post(path, [handler = handler](const httplib::Request& request, httplib::Response& response) {
            TakeLine(handler, request, response);
        });
    server.Get("/events", [&feed](const httplib::Request& request, httplib::Response& response) {
        FollowFeed(feed, request, response);
    });
    http_->thread = std::thread([&server] { server.listen_after_bind(); });
}

}  // namespace plug::bench
