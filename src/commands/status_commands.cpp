// Commands about the router as a whole: its identity, WANs, LAN ports, flows and settings.
#include "commands/handlers.h"
#include "core/text.h"
#include "platform/identity.h"
#include "router/sdk_records.h"

namespace plug {
namespace {

// One field each of a composed answer; a failed query leaves it zero.

template <std::size_t size>
std::uint16_t PutTextField(ByteWriter& out, int (*get)(char*)) {
    char field[size] = {};
    const std::uint16_t result = SdkCode(get(field));
    out.Copy(AsBytes({field, size}));
    return result;
}

template <class Record>
void PutRecordField(ByteWriter& out, int (*get)(Record*)) {
    Record record{};
    get(&record);
    PutRecord(out, record);
}

void PutFlag(ByteWriter& out, int (*get)(std::uint8_t*)) {
    std::uint8_t flag = 0;
    get(&flag);
    out.U8(flag);
}

/// One value of a port, WAN or module; 0 when the query fails.
template <class Value>
std::uint64_t QueryPort(int (*get)(std::uint16_t, Value*), int port) {
    Value value{};
    get(static_cast<std::uint16_t>(port), &value);
    return value;
}

}  // namespace

void DeviceInformation(ByteReader&, Answer& answer) {
    ByteWriter& out = answer.payload;
    out.Copy(RouterMac());
    PutTextField<64>(out, get_router_sn);
    PutTextField<64>(out, get_router_vender);
    PutTextField<64>(out, get_router_model);
    PutRecordField(out, get_cpu_cfg);
    PutRecordField(out, get_mem_cfg);
    answer.result = PutTextField<32>(out, get_name);
    PutFlag(out, get_router_is_plug);
    PutFlag(out, get_router_support_ipv6);
}

void LanPortFlows(ByteReader&, Answer& answer) {
    ByteWriter& out = answer.payload;
    const std::uint16_t ports = get_lan_num();
    out.U16(ports);
    for (const auto get : {get_lan_port_down_flow, get_lan_port_up_flow}) {
        for (int port = 1; port <= ports && out.ok(); ++port) out.U64(QueryPort(get, port));
    }
}

void LinkStatus(ByteReader&, Answer& answer) {
    constexpr int kWifiModules = 4;
    ByteWriter& out = answer.payload;
    const auto put_all = [&out](int (*get)(std::uint16_t, std::uint8_t*), int count) {
        for (int i = 1; i <= count && out.ok(); ++i) out.U8(static_cast<std::uint8_t>(QueryPort(get, i)));
    };
    const std::uint16_t lans = get_lan_num();
    out.U16(lans);
    put_all(get_lan_con_status, lans);
    const std::uint16_t wans = get_wan_num();
    out.U16(wans);
    put_all(get_wan_con_status, wans);
    put_all(get_wifi_module_status, kWifiModules);
}

void FlowRates(ByteReader&, Answer& answer) {
    std::uint64_t up = 0;
    std::uint64_t down = 0;
    get_flows_up_rate(&up);
    answer.result = SdkCode(get_flows_down_rate(&down));
    answer.payload.U64(up);
    answer.payload.U64(down);
}

void GetDns(ByteReader&, Answer& answer) {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    answer.result = SdkCode(get_dns(&first, &second));
    answer.payload.Ip4(first);
    answer.payload.Ip4(second);
}

void SetDns(ByteReader& parameters, Answer& answer) {
    const std::uint32_t first = parameters.Ip4();
    const std::uint32_t second = parameters.Ip4();
    answer.result = SdkCode(set_dns(first, second));
}

void SetRouterName(ByteReader& parameters, Answer& answer) {
    answer.result = SdkCode(set_name(TextParameter(parameters)));
}

void RouterPin(ByteReader&, Answer& answer) {
    answer.result = PutTextField<12>(answer.payload, get_router_pin);
}

void FixedStatus(ByteReader&, Answer& answer) {
    answer.payload.Zeros(20);
    answer.payload.U8(1);
}

}  // namespace plug
