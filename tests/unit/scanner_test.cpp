#include "subdev/scanner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/home.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

// Two devices of the SDK and what the kernel knows besides.
const HomeDevice kDesktop{HomeMac(0xB1), "desktop", "192.168.1.20", true, true, 0x01020304, 0x0A0B0C0D};
const HomeDevice kRestricted{HomeMac(0xB2), "sixteen letters!", "192.168.1.21", false, true, 1, 2};
constexpr char kArpHeader[] =
    "IP address       HW type     Flags       HW address            Mask     Device\n";

class Scanner : public Sandbox {
  protected:
    Scanner() {
        // A `cat` that shows the test's ARP table; the rest of the command is the real one.
        Program("cat", "[ \"$1\" = /proc/net/arp ] && exec /bin/cat /tmp/arp\nexit 1\n");
        WriteFile("/tmp/arp", kArpHeader);
    }

    static std::string Arp(const std::string& address, const std::string& mac) {
        return address + "     0x1         0x2         " + mac + "     *        br-lan\n";
    }
    static std::vector<HomeDevice> Devices(int count) {
        std::vector<HomeDevice> devices(static_cast<std::size_t>(count), kDesktop);
        for (int i = 0; i < count; ++i) devices[static_cast<std::size_t>(i)].mac = HomeMac(i);
        return devices;
    }
};

TEST_F(Scanner, ReportByteForByte) {
    HomeDevice tablet{HomeMac(0xB6), "tablet of the youngest", "192.168.1.25"};
    tablet.online = false;
    Home{.devices = {kDesktop, kRestricted, tablet}, .black_list = R"("00:00:5E:00:53:B1")"}.Write();
    WriteFile("/tmp/arp",
              kArpHeader + Arp("192.168.1.20", "00:00:5e:00:53:b1") +  // listed already
                  Arp("192.168.1.40", "00:00:00:00:00:00") + Arp("10.0.0.9", "00:00:5e:00:53:c9") +
                  Arp("192.168.1.30", "00:00:5e:00:53:c0") + Arp("192.168.1.31", "incomplete") +
                  Arp("192.168.1.25", "00:00:5E:00:53:B6") + Arp("192.168.1.32", "00:00:5E:00:53:C0"));
    WriteFile("/tmp/victim", "untouched");
    ASSERT_EQ(0, symlink("/tmp/victim", "/tmp/tmpSubdev"));
    PlatformPeer peer;

    ASSERT_TRUE(ScanAndReport());
    const bench::LinkEvent report = peer.Next();
    EXPECT_EQ(MsgType::kAddressedReport, report.header.type());
    EXPECT_EQ(63, report.data_type);
    EXPECT_EQ(kRouter, report.address);
    EXPECT_EQ(ToHex(ParseHex("00 00 3F 00 00 00 04 00 "
                             "C0 A8 01 14 00 00 5E 00 53 B1 64 65 73 6B 74 6F 70 00 00 00 00 00 00 00 00 00 "
                             "04 03 02 01 00 00 00 00 0D 0C 0B 0A 00 00 00 00 01 01 01 "
                             "C0 A8 01 15 00 00 5E 00 53 B2 73 69 78 74 65 65 6E 20 6C 65 74 74 65 72 73 00 "
                             "01 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 01 01 00 "
                             "C0 A8 01 1E 00 00 5E 00 53 C0 75 6E 6B 6E 6F 77 6E 2D 64 65 76 69 63 65 00 00 "
                             "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 01 "
                             "C0 A8 01 19 00 00 5E 00 53 B6 74 61 62 6C 65 74 20 6F 66 20 74 68 65 20 79 6F "
                             "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 01")),
              ToHex(report.data));
    EXPECT_EQ("untouched", ReadFile("/tmp/victim"));
    Lines queries = TakeSdkCalls({"get_dev_ds_bw", "get_dev_us_bw"});
    ASSERT_EQ(4U, queries.size()) << "of listed devices only";
    EXPECT_EQ("get_dev_ds_bw(00:00:5E:00:53:B1) = 0", queries[0]);
    EXPECT_EQ("get_dev_us_bw(00:00:5E:00:53:B1) = 0", queries[1]);

    // Counted on; without the file the devices of the SDK still go up.
    Program("grep", "rm -f /tmp/tmpSubdev");
    CaptureLog();
    ASSERT_TRUE(ScanAndReport());
    EXPECT_TRUE(Contains(CapturedLog(), "Unable to open file /tmp/tmpSubdev."));
    const bench::LinkEvent second = peer.Next();
    EXPECT_EQ("01003f0000000200", ToHex(ConstBytes(second.data).first(8)));
    EXPECT_EQ(8U + 2 * 45, second.data.size());
}

