#include "bench/reference.h"

#include "bench/form_text.h"
#include "bench/peer_side.h"
#include "bench/platform_side.h"
#include "bench/router_state.h"
#include "bench/sandbox.h"
#include "bench/text.h"

namespace plug::bench {
namespace {

constexpr char kAbout[] =
    "# Function commands\n\n"
    "The platform's binary commands, by ID, as the bench's table has them (`bench/command_table.cpp`). This "
    "file is written by\n"
    "`plug-bench reference`, and a test compares it: after a change of the table, run\n\n"
    "    build/release/plug-bench reference > docs/commands.md\n\n"
    "Parameters are given in their order or as `name=value`. Ranges say what makes sense; the bench sends "
    "what the field can hold.\n"
    "The examples are a session with the agent over a new simulated home and the bench's local peer, in the "
    "order of the IDs.\n"
    "`ping` and `traceroute` print a fixed text there, and the router's counters stand still.\n";

struct Example {
    std::uint16_t id;
    const char* words;
};
constexpr Example kExamples[] = {
    {3, "1"},
    {5, "1"},
    {6, "1"},
    {7, "1"},
    {8, "127.0.0.1 56 1"},
    {14, "2"},
    {15, "2 off"},
    {16, "2"},
    {17, "index=2 ssid=Visitors"},
    {19, "off"},
    {23, "off"},
    {27, "ftp=on samba=on telnet=off"},
    {29, "ftp_user=guest ftp_password=secret"},
    {31, "on"},
    {32, "mac=00:00:5E:00:53:B1 access=off"},
    {33, "00:00:5E:00:53:B1"},
    {34, "00:00:5E:00:53:B1"},
    {35, "00:00:5E:00:53:B1 512 2048"},
    {36, "00:00:5E:00:53:B1"},
    {37, "00:00:5E:00:53:B1 \"office desktop\""},
    {38, "00:00:5E:00:53:B1"},
    {41, "00:00:5E:00:53:B1"},
    {45, "192.0.2.1 192.0.2.2"},
    {46, "\"Summer house\""},
    {50, "1 on"},
    {51, "127.0.0.1"},
    {66, "'{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"00:00:5E:00:53:B1\",\"UP\":\"512\",\"DOWN\":\"2048\"}]}'"},
    {69,
     "'{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"00:00:5E:00:53:B1\",\"DAY\":\"135\",\"START\":\"22:00\",\"STOP\":"
     "\"23:30\","
     "\"ALLOW\":\"0\"}]}'"},
    {70, "1"},
    {72, "on"},
    {74, "on"},
    {76, "1 65"},
    {82, "index=1 name=Fibre"},
    {87, "'{\"value_func61\":\"http://127.0.0.1:9/file\"}'"},
    {88, "'{\"timestamp\":$now,\"referNum\":1440,\"interval1\":1,\"interval2\":1440,\"interval3\":60}'"},
};

std::string LineOf(const CommandForm& form) {
    const auto* const example = std::ranges::find(kExamples, form.id, &Example::id);
    return std::string(form.name) + (example != std::end(kExamples) ? " " + std::string(example->words) : "");
}

/// The text of a finished ping or traceroute is fetched when it is there.
bool IsThere(const CommandForm& form, const Json& answer) {
    static constexpr std::uint16_t kPingResult = 9;
    static constexpr std::uint16_t kTracerouteResult = 52;
    if (form.id != kPingResult && form.id != kTracerouteResult) return true;
    return answer.contains("fields") && !answer["fields"].value("text", "").empty();
}

void PrintFields(const char* title, Fields fields) {
    const std::vector<FieldText> texts = FieldTexts(fields);
    if (texts.empty()) return;
    printf("\n| %s | values |\n|---|---|\n", title);
    for (FieldText field : texts) {
        std::ranges::replace(field.values, '|', '/');  // which would end the cell
        printf("| `%s` | %s |\n", field.name.c_str(), field.values.c_str());
    }
}

void PrintCommand(const CommandForm& form, const std::string& line, const std::string& answer) {
    printf("\n## %d %s\n\n%s (topic `%s`)", form.id, form.name, form.help, form.topic);
    if (form.read_first != 0)
        printf("; what is not given stays as `%s` has it", Find(CommandForms(), form.read_first)->name);
    printf(".\n");
    PrintFields("parameter", form.parameters);
    printf("\nAnswer: %s.\n", AnswerShape(form.answer).c_str());
    PrintFields("field of the answer", form.answer.fields);
    printf("\n```\n> %s\n%s```\n", line.c_str(), answer.c_str());
}

}  // namespace

int PrintReference(const PlatformOptions& options) {
    ReplaceProgram("ping", "echo '1 packets transmitted, 1 received, 0% packet loss, time 0ms'");
    ReplaceProgram("traceroute", "echo ' 1  localhost (127.0.0.1)  0.012 ms'");
    const std::unique_ptr<FILE, int (*)(FILE*)> nowhere(fopen("/dev/null", "w"), fclose);
    Output silent(false, nowhere.get());
    Interpreter interpreter(silent);
    Platform platform(options);
    const PeerSide peer(interpreter, {}, "peer");
    const PlatformSide side(platform, interpreter, false);
    for (const char* line : {"start-agent", "wait heartbeat 60", "peer start"}) interpreter.Execute(line);
    // Its counters and its up-time stand still then.
    RouterState::OfEnvironment().Change([](Json& home) { home["router"]["started"] = 0; });

    printf("%s", kAbout);
    int failed = 0;
    for (const CommandForm& form : CommandForms()) {
        const std::string line = LineOf(form);
        WaitUntil(
            [&] {
                interpreter.Execute(line);
                return IsThere(form, interpreter.last);
            },
            std::chrono::seconds(10));
        const bool answered = form.answer.shape != Shape::kNoAnswer;
        failed += answered && interpreter.last.contains("error") ? 1 : 0;
        PrintCommand(form, line, answered ? AnswerText(interpreter.last) : "sent; it has no answer\n");
    }
    return failed == 0 ? 0 : 1;
}

}  // namespace plug::bench
