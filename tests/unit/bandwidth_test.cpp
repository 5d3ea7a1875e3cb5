#include "rules/bandwidth.h"

#include "platform/link_state.h"
#include "support/command.h"
#include "support/home.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

class Bandwidth : public Sandbox {
  protected:
    Bandwidth() { Home{.devices = {{HomeMac(0xB1)}}}.Write(); }
};

TEST_F(Bandwidth, LimitsAreSetInTheirOrder) {
    EXPECT_EQ(0, ParseTcParam(R"({"list": [
        {"flag": "1", "Mac": "00:00:5e:00:53:B1", "UP": "512", "DOWN": "2048 kbit"},
        {"FLAG": "0", "MAC": "00:00:5E:00:53:B1", "UP": "1", "DOWN": "1"},
        {"FLAG": "1", "MAC": "aa:bb", "UP": "abc", "DOWN": ""},
        {"FLAG": "1", "MAC": "?", "UP": "-1", "DOWN": "99999999999"}]})"));
    EXPECT_EQ(
        (Lines{
            "set_dev_us_max_bw(00:00:5E:00:53:B1, 512) = 0", "set_dev_ds_max_bw(00:00:5E:00:53:B1, 2048) = 0",
            "set_dev_us_max_bw(00:00:5E:00:53:B1, 0) = 0", "set_dev_ds_max_bw(00:00:5E:00:53:B1, 0) = 0",
            "set_dev_us_max_bw(AA:BB:00:00:00:00, 0) = 103", "set_dev_ds_max_bw(AA:BB:00:00:00:00, 0) = 103",
            "set_dev_us_max_bw(00:00:00:00:00:00, 18446744073709551615) = 103",
            "set_dev_ds_max_bw(00:00:00:00:00:00, 2147483647) = 103"}),
        TakeSdkCalls());
}

constexpr char kGood[] = R"({"FLAG": "1", "MAC": "00:00:5E:00:53:B1", "UP": "1", "DOWN": "2"})";

/// A list with an element between two good ones.
std::string ListWith(const std::string& element) {
    return R"({"LIST": [)" + (kGood + ("," + element + ",")) + kGood + "]}";
}

TEST_F(Bandwidth, EveryCode) {
    const std::pair<int, std::string> cases[] = {
        {3, R"({"MAC": "", "UP": "1", "DOWN": "2"})"},
        {3, "5"},
        {4, R"({"FLAG": "1", "UP": "1", "DOWN": "2"})"},
        {5, R"({"FLAG": 1, "MAC": 2, "DOWN": 3})"},
        {6, R"({"FLAG": "1", "MAC": "00:00:5E:00:53:B1", "UP": "1"})"}};
    for (const auto& [code, element] : cases) {
        EXPECT_EQ(code, ParseTcParam(ListWith(element).c_str())) << element;
        EXPECT_EQ(2U, TakeSdkCalls().size()) << "the first is applied, the third is not looked at";
    }
    EXPECT_EQ(1, ParseTcParam(nullptr));
    EXPECT_TRUE(Contains(LogOf([] { EXPECT_EQ(2, ParseTcParam("{")); }), "Parse json failed."));
    for (const char* text : {"{}", R"({"LIST": []})", R"({"LIST": "text"})", "[]", "12"})
        EXPECT_EQ(0, ParseTcParam(text)) << text;
    EXPECT_TRUE(TakeSdkCalls().empty());
}

TEST_F(Bandwidth, AnUnusableElementHoldsTheCommandUntilTheLinkGoes) {
    for (const std::string element : {R"({"FLAG": "2", "MAC": "00:00:5E:00:53:B1", "UP": "1", "DOWN": "2"})",
                                      R"({"FLAG": "11", "MAC": "00:00:5E:00:53:B1", "UP": "1", "DOWN": "2"})",
                                      R"({"FLAG": "1", "MAC": "", "UP": "1", "DOWN": "2"})",
                                      R"({"FLAG": "1", "MAC": "00:00:5E:00:53:B1", "UP": 1, "DOWN": "2"})"}) {
        SCOPED_TRACE(element);
        EXPECT_EQ(0, CodeOfHeld([&] { return ParseTcParam(ListWith(element).c_str()); }));
        EXPECT_EQ(2U, TakeSdkCalls().size()) << "what stands behind it is not applied";
        ClearLinkError();
        SetLoggedIn(false);
        EXPECT_EQ((ByteVector{0, 0}), RunCommand(66, AsBytes(ListWith(element)))) << "nothing holds it";
        EXPECT_EQ(2U, TakeSdkCalls().size());
    }
}

}  // namespace
}  // namespace plug::test
