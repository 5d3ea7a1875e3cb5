// Commands that start a network diagnostic or fetch its result.
#include <cstdio>

#include "commands/config_data.h"
#include "commands/diagnostics.h"
#include "commands/handlers.h"
#include "commands/ping.h"
#include "commands/rate_test.h"
#include "commands/traceroute.h"
#include "core/log.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr std::size_t kMostTracerouteText = 3999;
constexpr std::size_t kRateAnswerFill = 12;

std::array<char, 16> DottedText(std::uint32_t address) {
    std::array<char, 16> text;
    snprintf(text.data(), text.size(), "%u.%u.%u.%u", address >> 24, address >> 16 & 0xFF,
             address >> 8 & 0xFF, address & 0xFF);
    return text;
}

void PutText(Answer& answer, std::string_view text) {
    answer.payload.U16(static_cast<std::uint16_t>(text.size()));
    answer.payload.Copy(AsBytes(text));
}

}  // namespace

void PingStart(ByteReader& parameters, Answer& answer) {
    const std::uint32_t target = parameters.Ip4();
    parameters.Skip(16);
    const std::uint16_t size = parameters.U16();
    const std::uint16_t count = parameters.U16();
    answer.result = static_cast<std::uint16_t>(StartPing(size, count, DottedText(target).data()));
}

void PingFetch(ByteReader&, Answer& answer) {
    if (const auto text = FetchPing())
        PutText(answer, *text);
    else
        answer.Fail(kDiagnosticBusy);
}

void TracerouteStart(ByteReader& parameters, Answer& answer) {
    answer.result = static_cast<std::uint16_t>(StartTraceroute(DottedText(parameters.Ip4()).data()));
}

void TracerouteFetch(ByteReader&, Answer& answer) {
    std::array<char, kMostTracerouteText> room;
    if (const auto text = FetchTraceroute(room))
        PutText(answer, *text);
    else
        answer.Fail(kLocalFailure);
}

void RateTestStart(ByteReader&, Answer& answer) {
    (void)StartRateTest(nullptr);
    answer.payload.Zeros(kRateAnswerFill);
}

void ConfigurationData(ByteReader& parameters, Answer& answer) {
    const std::uint16_t length = parameters.U16();
    PLUG_LOG(kDebug, "87 jsonLen: %d", length);
    if (ParseConfigData(AsText(parameters.Take(length))) != 0) {
        PLUG_LOG(kErr, "ERROR: config data have errors!!!");
        answer.Fail(kLocalFailure);
    }
}

void StopDiagnostics() {
    StopTraceroute();
    JoinPing();
    JoinRateTest();
}

}  // namespace plug
