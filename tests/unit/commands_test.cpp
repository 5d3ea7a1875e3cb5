// The function commands over a simulated router with known contents: every answer's bytes, what failing and
// overlong SDK answers become, and what the SDK is asked to set. Times and counters of the router stand
// still.
#include "commands/dispatcher.h"

#include <algorithm>

#include "commands/diagnostics.h"
#include "platform/identity.h"
#include "support/command.h"
#include "support/home.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

constexpr char kHome[] = R"json(
"router": {"name": "Home", "mac": "00:00:5E:00:53:01", "serial_number": "SN-1", "vendor": "Maker",
    "model": "M-2", "pin": "123456789012", "version": "2.4.18", "date": "2022-12-27",
    "is_plug": true, "support_ipv6": 2},
"cpu": {"model": "A53", "cores": 4, "clock_mhz": 1350, "use_percent": 515},
"memory": {"kind": "DDR3", "size_kib": 16909060, "use_percent": 41},
"wans": [
    {"index": 1, "name": "Internet", "mode": 2, "vlan": 100, "service": 258, "mac": "00:00:5E:00:53:02",
     "user": "u@x", "password": "pw", "ipv6": "2001:db8::24", "address": "203.0.113.24",
     "netmask": "255.255.255.0", "gateway": "203.0.113.1", "dns1": "192.0.2.53", "dns2": "198.51.100.53",
     "mtu": 1492, "connected": true, "tcp_connections": 16909060, "udp_connections": 58,
     "received": {"bytes": 4328719365}},
    {"index": 2, "connected": false}],
"lan": {"address": "192.168.1.1", "netmask": "255.255.252.0", "mac": "00:00:5E:00:53:03"},
"lan_ports": [
    {"connected": true, "up": {"bytes": 1}, "down": {"bytes": 257}},
    {"connected": false, "up": {"bytes": 2}, "down": {"bytes": 258}},
    {"connected": true, "up": {"bytes": 3}, "down": {"bytes": 259}}],
"radios": [
    {"ssids": [{"index": 1, "ssid": "Home", "password": "secret", "enabled": true, "hidden": false,
        "security": 4, "band": 1, "channel": 258, "width_mhz": 20, "rate_kbit": 16909060,
        "max_stations": 32, "bssid": "00:00:5E:00:53:10"}]},
    {"ssids": [{"index": 4}, {"index": 5, "enabled": true}]}],
"wifi_modules": [1, 2, 3, 4],
"switches": {"wifi_radio": 11, "led": 12, "wps": 13, "ftp": 14, "samba": 15, "telnet": 16},
"accounts": {"ftp_user": "fu", "ftp_password": "fp", "samba_user": "su", "samba_password": "sp",
    "telnet_user": "tu", "telnet_password": "exactly fifteen"},
"neighbours": [{"ssid": "Next", "channel": 16909060, "bssid": "00:00:5E:00:53:A1"}, {"channel": 36}],
"devices": [
    {"name": "desk", "mac": "00:00:5E:00:53:B1", "address": "192.168.1.20", "link": 1, "band": 2,
     "rssi": 258, "access": true, "by_name": false, "up_bandwidth": "72623859790382856",
     "down_bandwidth": 7, "up_limit": 8, "down_limit": 9, "speeds": [258, 2, 3]},
    {"mac": "00:00:5E:00:53:B2"}],
"black_list": ["00:00:5E:00:53:B6", "00:00:5E:00:53:C0"],
"dns": ["192.0.2.53", "198.51.100.53"],
"flows": {"up_rate": 258, "down_rate": 4328719365}
)json";

constexpr char kDesk[] = "00005e0053b1";
constexpr char kNobody[] = "010203040506";

std::string Ssid(const char* head, const char* tail, std::string_view name, std::string_view password) {
    return head + Field(name, 33) + Field(password, 65) + tail;
}
std::string FirstSsid() {
    return Ssid("0100 01 01 0201 00 04 00005e005310 2000", "1400 04030201", "Home", "secret");
}
std::string Device() {
    return std::string(kDesk) + Field("desk", 16) + "01 02 00 00 01 00 0201 c0a80114";
}

