#include "commserver/auto_report.h"

#include <cstdio>
#include <limits>
#include <numeric>

#include "commserver/firmware_result.h"
#include "core/clock.h"
#include "core/log.h"
#include "platform/identity.h"
#include "platform/uplink.h"
#include "router/sdk_records.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr std::int64_t kDigestSeconds = 120;  // a type-1 report that repeats the last is dropped within these
constexpr std::int64_t kShortestSeconds1 = 5;
constexpr std::int64_t kShortestSeconds2 = 1170;
constexpr std::int64_t kShortestSeconds3 = 50;

struct ReportState {
    std::uint16_t sequence = 0;  // dispatcher thread, as the history
    ReportHistory history;
};
constinit ReportState state;

bool HasData(ConstBytes payload) {
    if (!payload.empty()) return true;
    PLUG_LOG(kErr, "ERROR: receive data length error!");
    return false;
}

void PutHeader(ByteWriter& out, std::uint16_t func_id) {
    out.U16(state.sequence);
    out.U16(func_id);
    out.U16(0);
}

void Relay(ConstBytes report, std::uint16_t func_id) {
    SendIpUpData(report, static_cast<std::uint8_t>(func_id), &RouterMac());
    ++state.sequence;
    if (!DebugMode()) return;
    std::array<char, 3 * 8192> room;
    const std::string_view text = HexPairs(report, room);
    fprintf(stderr, "\nFuncID %d, Auto report info:\n%.*s\n", func_id, static_cast<int>(text.size()),
            text.data());
}

void RelayAsReceived(ConstBytes payload, std::uint16_t func_id) {
    std::array<std::uint8_t, 8192> buffer;
    ByteWriter report(buffer);
    PutHeader(report, func_id);
    report.U16(static_cast<std::uint16_t>(payload.size()));
    report.Copy(payload);
    Relay(report.written(), func_id);
}

constexpr std::int64_t kLongAgo = std::numeric_limits<std::int64_t>::max();

/// Seconds since the last report of a type, or kLongAgo; it is noted as having come now.
std::int64_t SecondsSince(std::int64_t& last, std::int64_t now) {
    const std::int64_t seconds = last == ReportHistory::kNever ? kLongAgo : now - last;
    last = now;
    return seconds;
}

/// As the log shows them: those since 1970 without a report before.
long Shown(std::int64_t seconds) {
    return static_cast<long>(seconds == kLongAgo ? WallSeconds() : seconds);
}

bool AdmitType1(ReportHistory& history, ConstBytes payload, std::int64_t now) {
    const std::int64_t seconds = SecondsSince(history.last[0], now);
    PLUG_LOG(kDebug, "Type1 report interval: %ld seconds!", Shown(seconds));
    if (seconds >= kDigestSeconds) return true;
    const auto digest = static_cast<std::uint8_t>(std::accumulate(payload.begin(), payload.end(), 0U));
    if (digest != history.digest) {
        history.digest = digest;
        if (seconds >= kShortestSeconds1) return true;
    }
    PLUG_LOG(kErr, "ERROR: type1 report error!");
    return false;
}

bool AdmitType2(ReportHistory& history, std::int64_t now) {
    if (SecondsSince(history.last[1], now) >= kShortestSeconds2) return true;
    PLUG_LOG(kErr, "ERROR: type2 report error!");
    return false;
}

bool AdmitType3(ReportHistory& history, std::int64_t now) {
    const std::int64_t seconds = SecondsSince(history.last[2], now);
    PLUG_LOG(kDebug, "Type3 report interval: %ld seconds!", Shown(seconds));
    if (seconds >= kShortestSeconds3) return true;
    PLUG_LOG(kErr, "ERROR: type3 report error!");
    return false;
}

}  // namespace

void CommAutoReport(ConstBytes payload) {
    const LogAuthor author(__func__);
    constexpr std::uint16_t kFuncId = 81;
    if (!HasData(payload)) return;
    // A short record is swapped together with the zeros behind it, and sent as long as it is.
    std::array<std::uint8_t, 8192> buffer{};
    ByteWriter report(buffer);
    PutHeader(report, kFuncId);
    const std::size_t header_size = report.size();
    report.Copy(payload);
    SwapAddresses<wan_cfg>(Bytes(buffer).subspan(header_size));
    Relay(report.written(), kFuncId);
}

void CommAutoJsonReport(ConstBytes payload, std::uint16_t func_id) {
    const LogAuthor author(__func__);
    if (HasData(payload)) RelayAsReceived(payload, func_id);
}

void CommAutoReport89(ConstBytes payload) {
    const LogAuthor author(__func__);
    if (HasData(payload) && AdmitReport(state.history, payload, MonotonicSeconds()))
        RelayAsReceived(payload, 89);
}

void CommFwUpdateResult(ConstBytes payload) {
    const LogAuthor author(__func__);
    if (payload.size() != 1) {
        PLUG_LOG(kErr, "Firmware update return length error.");
        return;
    }
    const std::uint8_t result = payload[0];
    PLUG_LOG(kDebug, "%s", result == 0 ? "update firmware success." : "update firmware file error.");
    SendFirmwareResult(result, FirmwareResultText(result));
}

bool AdmitReport(ReportHistory& history, ConstBytes payload, std::int64_t now) {
    switch (payload[0]) {
        case 1:
            return AdmitType1(history, payload, now);
        case 2:
            return AdmitType2(history, now);
        case 3:
            return AdmitType3(history, now);
        default:
            PLUG_LOG(kErr, "ERROR: type error!");
            return false;
    }
}

}  // namespace plug
