// The program's own frames and capture, of an agent and both of its links.
#include "bench/text.h"
#include "dissector/tshark.h"

namespace plug::dissector {
namespace {

/// A line of JSON without what differs from run to run.
std::string Known(Json frame) {
    for (const char* const name : {"time", "link", "size", "fields"}) frame.erase(name);
    return frame.dump();
}

class ProgramTest : public DissectorTest {};

TEST_F(ProgramTest, FramesOfBothLinks) {
    WriteFile(folder_.path() + "/script",
              "start-agent\nwait logged-in 10\npeer start\nwait heartbeat 10\nmesh-switch\n"
              "bad-checksum mesh-switch\njunk 0102 uptime\nglue uptime ; led-switch\n");
    const ProcessSpec bench{{ProgramFolder() + "/plug-bench", "--json", "--sandbox", "--frames", "--capture",
                             "capture.pcapng", "run", "script"},
                            {},
                            folder_.path()};
    Process process(bench);
    ASSERT_EQ(0, process.WaitExit(std::chrono::seconds(60))) << process.Output();
    process.WaitForEnd(std::chrono::seconds(5));

    std::vector<std::string> seen;
    for (const std::string& line : Split(process.Output(), '\n')) {
        const Json shown = Json::parse(line, nullptr, false);
        if (shown.is_object() && shown.contains("frame")) seen.push_back(Known(shown));
    }
    const auto expect = [&seen](const char* frame) {
        EXPECT_NE(seen.end(), std::ranges::find(seen, Json::parse(frame).dump()))
            << frame << " is not among\n"
            << testing::PrintToString(seen);
    };
    expect(R"({"frame": "from agent", "socket": "platform", "message": "register", "pin": "123456789012",
               "serial": "HR2100-22-0004711", "mac": "00:00:5E:00:53:01"})");
    expect(
        R"({"frame": "to agent", "socket": "platform", "message": "login ack", "code": 0, "interval": 60})");
    expect(
        R"({"frame": "from agent", "socket": "platform", "message": "report", "id": 13, "name": "rules-request"})");
    expect(R"({"frame": "to agent", "socket": "platform", "message": "function command",
               "address": "00:00:5E:00:53:01", "head": 1, "id": 73, "name": "mesh-switch"})");
    expect(
        R"({"frame": "from agent", "socket": "local", "message": "request", "id": 73, "name": "mesh-switch",
               "sequence": 1})");
    expect(R"({"frame": "to agent", "socket": "local", "message": "reply", "id": 73, "name": "mesh-switch",
               "sequence": 1, "result": 0})");
    expect(R"({"frame": "from agent", "socket": "platform", "message": "function reply", "code": 0, "id": 73,
               "name": "mesh-switch", "result": 0})");
    expect(R"({"frame": "to agent", "socket": "platform", "message": "function command",
               "note": "wrong checksum", "address": "00:00:5E:00:53:01", "head": 2, "id": 73,
               "name": "mesh-switch"})");
    expect(R"({"frame": "to agent", "socket": "platform", "message": "bytes",
               "note": "bytes that belong to no frame", "bytes": "0102"})");

    expect(R"({"frame": "to agent", "socket": "platform", "message": "function command",
               "address": "00:00:5E:00:53:01", "head": 5, "id": 22, "name": "led-switch"})");

    // Wireshark sees the same, the replies of the agent among it.
    EXPECT_EQ((Rows{{"20", "73", ""}, {"", "", "73"}, {"", "", "73"}, {"26", "73", ""}, {"20", "73", ""}}),
              Fields("plug.function == 73 || pluglocal.function == 73",
                     {"plug.type", "plug.function", "pluglocal.function"}));
    EXPECT_EQ(Rows(), Fields("tcp.analysis.flags", {"frame.number"}));
}

}  // namespace
}  // namespace plug::dissector
