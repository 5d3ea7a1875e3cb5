// PlatformSide: ping, traceroute and rate tests from their start to their result, and the HTTP server that
// rate tests and updates download from.
#include "bench/platform_side.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

std::string WordOr(const Invocation& words, std::size_t at, const char* otherwise) {
    return words.size() > at ? words.word(at) : otherwise;
}

}  // namespace

void PlatformSide::AddDiagnostics() {
    const std::string group = "devices and diagnostics";
    interpreter_.Add({"ping", "<address> [<size>] [<count>]",
                      "pings (4 times 56 bytes unless told) and shows the result", group, 1,
                      [this](const Invocation& words) { Ping(words); }});
    interpreter_.Add({"traceroute", "<address> [<seconds>]",
                      "traces for some seconds (5 unless told) and shows what was found", group, 1,
                      [this](const Invocation& words) { Traceroute(words); }});
    interpreter_.Add({"rate", "[<url>]", "measures the download rate, at the default server unless told",
                      group, 0, [this](const Invocation& words) { MeasureRate(words); }});
    interpreter_.Add(
        {"http",
         "serve <file> [<port>] [<address>] | requests | stop",
         "serves a file at every path; a query makes it go wrong: 404, no-length, short-length, early-close, "
         "stall, slow=<seconds>, dribble, size=<bytes>, as in http://127.0.0.1:8080/plug?size=1025&slow=2",
         group,
         1,
         [this](const Invocation& words) { Http(words); },
         {"serve", "requests", "stop"}});
}

void PlatformSide::Ping(const Invocation& words) {
    const std::string count = WordOr(words, 3, "4");
    Carry(MakeRequest("ping-start", {words.word(1), WordOr(words, 2, "56"), count}));
    const Request fetch = MakeRequest("ping-result");
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(30) + 2 * ParseSeconds(count);
    for (;;) {
        const LinkEvent answer = AskSilently(fetch);
        if (answer.result() == 0) return ShowAnswer(fetch, answer);
        if (std::chrono::steady_clock::now() >= deadline) throw CommandError("the ping does not end");
        interpreter_.Idle(Milliseconds(300));
    }
}

void PlatformSide::Traceroute(const Invocation& words) {
    Carry(MakeRequest("traceroute-start", {words.word(1)}));
    interpreter_.Idle(ParseSeconds(WordOr(words, 2, "5")));
    Exchange({MakeRequest("traceroute-result")});
}

void PlatformSide::MeasureRate(const Invocation& words) {
    Cursor cursor = platform_.FromNow();
    const Json url = {{"value_func61", WordOr(words, 1, "")}};
    Carry(words.size() > 1 ? MakeRequest("config-data", {"json=" + url.dump()}) : MakeRequest("rate-start"));
    AwaitFollowing(cursor, "the measured rate", IsAnswer(62), std::chrono::seconds(150));
}

void PlatformSide::Http(const Invocation& words) {
    const std::string& action = words.word(1);
    if (action == "stop") {
        http_.reset();
        return;
    }
    if (action == "serve" && words.size() > 2) {
        const std::string content = ReadFile(words.word(2));
        if (content.empty()) throw CommandError("nothing to serve in " + words.word(2));
        const auto port = static_cast<std::uint16_t>(ParseNumber(WordOr(words, 3, "0"), 0xFFFF));
        http_.reset();
        http_ = std::make_unique<HttpServer>(content, port, WordOr(words, 4, "127.0.0.1"));
        interpreter_.last = {{"url", http_->Url()}, {"length", content.size()}, {"md5", Md5(content)}};
    } else if (action == "requests" && http_ != nullptr) {
        interpreter_.last = {{"requests", http_->Requests()}};
    } else {
        throw CommandError("usage: http serve <file> [<port>] [<address>] | requests | stop");
    }
    output_.Show(interpreter_.last, Lines(interpreter_.last));
}

}  // namespace plug::bench
