#include "commserver/firmware_result.h"

#include <cstdio>
#include <iterator>

#include "platform/uplink.h"

namespace plug {
namespace {

constexpr std::uint8_t kFirmwareResultType = 17;

constexpr const char* kTexts[] = {
    "success",
    "fromVersion not match.",
    "toVersion not support.",
    "url address error.",
    "check method not match.",
    "fileLength error.",
    "file download failed.",
    "check sum error.",
    "firmware update faiiled.",
};

}  // namespace

const char* FirmwareResultText(int result) {
    return result >= 0 && result < static_cast<int>(std::size(kTexts)) ? kTexts[result] : "unKnown error.";
}

void SendFirmwareResult(int result, const char* description) {
    char text[256];
    snprintf(text, sizeof text, "{\"result\":%d,\"resultDesc\":\"%s\"}", result, description);
    SendIpUpData(AsBytes(text), kFirmwareResultType, nullptr);
}

}  // namespace plug