std::string Repeat(int count, const std::string& item) {
    std::string list;
    for (int i = 0; i < count; ++i) list += (i == 0 ? "" : ",") + item;
    return "[" + list + "]";
}

/// The answer behind its echo, in hexadecimal: result and payload.
std::string Command(int id, const std::string& parameters = "") {
    return ToHex(RunCommand(id, ParseHex(parameters)));
}

class Commands : public Sandbox {
  protected:
    Commands() {
        SetLogMask(0);
        SetRouterIdentity({1, 2, 3, 4, 5, 6});
        UseHome();
    }

    /// The known home; of two equal keys the first counts, so `first` may replace sections.
    static void UseHome(const std::string& first = "") {
        WriteFile(kHomePath, "{" + first + (first.empty() ? "" : ",") + "\"call_log\": \"" + kSdkCallsPath +
                                 "\"," + kHome + "}");
    }
    /// The calls of the SDK since the last look, each with its newline.
    static std::string Calls() {
        std::string calls;
        for (const std::string& call : TakeSdkCalls()) calls += call + "\n";
        return calls;
    }
};

TEST_F(Commands, EveryAnswerHasItsBytes) {
    const std::string wan = "0100 02 6400 0201 00005e005302" + Field("Internet", 32) + Field("u@x", 64) +
                            Field("pw", 64) + Field("2001:db8::24", 32) +
                            "cb007118 ffffff00 cb007101 c0000235 c6336435 d405 01";
    const std::string no_ssid = std::string(2 * 118, '0');
    const std::string fixed = std::string(40, '0') + "01";
    const std::string service_texts = Field("fu", 16) + Field("fp", 16) + Field("su", 16) + Field("sp", 16) +
                                      Field("tu", 16) + Field("exactly fifteen", 16);
    const struct {
        int id;
        std::string parameters, payload;
    } kRows[] = {
        {1, "", Field("2.4.18", 60) + "14160c1b"},
        {2, "",
         "010203040506" + Field("SN-1", 64) + Field("Maker", 64) + Field("M-2", 64) + Field("A53", 32) +
             "04 4605" + Field("DDR3", 24) + "04030201" + Field("Home", 32) + "01 02"},
        {3, "0100", wan},
        {4, "", "0200" + wan + "0200" + std::string(2 * 226, '0')},
        {5, "0100", "04030201"},
        {6, "0100", "3a000000"},
        {7, "0100", "0504030201 000000"},
        {10, "", "c0a80101 fffffc00 00005e005303"},
        {11, "", "0300"},
        {12, "",
         "0300 0101000000000000 0201000000000000 0301000000000000"
         "0100000000000000 0200000000000000 0300000000000000"},
        {13, "", "0200 0100" + FirstSsid() + "0200 0400" + no_ssid + "0500 01" + no_ssid.substr(2)},
        {14, "0500", "01"},
        {16, "0100", FirstSsid()},
        {18, "", "0b"},
        {20, "", fixed},
        {21, "", ""},
        {22, "", "0c"},
        {24, "", fixed},
        {25, "", ""},
        {26, "", "0e 0f 10"},
        {28, "", service_texts},
        {30, "", "0d"},
        {33, kDesk, "0807060504030201 0700000000000000"},
        {34, kDesk, "0800000000000000 0900000000000000"},
        {36, kDesk, Field("desk", 32)},
        {38, kDesk, Device()},
        {39, "", "0200" + Device() + "00005e0053b2" + std::string(2 * 28, '0')},
        {41, kDesk, "0201 0200 0300"},
        {42, "",
         "0200" + Field("Next", 64) + "04030201 00005e0053a1" + Field("", 64) + "24000000 000000000000"},
        {43, "", "0200 00005e0053b6 00005e0053c0"},
        {44, "", "c0000235 c6336435"},
        {47, "", "0302"},
        {48, "", "2900"},
        {49, "", "0300 01 00 01 0200 01 00 01 02 03 04"},
        {54, "", "0000000000000000"},
        {58, "", "0201000000000000 0504030201000000"},
        {60, "", HexOf("123456789012")},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.id);
        EXPECT_EQ(ToHex(ParseHex("0000" + row.payload)), Command(row.id, row.parameters));
    }
}

