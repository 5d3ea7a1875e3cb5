#include "bench/platform_commands.h"
#include "bench/text.h"

namespace plug::bench {
namespace {

constexpr char kHarmless[] = "wifi-radio-switch";  // what is sent when no command is given
constexpr std::uint8_t kMagic[] = {0xCC, 0xDD};

Dialog::Request CommandOf(Dialog& dialog, const Invocation& words) {
    return dialog.Parse(words.size() > 0 ? words : Invocation(kHarmless));
}

void SendBehind(Dialog& dialog, ConstBytes junk, const Invocation& command) {
    dialog.Exchange({CommandOf(dialog, command)}, [&](const MacAddress& agent, ConstBytes frame) {
        return dialog.platform().SendBytes(agent, Join({junk, frame}));
    });
}

void SendWithWrongChecksum(Dialog& dialog, const Invocation& words) {
    dialog.Exchange({CommandOf(dialog, words.From(1))}, [&](const MacAddress& agent, ConstBytes frame) {
        return dialog.platform().SendBytes(agent, WithWrongChecksum(Join({frame})));
    });
}

void SendSplit(Dialog& dialog, const Invocation& words) {
    dialog.Exchange({CommandOf(dialog, words.From(3))}, [&](const MacAddress& agent, ConstBytes frame) {
        const std::uint64_t parts = std::max<std::uint64_t>(ParseNumber(words.word(1), frame.size()), 1);
        return dialog.platform().SendSplit(agent, frame, parts, ParseSeconds(words.word(2)));
    });
}

void SendGlued(Dialog& dialog, const Invocation& words) {
    std::vector<Dialog::Request> requests;
    for (const std::string& command : Split(words.RestFrom(1), ';'))
        requests.push_back(CommandOf(dialog, Invocation(command)));
    dialog.Exchange(requests);
}

constexpr DialogCommand kCommands[] = {
    {"bad-checksum", "[<command>]", "a command whose checksum is wrong", 0, SendWithWrongChecksum},
    {"junk", "<hex> [<command>]", "bytes before a command's frame", 1,
     [](Dialog& dialog, const Invocation& words) {
         SendBehind(dialog, ParseHex(words.word(1)), words.From(2));
     }},
    {"false-magic", "[<command>]", "a magic number that begins no frame before a command's frame", 0,
     [](Dialog& dialog, const Invocation& words) { SendBehind(dialog, kMagic, words.From(1)); }},
    {"huge", "[<command>]", "a header that announces 65797 bytes before a command's frame", 0,
     [](Dialog& dialog, const Invocation& words) { SendBehind(dialog, HugeHeader(), words.From(1)); }},
    {"split", "<parts> <seconds> [<command>]", "a command in parts, with a pause between them", 2, SendSplit},
    {"glue", "<command> [; <command>]...", "several commands in one write", 1, SendGlued},
    {"lead-word", "", "a frame whose body begins with 0xFFFF", 0,
     [](Dialog& dialog, const Invocation&) {
         Dialog::Require(dialog.platform().SendBytes(dialog.Agent(), LeadWordFrame()));
     }},
    {"drop", "", "closes the connection", 0,
     [](Dialog& dialog, const Invocation&) { Dialog::Require(dialog.platform().Drop(dialog.Agent())); }},
    {"reset", "", "closes the connection with a reset", 0,
     [](Dialog& dialog, const Invocation&) {
         Dialog::Require(dialog.platform().Drop(dialog.Agent(), true));
     }},
    {"stall", "<seconds>", "reads and answers nothing for a while", 1,
     [](Dialog& dialog, const Invocation& words) {
         Dialog::Require(dialog.platform().Stall(dialog.Agent(), ParseSeconds(words.word(1))));
     }},
    {"disconnect", "", "a forced disconnect (MsgType 3)", 0,
     [](Dialog& dialog, const Invocation&) {
         Dialog::Require(dialog.platform().ForceDisconnect(dialog.Agent()));
     }},
};

}  // namespace

void AddMischiefCommands(Dialog& dialog) {
    dialog.interpreter().AddTopic("mischief", dialog, kCommands);
}

}  // namespace plug::bench
