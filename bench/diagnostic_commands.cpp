#include "bench/platform_commands.h"

namespace plug::bench {
namespace {

void Ping(Dialog& dialog, const Invocation& words) {
    const std::string count = words.word(3, "4");
    dialog.Carry(Dialog::Make("ping-start", {words.word(1), words.word(2, "56"), count}));
    const Dialog::Request fetch = Dialog::Make("ping-result");
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(30) + 2 * ParseSeconds(count);
    for (;;) {
        const LinkEvent answer = dialog.Ask(fetch);
        if (answer.result() == 0) return dialog.ShowAnswer(fetch, answer);
        if (std::chrono::steady_clock::now() >= deadline) throw CommandError("the ping does not end");
        dialog.interpreter().Idle(Milliseconds(300));
    }
}

void Traceroute(Dialog& dialog, const Invocation& words) {
    dialog.Carry(Dialog::Make("traceroute-start", {words.word(1)}));
    dialog.interpreter().Idle(ParseSeconds(words.word(2, "5")));
    dialog.Exchange({Dialog::Make("traceroute-result")});
}

void MeasureRate(Dialog& dialog, const Invocation& words) {
    Cursor cursor = dialog.platform().FromNow();
    const Json url = {{"value_func61", words.word(1, "")}};
    dialog.Carry(words.size() > 1 ? Dialog::Make("config-data", {"json=" + url.dump()})
                                  : Dialog::Make("rate-start"));
    dialog.Await(cursor, "the measured rate", IsAnswer(62), std::chrono::seconds(150));
}

constexpr DialogCommand kCommands[] = {
    {"ping", "<address> [<size>] [<count>]", "pings (4 times 56 bytes unless told) and shows the result", 1,
     Ping},
    {"traceroute", "<address> [<seconds>]",
     "traces for some seconds (5 unless told) and shows what was found", 1, Traceroute},
    {"rate", "[<url>]", "measures the download rate, at the default server unless told", 0, MeasureRate},
};

}  // namespace

void AddDiagnosticCommands(Dialog& dialog) {
    dialog.interpreter().AddTopic("diagnostics", dialog, kCommands);
}

}  // namespace plug::bench