TEST_F(Commands, TheRouterIsCalledWithTheRightArguments) {
    const std::string ssid = Ssid("0100 00 02 0302 01 05 00005e0053ff 0400", "5000 08070605", "New", "word");
    const std::string device = std::string(kDesk) + Field("pc", 16) + "03 04 00 55 00 66 0302 c0a80a02";
    const std::string accounts = Field("a", 16) + Field("b", 16) + Field("c", 16) + Field("d", 16) +
                                 Field("e", 16) + HexOf("sixteen letters!");
    const std::string long_name(31, 'n');
    const struct {
        int id;
        std::string parameters, calls;
        const char* result = "0000";
    } kRows[] = {
        {15, "0400 01", "set_ssid_switch(4, 1) = 0\n"},
        {17, ssid,
         R"(set_ssid_cfg({"index":1,"enabled":false,"band":2,"channel":515,"hidden":true,"security":5,)"
         R"("bssid":"00:00:5E:00:53:FF","max_stations":4,"ssid":"New","password":"word","width_mhz":80,)"
         R"("rate_kbit":84281096}) = 0)"
         "\n"},
        // Texts that fill their field or more go on as they came: refusing them is the router's.
        {17, Ssid("0100 01 01 0201 00 04 00005e005310 2000", "1400 04030201", std::string(33, 's'), ""),
         R"(set_ssid_cfg({"index":1,"enabled":true,"band":1,"channel":258,"hidden":false,"security":4,)"
         R"("bssid":"00:00:5E:00:53:10","max_stations":32,"ssid":")" +
             std::string(33, 's') +
             R"(","password":"","width_mhz":20,"rate_kbit":16909060}) = 0)"
             "\n"},
        {19, "07", "set_wifi_radio_switch(7) = 0\n"},
        {23, "08", "set_led_switch(8) = 0\n"},
        {27, "010203",
         "set_ftp_switch(1) = 0\nset_sambaenable_switch(2) = 0\nset_telnetenable_switch(3) = 0\n"},
        {29, accounts,
         "set_ftp_user(\"a\") = 0\nset_ftp_password(\"b\") = 0\nset_samba_user(\"c\") = 0\n"
         "set_samba_password(\"d\") = 0\nset_telnet_user(\"e\") = 0\n"
         "set_telnet_password(\"sixteen letters!\") = 104\n"},
        {31, "09", "set_wps_switch(9) = 0\n"},
        {32, device,
         R"(set_dev_access_control({"mac":"00:00:5E:00:53:B1","name":"pc","link":3,"band":4,"by_name":true,)"
         R"("access":false,"rssi":515,"address":"192.168.10.2"}) = 0)"
         "\n"},
        {32, std::string(kDesk) + Field("a name of 16 by", 15) + "21" + "03 04 00 55 00 66 0302 c0a80a02",
         R"(set_dev_access_control({"mac":"00:00:5E:00:53:B1","name":"a name of 16 by!","link":3,"band":4,)"
         R"("by_name":true,"access":false,"rssi":515,"address":"192.168.10.2"}) = 0)"
         "\n"},
        {35, std::string(kDesk) + "0807060504030201 ffffffffffffffff",
         "set_dev_us_max_bw(00:00:5E:00:53:B1, 72623859790382856) = 0\n"
         "set_dev_ds_max_bw(00:00:5E:00:53:B1, 18446744073709551615) = 0\n"},
        {37, kDesk + HexOf("tv") + "00" + HexOf("rest"), "set_dev_name(00:00:5E:00:53:B1, \"tv\") = 0\n"},
        {37, kDesk + HexOf(long_name), "set_dev_name(00:00:5E:00:53:B1, \"" + long_name + "\") = 0\n"},
        {37, kDesk + HexOf(long_name + "n"),
         "set_dev_name(00:00:5E:00:53:B1, \"" + long_name + "n\") = 104\n", "6800"},
        {45, "c000020a 0a000001", "set_dns(192.0.2.10, 10.0.0.1) = 0\n"},
        {46, HexOf("Casa"), "set_name(\"Casa\") = 0\n"},
        {46, HexOf(long_name + "n"), "set_name(\"" + long_name + "n\") = 104\n", "6800"},
        {50, "0302 01", "set_full_load_enable(515, 1) = 0\n"},
        {53, "", "sync_time() = 0\n"},
        {55, "", "restart() = 0\n"},
        {56, "", "set_redirection() = 0\n"},
        {57, "", "update_rom_version() = 0\n"},
        {59, "", "set_http_test_url() = 0\n"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.id);
        EXPECT_EQ(row.result, Command(row.id, row.parameters));
        EXPECT_EQ(row.calls, Calls());
    }
    // In Test Mode byte 34 goes through as it came; before any settings are read it is Run Mode.
    UseProfile("[Protool]\nSERVER1=127.0.0.1\n");
    Command(32, device);
    EXPECT_TRUE(Contains(Calls(), "\"by_name\":false"));
    Command(32, std::string(device).replace(device.find("03 04 00"), 8, "03 04 01"));
    EXPECT_TRUE(Contains(Calls(), "\"by_name\":true"));
}

