#include "rules/plug_data.h"

#include <array>
#include <bit>

#include "commserver/comm_send.h"
#include "commserver/firmware_result.h"
#include "core/log.h"
#include "rules/plug_json.h"
#include "rules/port_forward.h"
#include "rules/self_update.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ParseJson.c";

constexpr std::uint16_t kFirmwareUpdateFunction = 999;

int UpdateCommand(const char* payload) {
    const int result = ParserPlug(1, payload);
    PLUG_LOG(kDebug, "ParserPlug datatype_update_cmd ret %d", result);
    PLUG_LOG(kDebug, "update cmd ok");
    return 0;
}

int FirmwareCommand(const char* payload) {
    const int result = ParserPlug(15, payload);
    switch (result) {
        case 0:
            PLUG_LOG(kDebug, "update firmware cmd ok");
            SendFirmwareResult(0, "success");
            return 0;
        case kNoFromVersion:
            PLUG_LOG(kDebug, "update firmware cmd error.");
            SendFirmwareResult(1, "fromVersion not match");
            return 1;
        case kNoToVersion:
            PLUG_LOG(kDebug, "update firmware cmd error.");
            SendFirmwareResult(2, "toVersion not support.");
            return 2;
        default:
            SendFirmwareResult(9, "unknown error.");
            return -1;
    }
}

int FirmwareFile(const char* payload) {
    if (const int result = ParserPlug(16, payload); result != 0) {
        PLUG_LOG(kDebug, "update firmware file error.");
        SendFirmwareResult(result, FirmwareResultText(result));
        return -1;
    }
    const auto record = std::bit_cast<std::array<std::uint8_t, sizeof(FirmwareUpdate)>>(FirmwareRecord());
    if (CommSendCmd(kFirmwareUpdateFunction, record) != 0) {
        PLUG_LOG(kErr, "send update firmware command failed.");
        SendFirmwareResult(9, "unKnown error.");
        return -1;
    }
    PLUG_LOG(kDebug, "send update firmware command success.");
    return 0;
}

/// A DataType whose fields are only stored.
template <std::uint32_t data_type>
int Store(const char* payload) {
    return ParserPlug(data_type, payload);
}

struct DataTypeRow {
    std::uint32_t type;
    const char* name;  // as logged; null where the action logs for itself
    int (*action)(const char* payload);
};

constexpr DataTypeRow kDataTypes[] = {
    {1, nullptr, UpdateCommand},
    {2, nullptr, UpdatePlugin},
    {4, "datatype_online", Store<4>},
    {5, "datatype_vip", Store<5>},
    {6, "datatype_recog", Store<6>},
    {7, "datatype_rerecog", Store<7>},
    {9, "datatype_route_set", ParseRouteParam},
    {15, nullptr, FirmwareCommand},
    {16, nullptr, FirmwareFile},
    {18, "datatype_fn40_interval.", Store<18>},
};

}  // namespace

int ParserPlugData(std::uint32_t data_type, const char* payload) {
    const LogAuthor author(__func__);
    for (const DataTypeRow& row : kDataTypes) {
        if (row.type != data_type) continue;
        if (row.name != nullptr) PLUG_LOG(kDebug, "%s", row.name);
        return row.action(payload);
    }
    return 0;
}

}  // namespace plug
