#include "subdev/arp_table.h"

#include <gtest/gtest.h>

namespace plug::test {
namespace {

TEST(ArpTable, LinesOfTheKernel) {
    const auto entry =
        ParseArpLine("192.168.1.50     0x1         0x2         00:00:5e:00:53:Ab     *        br-lan\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(0xC0A80132U, entry->address);
    EXPECT_EQ((MacAddress{0, 0, 0x5E, 0, 0x53, 0xAB}), entry->mac);
    EXPECT_TRUE(ParseArpLine("255.255.255.255 a b FF:ff:FF:ff:FF:ff"));
}

TEST(ArpTable, OtherLinesAreNoEntries) {
    for (const char* line : {
             "", "\n", "   ", "192.168.1.50 0x1 0x2",
             "192.168.1.50 0x1 00:00:5e:00:53:ab",         // a token too few
             "192.168.1.50 0x1 0x2 00:00:5e:00:53:a",      // 16 characters
             "192.168.1.50 0x1 0x2 00:00:5e:00:53:abc",    // 18
             "192.168.1.50 0x1 0x2 00:00:5e:00:53:00:53",  // 20
             "192.168.1.50 0x1 0x2 00-00-5e-00-53-ab",     // 17, no colons
             "192.168.1.50 0x1 0x2 00:00:5g:00:53:ab",     // 17, no digit
             "192.168.1.50 0x1 0x2 0:000:5e:00:53:ab",     // 17, no pairs
             "IP address HW 00:00:5e:00:53:ab",            // the table's own header
             "192.168.1 0x1 0x2 00:00:5e:00:53:ab", "192.168.1.256 0x1 0x2 00:00:5e:00:53:ab",
             "192.168.100.1000000 0x1 0x2 00:00:5e:00:53:ab",  // longer than any address
         }) {
        EXPECT_FALSE(ParseArpLine(line)) << line;
    }
}

TEST(ArpTable, ThePrefixEndsWithTheThirdDot) {
    EXPECT_EQ("192.168.1.", NetworkPrefix("192.168.1.20"));
    EXPECT_EQ("0.0.0.", NetworkPrefix("0.0.0.0"));
    EXPECT_EQ("255.255.255.", NetworkPrefix("255.255.255.255"));
    EXPECT_EQ("", NetworkPrefix("192.168.1"));
    EXPECT_EQ("", NetworkPrefix("1920.168.100.1")) << "the third dot is the thirteenth character";
    EXPECT_EQ("", NetworkPrefix(""));
}

}  // namespace
}  // namespace plug::test