TEST_F(Commands, AFailingSdkGivesItsCode) {
    const std::string index = "0100";
    const struct {
        std::vector<int> ids;
        std::string parameters;
        bool has_payload;
    } kRows[] = {
        {{1, 10, 18, 22, 26, 28, 30, 44, 47, 48, 54, 58, 60}, "", true},
        {{4, 13, 19, 23, 31, 39, 42, 43, 45, 46, 53, 55, 56, 57, 59}, "", false},
        {{3, 5, 6, 7, 14, 16}, index, true},
        {{15}, index, false},
        {{17}, FirstSsid(), false},
        {{32}, Device(), false},
        {{33, 34}, kDesk, true},
        {{35, 36, 37, 38}, kDesk, false},
    };
    for (const auto& [ids, parameters, has_payload] : kRows) {
        for (const int id : ids) {
            UseHome();
            const std::size_t size = Command(id, parameters).size();
            const std::string last = TakeSdkCalls().back();  // the last function that it asks decides
            SCOPED_TRACE(std::to_string(id) + " " + last);
            UseHome("\"faults\": {\"" + last.substr(0, last.find('(')) + "\": 66051}");  // 0x00010203
            const std::string answer = Command(id, parameters);
            EXPECT_EQ("0302", answer.substr(0, 4)) << "the low 16 bits";
            EXPECT_EQ(has_payload ? size : 4, answer.size());
        }
    }
    // What failed travels as zeros, what is beside it as it is; a call that does not count does not show.
    UseHome(R"("faults": {"get_dev_us_bw": 5, "get_ftp_switch": 5, "get_lan_con_status": 5,
                          "set_ftp_switch": 5})");
    EXPECT_EQ("000000000000000000000700000000000000", Command(33, kDesk));
    EXPECT_EQ("0000000f10", Command(26));
    EXPECT_EQ("000003000000000200010001020304", Command(49));
    EXPECT_EQ("0000", Command(27, "010101"));
    EXPECT_EQ("6700", Command(38, kNobody).substr(0, 4)) << "no such device";
}

TEST_F(Commands, CountsAreNotTrustedPastTheRoom) {
    const std::string sixteen = Repeat(16, "{}"), two = Repeat(2, "{}");
    const struct {
        int id;
        std::string first;
        std::size_t length;  // 6: refused
    } kRows[] = {
        {4, "\"wans\": " + Repeat(4, "{}"), 8 + 4 * 228},
        {4, "\"wans\": " + Repeat(5, "{}"), 6},
        {4, R"("counts": {"get_wans_cfg": -1})", 6},
        {39, "\"devices\": " + Repeat(128, "{}"), 8 + 128 * 34},
        {39, "\"devices\": " + Repeat(129, "{}"), 6},
        {42, "\"neighbours\": " + Repeat(30, "{}"), 8 + 30 * 74},
        {42, "\"neighbours\": " + Repeat(31, "{}"), 6},
        {43, "\"black_list\": " + Repeat(100, "\"01:02:03:04:05:06\""), 8 + 100 * 6},
        {43, "\"black_list\": " + Repeat(101, "\"01:02:03:04:05:06\""), 6},
        {13, "\"radios\": " + Repeat(8, "{\"ssids\": " + two + "}"), 8 + 8 * 2 + 16 * 120},
        {13, "\"radios\": " + Repeat(9, "{}"), 6},
        {13, "\"radios\": [{\"ssids\": " + sixteen + "}]", 8 + 2 + 16 * 120},
        {13, "\"radios\": [{\"ssids\": " + Repeat(17, "{}") + "}]", 6},
        {13, "\"radios\": [{\"ssids\": " + sixteen + "}, {\"ssids\": " + two + "}]", 6},
        {12, R"("counts": {"get_lan_num": 511})", 8 + 511 * 16},
        {12, R"("counts": {"get_lan_num": 512})", 6},
        {49, R"("counts": {"get_lan_num": 8000, "get_wan_num": 178})", 8192},
        {49, R"("counts": {"get_lan_num": 8000, "get_wan_num": 179})", 6},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.id << " " << row.first.substr(0, 40) << " " << row.length);
        UseHome(row.first);
        const std::string answer = Command(row.id);
        EXPECT_EQ(row.length, 4 + answer.size() / 2);
        EXPECT_EQ(row.length == 6 ? "0100" : "0000", answer.substr(0, 4));
    }
}

