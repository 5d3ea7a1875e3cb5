#include "bench/http_commands.h"

#include "bench/process.h"

namespace plug::bench {
namespace {

constexpr char kUsage[] = "serve <file> [<port>] [<address>] | requests | stop";

}  // namespace

HttpCommands::HttpCommands(Interpreter& interpreter) : interpreter_(interpreter) {
    interpreter_.Add(
        {"http",
         kUsage,
         "serves a file at every path; a query makes it go wrong: 404, no-length, short-length, early-close, "
         "stall, slow=<seconds>, dribble, size=<bytes>, as in http://127.0.0.1:8080/plug?size=1025&slow=2",
         "diagnostics",
         1,
         [this](const Invocation& words) { Run(words); },
         {"serve", "requests", "stop"}});
}

void HttpCommands::Run(const Invocation& words) {
    const std::string& action = words.word(1);
    if (action == "stop")
        server_.reset();
    else if (action == "serve" && words.size() > 2)
        Serve(words);
    else if (action == "requests" && server_ != nullptr)
        interpreter_.Show({{"requests", server_->Requests()}});
    else
        throw CommandError(std::string("usage: http ") + kUsage);
}

void HttpCommands::Serve(const Invocation& words) {
    const std::string content = ReadFile(words.word(2));
    if (content.empty()) throw CommandError("nothing to serve in " + words.word(2));
    const auto port = ParseNumber<std::uint16_t>(words.word(3, "0"));
    server_.reset();
    server_ = std::make_unique<HttpServer>(content, port, words.word(4, "127.0.0.1"), &progress_);
    interpreter_.Show({{"url", server_->Url()}, {"length", content.size()}, {"md5", Md5(content)}});
}

}  // namespace plug::bench
