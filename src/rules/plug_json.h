// The JSON of the plug data commands: reading of their keys into two records, and the reports that go up.
//
// The records belong to the response thread. A text that does not fit its field, or that is no text, counts
// as a missing key; an integer that is no number is 0.
#pragma once

#include <span>

#include "core/text.h"

namespace plug {

/// The order to update this agent (DataTypes 1 and 2), and what the platform says of a device (5, 6 and 7).
struct PluginUpdate {
    std::array<char, 128> plugin_id{};
    std::array<char, 16> from_version{};
    std::array<char, 128> to_version{};
    std::array<char, 256> path{};
    int port = 0;
    std::array<char, 32> server{};
    int file_length = 0;
    std::array<char, 64> file_md5{};
    std::array<char, 64> token{};
    int process = 0;  // 1 once a downloaded file has passed its check
    MacAddress device{};
    std::uint8_t recognition = 0;
};

/// The order to update the router's firmware, byte for byte as the local peer takes it.
struct FirmwareUpdate {
    std::array<char, 64> from_version;
    std::array<char, 64> to_version;
    std::array<char, 256> url;
    std::int32_t file_length;
    std::int32_t check_method;
    std::array<char, 40> check_sum;
};
static_assert(sizeof(FirmwareUpdate) == 432 && offsetof(FirmwareUpdate, url) == 128);
static_assert(offsetof(FirmwareUpdate, file_length) == 384 && offsetof(FirmwareUpdate, check_sum) == 392);

const PluginUpdate& PluginRecord();
const FirmwareUpdate& FirmwareRecord();

/// Notes that a downloaded file has passed its check.
void SetUpdateProcessed();

/// Which key the firmware commands (DataTypes 15 and 16) miss.
enum MissingKey : int {
    kNoFromVersion = 1,
    kNoToVersion = 2,
    kNoUrl = 3,
    kNoCheckMethod = 4,
    kNoFileLength = 5,
    kNoCheckSum = 7,
};

/// Reads the keys of a DataType in their order; what is read before a missing key stays stored. 0, also for a
/// DataType without keys; -1 when `payload` is null or not JSON, or a key is missing (a MissingKey for
/// DataTypes 15 and 16).
int ParserPlug(std::uint32_t data_type, const char* payload);

/// Writes a report into `out`. Kinds: 4 update progress with `result` and a description `text`; 1 device
/// online, 2 offline, 5 device data (`text` is its MAC); 6 the measured rate. 0, also for other kinds, which
/// write nothing; 65535 for a MAC of less than 12 characters; else the code of a failed lock or SDK call, or
/// 1 when the report does not fit; nothing is written then. Any thread for kinds 1, 2 and 5.
std::uint32_t BuildJson(int kind, int result, const char* text, const char* data, std::span<char> out);

}  // namespace plug
