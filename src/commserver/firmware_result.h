// How the platform is told what became of a firmware update. Any thread.
#pragma once

namespace plug {

/// The description of a result of the local peer, or of a check of the order here.
const char* FirmwareResultText(int result);

/// Sends {"result":..,"resultDesc":".."} (data type 17).
void SendFirmwareResult(int result, const char* description);

}  // namespace plug