TEST_F(Commands, UnknownAndSilentIds) {
    const auto given = [](int id) {
        const std::uint8_t head[] = {0xA5, 0x5A, static_cast<std::uint8_t>(id),
                                     static_cast<std::uint8_t>(id >> 8)};
        const auto [returned, answer] = Dispatch(head);
        EXPECT_TRUE(answer.empty() || ToHex(answer).starts_with(ToHex(head))) << "echo";
        return std::to_string(returned) + " " + ToHex(answer).substr(answer.empty() ? 0 : 8);
    };
    for (const int id : {62, 63, 65, 67, 68, 89, 0x100, 0x7FFE}) EXPECT_EQ("-1 0700", given(id)) << id;
    for (const int id : {0, 0x7FFF, 0x8000, 0xFFFF}) EXPECT_EQ("-1 ", given(id)) << id;
    for (const int id : {40, 81, 84, 86}) EXPECT_EQ("0 ", given(id)) << id;
    EXPECT_EQ("", Calls()) << "none of them asks the router";
    EXPECT_EQ("0 00000c", given(22));
    const ByteVector shorter = {0xA5, 0x5A, 22};
    for (std::size_t size = 0; size < shorter.size(); ++size)
        EXPECT_TRUE(Dispatch(ConstBytes(shorter).first(size)).second.empty()) << size;
}

TEST_F(Commands, WhatACommandLacksReadsAsZeros) {
    for (const int id : {3, 5, 7, 14, 15, 16, 17, 19, 27, 29, 32, 33, 35, 36, 37, 38, 41, 45, 46, 50}) {
        SCOPED_TRACE(id);
        const std::string zeros = Command(id, std::string(400, '0'));
        const std::string calls = Calls();
        for (const char* parameters : {"", "00", "000000", "00000000000000"}) {
            EXPECT_EQ(zeros, Command(id, parameters));
            EXPECT_EQ(calls, Calls());
        }
    }
}

/// Runs every ID with parameters of all kinds.
void Sweep() {
    for (int id = 1; id <= 88; ++id) {
        if (id == 62 || id == 63 || id == 65 || id == 67 || id == 68) continue;  // there are none
        for (const std::size_t size : {0U, 1U, 5U, 7U, 22U, 120U, 1100U, 8170U}) {
            for (const std::uint8_t byte : ByteVector{0, 0xFF, '{'}) RunCommand(id, ByteVector(size, byte));
        }
    }
    StopDiagnostics();  // the sweep has started each of them
}

TEST_F(Commands, NoParametersUpsetAnyId) {
    for (const char* program : {"ping", "traceroute", "killall"}) Program(program);
    Sweep();
    std::string faults;
    for (const std::string& call : TakeSdkCalls()) {
        const std::string function = '"' + call.substr(0, call.find('(')) + "\": 66051";
        if (!Contains(faults, function)) faults += (faults.empty() ? "" : ",") + function;
    }
    EXPECT_LT(60, std::count(faults.begin(), faults.end(), ',')) << "nearly all of the SDK is called";
    UseHome("\"faults\": {" + faults + "}");
    Sweep();
}

}  // namespace
}  // namespace plug::test
