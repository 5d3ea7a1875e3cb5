// Port forwarding: what the shell is given, and what iptables gets from it.
#include "rules/port_forward.h"

#include <filesystem>

#include "bench/layout.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

class PortForward : public Sandbox {
  protected:
    PortForward() { Program("iptables"); }

    static std::string Rule(const std::string& flag, const std::string& ip = "10.0.0.1") {
        return R"({"FLAG":")" + flag + R"(","PRE_IP":")" + ip +
               R"(","PRE_PORT":"8080","POST_IP":"192.168.1.20","POST_PORT":"80"})";
    }

    /// What iptables is given for both halves of the rule above.
    static Lines Calls(const std::string& operation, const std::string& ip = "10.0.0.1") {
        const std::string table = "iptables [-t] [nat] [" + operation + "] ";
        return {
            table + "[PREROUTING] [-d] [" + ip +
                "] [-p] [tcp] [-m] [tcp] [--dport] [8080] [-j] [DNAT] [--to-destination] [192.168.1.20:80]",
            table +
                "[POSTROUTING] [-d] [192.168.1.20] [-p] [tcp] [-m] [tcp] [--dport] [80] [-j] [SNAT] "
                "[--to-source] [" +
                ip + ":8080]"};
    }
};

TEST_F(PortForward, TheFirstCharacterOfTheFlagDecides) {
    const std::string log = FullLogOf([] { EXPECT_EQ(0, ParseRouteParam(Rule("10").c_str())); });
    Lines expected = Calls("-D");  // adding deletes first
    for (const std::string& call : Calls("-A")) expected.push_back(call);
    EXPECT_EQ(expected, ProgramCalls());
    EXPECT_TRUE(
        Contains(log,
                 " route_cmd1: \niptables -t nat -A PREROUTING -d 10.0.0.1 -p tcp -m tcp --dport 8080 -j "
                 "DNAT --to-destination 192.168.1.20:80\n"))
        << log;
    ForgetProgramCalls();
    EXPECT_EQ(0, ParseRouteParam(Rule("0").c_str()));
    EXPECT_EQ(Calls("-D"), ProgramCalls());
    EXPECT_EQ(-8, ParseRouteParam(Rule("2").c_str()));
    EXPECT_EQ(-8, ParseRouteParam(Rule("").c_str()));
    EXPECT_EQ(2U, ProgramCalls().size());
}

TEST_F(PortForward, TheFirstMissingKeyIsTheResult) {
    const std::pair<const char*, int> cases[] = {
        {nullptr, -1},
        {"{", -2},
        {"{}", -3},
        {R"({"FLAG":"1"})", -4},
        {R"({"FLAG":"1","PRE_IP":"1"})", -5},
        {R"({"FLAG":"1","PRE_IP":"1","PRE_PORT":"1"})", -6},
        {R"({"FLAG":"1","PRE_IP":"1","PRE_PORT":"1","POST_IP":"1"})", -7},
        // no text where one belongs, and a text of 8 characters for a field of 7
        {R"({"FLAG":1})", -3},
        {R"({"FLAG":"1","PRE_IP":"1","PRE_PORT":80})", -5},
        {R"({"FLAG":"1","PRE_IP":"1","PRE_PORT":"12345678"})", -5},
        {R"({"FLAG":"1","PRE_IP":"12345678901234567890123456789012"})", -4},
    };
    for (const auto& [json, result] : cases) EXPECT_EQ(result, ParseRouteParam(json)) << json;
    EXPECT_EQ(Lines{}, ProgramCalls());
}

/// The calls as they are in the file, where an argument may have more than one line.
std::string Joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

// One character at a time, by itself and around a word, as the shell reads some only there.
TEST_F(PortForward, AHostileValueIsOneArgument) {
    std::filesystem::create_directory("/tmp/files");
    std::filesystem::current_path("/tmp/files");
    WriteFile("a", "");  // for a pattern to find
    std::vector<std::string> values = {"", "$(>/tmp/pwned)", "`>/tmp/pwned`", "1;touch /tmp/pwned",
                                       "it's '1'"};
    for (char c = 1; c != 127; ++c) {
        values.emplace_back(1, c);
        values.push_back(c + std::string("HOME") + c + "a");
    }
    for (const std::string& value : values) {
        SCOPED_TRACE(HexOf(value));
        ForgetProgramCalls();
        const std::string escaped = bench::Json(value).dump();
        EXPECT_EQ(0, ParseRouteParam(Rule("0", escaped.substr(1, escaped.size() - 2)).c_str()));
        EXPECT_EQ(Joined(Calls("-D", value)), Joined(ProgramCalls()));
    }
    EXPECT_NE(0, access("/tmp/pwned", F_OK));
}

TEST_F(PortForward, ACommandThatDoesNotFitIsNotRun) {
    const auto rule = [](std::size_t inside) {
        return R"({"FLAG":"0","PRE_IP":")" + std::string(31, '\'') + R"(","PRE_PORT":"80","POST_IP":")" +
               std::string(inside, '\'') + R"(","POST_PORT":"80"})";
    };
    EXPECT_EQ(0, ParseRouteParam(rule(31).c_str()));
    EXPECT_EQ(Lines{}, ProgramCalls());
    EXPECT_EQ(0, ParseRouteParam(rule(1).c_str()));
    EXPECT_EQ(2U, ProgramCalls().size());
}

}  // namespace
}  // namespace plug::test
