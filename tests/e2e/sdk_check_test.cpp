// plug-sdk-check over the simulated router, a stub in C, and libraries that do what none may do.
#include <gtest/gtest.h>

#include <fstream>

#include "bench/process.h"

namespace plug::test {
namespace {

using bench::Outcome;

class SdkCheck : public testing::Test {
  protected:
    Outcome Check(const std::string& library, const std::vector<std::string>& options = {}) const {
        bench::ProcessSpec spec;
        spec.argv = {bench::ProgramFolder() + "/plug-sdk-check"};
        spec.argv.insert(spec.argv.end(), options.begin(), options.end());
        if (!library.empty()) spec.argv.push_back(library);
        // The address sanitizer's dlopen does not know the program's own path of libraries.
        spec.environment = {"ROUTER_SIM=" + folder_.path() + "/router.json",
                            "LD_LIBRARY_PATH=" + bench::ProgramFolder()};
        return bench::Run(spec);
    }
    static std::string Library(const std::string& name) {
        return bench::ProgramFolder() + "/sdk_check/lib" + name + ".so";
    }

    const bench::TemporaryFolder folder_;
};

/// What the check says behind a label, up to the next one.
std::string Behind(const std::string& output, const std::string& label) {
    const std::size_t begin = ("\n" + output).find("\n" + label + " ");
    if (begin == std::string::npos) return "";
    std::size_t end = output.find('\n', begin);
    while (end != std::string::npos && output[end + 1] == ' ') end = output.find('\n', end + 1);
    return output.substr(begin, end - begin);
}

struct Found {
    const char* label;
    const char* words;
};

void ExpectFound(const std::string& output, std::initializer_list<Found> all) {
    for (const Found& found : all)
        EXPECT_NE(std::string::npos, Behind(output, found.label).find(found.words))
            << found.label << " is not said to be \"" << found.words << "\" but:\n"
            << Behind(output, found.label);
}

TEST_F(SdkCheck, FindsTheSimulatedRouterWellAndLeavesItsStateAsItIs) {
    const Outcome outcome = Check("", {"--set"});
    EXPECT_EQ(0, outcome.status) << outcome.output;
    EXPECT_NE(std::string::npos, outcome.output.find("81 of 81 functions")) << outcome.output;
    EXPECT_EQ(std::string::npos, outcome.output.find("s3cret")) << "passwords are not shown";
    ExpectFound(outcome.output, {{"get_wan_cfg(2)", "name=\"Television\""},
                                 {"get_wan_cfg(2)", "address=198.51.100.77"},
                                 {"get_router_version", "date=2022-12-27"},
                                 {"get_wlans_cfg", "[5]"},
                                 {"get_ssid_cfg(5)", "ssid=\"Home guests 5G\""},
                                 {"get_dev_speed(00:00:5E:00:53:B5, 1)", "mbps=65"},
                                 {"get_dns", "first=192.0.2.53 second=198.51.100.53"},
                                 {"set_ssid_cfg(5)", "the same afterwards"},
                                 {"set_dev_ds_max_bw(00:00:5E:00:53:B4)", "the same afterwards"}});
}

TEST_F(SdkCheck, MissesEveryFunctionOfTheHeader) {
    const Outcome outcome = Check("libm.so.6");
    EXPECT_EQ(2, outcome.status);
    std::ifstream header(PLUG_SDK_HEADER);
    int declared = 0;
    for (std::string line; std::getline(header, line);) {
        if (!line.starts_with("int ") && !line.starts_with("uint16_t ")) continue;
        const std::size_t name = line.find(' ') + 1;
        ExpectFound(outcome.output,
                    {{line.substr(name, line.find('(') - name).c_str(), "BROKEN is missing"}});
        ++declared;
    }
    EXPECT_NE(std::string::npos, outcome.output.find("has 0 of " + std::to_string(declared) + " functions"));
}

TEST_F(SdkCheck, TellsWhatAStubLeavesToDo) {
    const Outcome outcome = Check(Library("stub"), {"--set"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(std::string::npos, outcome.output.find("BROKEN")) << outcome.output;
    ExpectFound(outcome.output, {{"get_router_sn", "serial=\"HR2100-22-0004711\""},
                                 {"get_router_version", "WRONG  failed with result 1"},
                                 {"get_wan_num", "WRONG  counts none"}});
    const std::size_t untried = outcome.output.find("Not tried: ");
    ASSERT_NE(std::string::npos, untried) << outcome.output;
    for (const char* function : {"get_wan_cfg", "get_dev_name", "set_dev_name", "restart"})
        EXPECT_NE(std::string::npos, outcome.output.find(function, untried)) << function;

    const Outcome lacking = Check(Library("lacking"));
    EXPECT_EQ(2, lacking.status);
    EXPECT_NE(std::string::npos, lacking.output.find("has 80 of 81 functions")) << lacking.output;
    ExpectFound(lacking.output, {{"get_wps_switch", "BROKEN is missing"}});
}

TEST_F(SdkCheck, NamesTheFunctionThatBreaks) {
    const Outcome outcome = Check(Library("broken"), {"--set", "--seconds", "3"});
    EXPECT_EQ(2, outcome.status);
    ExpectFound(outcome.output,
                {{"get_router_sn", "BROKEN writes in front of its output"},
                 {"get_cpu_cfg", "BROKEN crashes: Segmentation fault at 0x"},
                 {"get_mem_cfg", "BROKEN crashes: Aborted"},
                 {"get_mem_use", "BROKEN hangs: did not return within 3 s"},
                 {"get_name", "BROKEN ends the process with status 0"},
                 {"get_led_switch", "BROKEN goes past the end of its output, by 1 byte"},
                 {"get_dns", "BROKEN goes past the end of its second output, by 1 byte"},
                 {"get_wan_receive_bytes(65535)", "BROKEN crashes: Segmentation fault at 0x0"},
                 {"set_ftp_user", "BROKEN goes past the end of its input"},
                 {"get_dev_cfg(00:00:5E:00:53:B5)", "thermostat"}});  // it went on
}

TEST_F(SdkCheck, FindsRecordsThatAreNotPacked) {
    const Outcome outcome = Check(Library("unpacked"));
    EXPECT_EQ(2, outcome.status);
    ExpectFound(outcome.output, {{"get_devs_cfg", "its records seem to have 36 bytes"},
                                 {"get_devs_cfg", "[1] address 1.20.0.0 is not in the LAN of 192.168.1.1"}});
    EXPECT_NE(std::string::npos, outcome.output.find("goes past the end of its output")) << outcome.output;
}

TEST_F(SdkCheck, DoubtsWhatCannotBe) {
    const Outcome outcome = Check(Library("garbage"), {"--set"});
    EXPECT_EQ(1, outcome.status);
    ExpectFound(outcome.output,
                {{"get_router_version", "date is no date"},
                 {"get_router_mac", "mac is zeros"},
                 {"get_router_vender", "\"Ex\\x01mple\""},
                 {"get_router_vender", "vendor has bytes that are no printable UTF-8"},
                 {"get_router_model", "model has no NUL within its 64 bytes"},
                 {"get_cpu_use", "percent 1200 is not within 0 and 100"},
                 {"get_mem_use", "result 0, but nothing was written"},
                 {"get_name", "failed with result 5"},
                 {"get_name", "failed, but changed its output"},
                 {"get_wans_cfg", "[2] has the index of [1], 1"},
                 {"get_wans_cfg", "[2] has the mac of [1], 00:00:5E:00:53:02"},
                 {"get_wan_cfg(65535)", "result 0, but there is none of that index"},
                 {"get_lan_num", "counts 17, at most 16 are expected"},
                 {"get_lan_cfg", "netmask 0.255.255.255 is none: addresses are host-order integers"},
                 {"get_wlans_cfg", "WLAN 1 counts 17 SSIDs, which goes past the 2000 bytes"},
                 {"get_adj_wifi_devs", "counts 31, the room is for 30"},
                 {"get_wps_switch", "switch is neither 0 nor 1"},
                 {"get_dev_name(00:00:5E:00:53:B1)", "name is not that of the device's record"},
                 {"get_dev_black_list", "[1] mac 01:00:5E:00:53:01 is a group's address"},
                 {"get_dev_black_list", "but only 9 were written"},
                 {"set_telnet_user", "user is different afterwards: user=\"nobody\""}});
    EXPECT_NE(std::string::npos, outcome.output.find("no good value of get_wps_switch")) << outcome.output;
}

TEST_F(SdkCheck, RefusesWhatItCannotLoadOrUnderstand) {
    for (const Outcome& outcome : {Check("/nowhere/libRouterSdk.so"), Check("", {"--what"}),
                                   Check("", {"--seconds", "0"}), Check("one.so", {"other.so"})}) {
        EXPECT_EQ(3, outcome.status) << outcome.output;
        EXPECT_FALSE(outcome.output.empty());
    }
}

}  // namespace
}  // namespace plug::test