TEST_F(Scanner, TheBlackListCountsInDebugModeOnly) {
    SetLogMask(kAllLevels);
    const Home home{.devices = {kDesktop, kRestricted},
                    .black_list = R"("00:00:5E:00:53:FF", "00:00:5E:00:53:C0", "00:00:5E:00:53:B1")"};
    home.Write();
    WriteFile("/tmp/arp", Arp("192.168.1.30", "00:00:5e:00:53:c0"));
    PlatformPeer peer;
    CaptureLog();
    ASSERT_TRUE(ScanAndReport());
    const bench::LinkEvent report = peer.Next();
    const std::string log = CapturedLog();
    ASSERT_EQ(8U + 3 * 45, report.data.size());
    EXPECT_EQ(0, report.data[8 + 43]);
    EXPECT_EQ(1, report.data[8 + 45 + 43]);
    EXPECT_EQ(0, report.data[8 + 2 * 45 + 43]) << "seen in the ARP table only";
    for (const char* text : {"InNetSeg=192.168.1.\n", "BlackNum=3\n", "BlackMac2=00:00:5e:00:53:b1\n",
                             "00 00 3F 00 00 00 03 00 C0 A8 01 14 "})
        EXPECT_TRUE(Contains(log, text)) << text;

    // A list that cannot be had, or that claims more than there is room for, forbids nobody.
    for (const char* state : {R"("get_dev_black_list": 5)", R"("get_dev_black_list": 101)"}) {
        Home broken = home;
        (std::string_view(state).ends_with("101") ? broken.counts : broken.faults) = state;
        broken.Write();
        CaptureLog();
        ASSERT_TRUE(ScanAndReport());
        EXPECT_TRUE(Contains(CapturedLog(), "get_dev_black_list Error.\n"));
        EXPECT_EQ(1, peer.Next().data[8 + 43]);
    }
}

TEST_F(Scanner, AtMost128Devices) {
    WriteFile("/tmp/arp",
              Arp("192.168.1.30", "00:00:5e:00:54:01") + Arp("192.168.1.31", "00:00:5e:00:54:02"));
    PlatformPeer peer;
    Home{.devices = Devices(127)}.Write();
    ASSERT_TRUE(ScanAndReport());
    bench::LinkEvent report = peer.Next();
    ASSERT_EQ(8U + 128 * 45, report.data.size());
    EXPECT_EQ(128, report.data[6]);
    EXPECT_EQ(30, report.data[8 + 127 * 45 + 3]) << "the first of the ARP table";

    Home{.devices = Devices(128)}.Write();
    ASSERT_TRUE(ScanAndReport());
    report = peer.Next();
    ASSERT_EQ(8U + 128 * 45, report.data.size());
    EXPECT_EQ(1, report.data[8 + 127 * 45 + 42]);

    Home{.devices = Devices(129)}.Write();
    CaptureLog();
    EXPECT_FALSE(ScanAndReport());
    EXPECT_TRUE(Contains(CapturedLog(), "DeviceNum too large."));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(Scanner, ThePrefixOutlivesAScan) {
    WriteFile("/tmp/arp", Arp("192.168.1.30", "00:00:5e:00:53:c0"));
    PlatformPeer peer;
    Home{}.Write();
    ASSERT_TRUE(ScanAndReport());
    EXPECT_EQ("00003f0000000000", ToHex(peer.Next().data)) << "no devices, no prefix yet";
    Home{.devices = {kDesktop}}.Write();
    ASSERT_TRUE(ScanAndReport());
    EXPECT_EQ(8U + 2 * 45, peer.Next().data.size());
    Home{}.Write();
    ASSERT_TRUE(ScanAndReport());
    const bench::LinkEvent report = peer.Next();
    ASSERT_EQ(8U + 45, report.data.size());
    EXPECT_EQ(30, report.data[8 + 3]);
}

TEST_F(Scanner, ATriggerIsServedOnceTheSdkIsBack) {
    ASSERT_EQ(0, mkfifo(kSdkCallsPath, 0600));  // so that a call of the SDK can be waited for
    const int calls = open(kSdkCallsPath, O_RDWR);
    PlatformPeer peer;
    Home{.devices = {kDesktop}, .faults = R"("get_devs_cfg": 5)"}.Write();
    CaptureLog();
    ASSERT_EQ(0, StartSubdev());
    TriggerScan();
    char line[64] = {};
    ASSERT_LT(0, read(calls, line, sizeof line));
    EXPECT_STREQ("get_devs_cfg() = 5\n", line);
    Home{.devices = {kDesktop}}.Write();
    EXPECT_EQ(8U + 45, peer.Next().data.size());
    EXPECT_TRUE(Contains(CapturedLog(), "get_devs_cfg Failed."));
}

TEST_F(Scanner, StopsWhileIdleAndStartsAgain) {
    ASSERT_EQ(0, StartSubdev());
    StopSubdev();
    PlatformPeer peer;
    Home{.devices = {kDesktop}}.Write();
    ASSERT_EQ(0, StartSubdev());
    TriggerScan();
    EXPECT_EQ(8U + 45, peer.Next().data.size());
}

}  // namespace
}  // namespace plug::test
