// Who is there: the ARP table, and the report of a scan.
#include "subdev/scanner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "subdev/arp_table.h"
#include "support/command.h"
#include "support/home.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

TEST(ArpTable, OtherLinesAreNoEntries) {
    const std::string head = "192.168.1.50 0x1 0x2 ";
    EXPECT_TRUE(ParseArpLine(head + "00:00:5e:00:53:ab"));
    for (const std::string& line : {
             std::string(), head, std::string("192.168.1.50 0x1 00:00:5e:00:53:ab"),  // a token too few
             head + "00:00:5e:00:53:a", head + "00:00:5e:00:53:abc", head + "00-00-5e-00-53-ab",
             head + "00:00:5g:00:53:ab", head + "0:000:5e:00:53:ab",
             std::string("192.168.1.256 0x1 0x2 00:00:5e:00:53:ab"),
             std::string("192.168.100.1000000 0x1 0x2 00:00:5e:00:53:ab"),  // longer than any address
         }) {
        EXPECT_FALSE(ParseArpLine(line)) << line;
    }
}

TEST(ArpTable, APrefixIsThreeNumbersWithTheirDots) {
    EXPECT_EQ("10.0.0.", NetworkPrefix("10.0.0.1"));
    EXPECT_EQ("192.168.100.", NetworkPrefix("192.168.100.200"));
    EXPECT_EQ("", NetworkPrefix("192.168.1000.1")) << "longer than any";
    EXPECT_EQ("", NetworkPrefix("192.168.1"));
}

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
    PlatformPeer peer;
    const std::string listed =
        "C0A80114 00005E0053B1 6465736B746F7000 0000000000000000 0403020100000000 0D0C0B0A00000000 010101"
        "C0A80115 00005E0053B2 7369787465656E20 6C65747465727300 0100000000000000 0200000000000000 010100";
    const std::string unlisted =
        "C0A8011E 00005E0053C0 756E6B6E6F776E2D 6465766963650000 0000000000000000 0000000000000000 000101"
        "C0A80119 00005E0053B6 7461626C6574206F 66207468652079 6F 0000000000000000 0000000000000000 000101";
    int sequence = 0;
    ExpectOthersMakeWay("/tmp/tmpSubdev", [&] {
        ASSERT_TRUE(ScanAndReport());
        peer.ExpectNext(MsgType::kAddressedReport, 63,
                        Unhex("0" + std::to_string(sequence++) + "003F0000000400" + listed + unlisted));
    });
    // Counted on; without the file the devices of the SDK still go up.
    Program("grep", "rm -f /tmp/tmpSubdev");
    EXPECT_TRUE(Contains(LogOf([] { ASSERT_TRUE(ScanAndReport()); }), "Unable to open file /tmp/tmpSubdev."));
    peer.ExpectNext(MsgType::kAddressedReport, 63,
                    Unhex("0" + std::to_string(sequence) + "003F0000000200" + listed));
}

TEST_F(Scanner, TheBlackListCountsInDebugModeOnly) {
    SetLogMask(kAllLevels);
    const Home home{.devices = {kDesktop, kRestricted},
                    .black_list = R"("00:00:5E:00:53:FF", "00:00:5E:00:53:C0", "00:00:5E:00:53:B1")"};
    home.Write();
    WriteFile("/tmp/arp", Arp("192.168.1.30", "00:00:5e:00:53:c0"));
    PlatformPeer peer;
    LogOf([] { ASSERT_TRUE(ScanAndReport()); });
    const bench::LinkEvent report = peer.Next();
    ASSERT_EQ(8U + 3 * 45, report.data.size());
    EXPECT_EQ(0, report.data[8 + 43]);
    EXPECT_EQ(1, report.data[8 + 45 + 43]);
    EXPECT_EQ(0, report.data[8 + 2 * 45 + 43]) << "seen in the ARP table only";

    // A list that cannot be had, or that claims more than there is room for, forbids nobody.
    Home failing = home, overlong = home;
    failing.faults = R"("get_dev_black_list": 5)";
    overlong.counts = R"("get_dev_black_list": 101)";
    for (const Home& broken : {failing, overlong}) {
        broken.Write();
        EXPECT_TRUE(Contains(LogOf([] { ASSERT_TRUE(ScanAndReport()); }), "get_dev_black_list Error.\n"));
        EXPECT_EQ(1, peer.Next().data[8 + 43]);
    }
}

TEST_F(Scanner, WithoutDevicesTheLastPrefixServes) {
    WriteFile("/tmp/arp", Arp("192.168.1.30", "00:00:5e:00:54:01"));
    PlatformPeer peer;
    const auto report_of = [&peer](std::vector<HomeDevice> devices) {
        Home{.devices = std::move(devices)}.Write();
        EXPECT_TRUE(ScanAndReport());
        return ToHex(ConstBytes(peer.Next().data).first(8));
    };
    EXPECT_EQ("00003f0000000000", report_of({})) << "none is known yet";
    EXPECT_EQ("01003f0000000200", report_of({kDesktop}));
    EXPECT_EQ("02003f0000000100", report_of({}));
}

TEST_F(Scanner, AtMost128Devices) {
    WriteFile("/tmp/arp",
              Arp("192.168.1.30", "00:00:5e:00:54:01") + Arp("192.168.1.31", "00:00:5e:00:54:02"));
    PlatformPeer peer;
    for (const int count : {127, 128}) {
        Home{.devices = Devices(count)}.Write();
        ASSERT_TRUE(ScanAndReport());
        const bench::LinkEvent report = peer.Next();
        ASSERT_EQ(8U + 128 * 45, report.data.size());
        EXPECT_EQ(128, report.data[6]);
        EXPECT_EQ(count == 127 ? 30 : 20, report.data[8 + 127 * 45 + 3]) << "room for one of the ARP table";
    }
    Home{.devices = Devices(129)}.Write();
    EXPECT_TRUE(Contains(LogOf([] { EXPECT_FALSE(ScanAndReport()); }), "DeviceNum too large."));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(Scanner, ATriggerIsServedOnceTheSdkIsBack) {
    ASSERT_EQ(0, mkfifo(kSdkCallsPath, 0600));  // so that a call of the SDK can be waited for
    const int calls = open(kSdkCallsPath, O_RDWR);
    PlatformPeer peer;
    Home{.devices = {kDesktop}, .faults = R"("get_devs_cfg": 5)"}.Write();
    CaptureLog();
    ASSERT_EQ(0, StartSubdev());
    EXPECT_EQ((ByteVector{0, 0}), RunCommand(64));
    char line[64] = {};
    ASSERT_LT(0, read(calls, line, sizeof line));
    EXPECT_STREQ("get_devs_cfg() = 5\n", line);
    Home{.devices = {kDesktop}}.Write();
    EXPECT_EQ(8U + 45, peer.Next().data.size());
    EXPECT_TRUE(Contains(CapturedLog(), "get_devs_cfg Failed."));
}

}  // namespace
}  // namespace plug::test
