#include "dissector/tshark.h"

#include <arpa/inet.h>

#include "bench/text.h"

namespace plug::dissector {
namespace {

sockaddr_in NameOf(const char* address, std::uint16_t port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    inet_pton(AF_INET, address, &name.sin_addr);
    return name;
}

}  // namespace

DissectorTest::DissectorTest() {
    capture_.emplace(file_);
    platform_ = {Socket::kPlatform, 1, NameOf("192.0.2.1", 40312), NameOf("198.51.100.9", 6040)};
}

void DissectorTest::TearDown() {
    EXPECT_EQ("", Run(Tshark({"-Y", "_ws.lua.error", "-V"})));
}

Row DissectorTest::Tshark(const Row& options) const {
    const std::string before = folder_.path() + "/before.lua";
    WriteFile(before, before_);
    Row words = {"tshark", "-X", "lua_script:" + before, "-X", "lua_script:" PLUG_DISSECTOR, "-r",
                 file_,    "-n"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

std::string DissectorTest::Run(const Row& words) const {
    // Neither a user's settings nor plug-ins of theirs.
    const std::string errors = folder_.path() + "/errors";
    ProcessSpec shell{{"sh", "-c", "exec \"$@\" 2>" + errors, "sh"}};
    shell.argv.insert(shell.argv.end(), words.begin(), words.end());
    shell.environment = {"HOME=" + folder_.path(), "WIRESHARK_CONFIG_DIR=" + folder_.path()};
    Process process(shell);
    const auto status = process.WaitExit(std::chrono::seconds(60));
    process.WaitForEnd(std::chrono::seconds(5));
    EXPECT_TRUE(status) << words[0] << " does not end";
    const std::string complaints = ReadFile(errors);
    for (const char* const complaint : {"Lua", "field", "syntax"})
        EXPECT_EQ(std::string::npos, complaints.find(complaint)) << complaints;
    return process.Output();
}

Rows DissectorTest::Fields(const std::string& filter, const Row& fields, const Row& options) const {
    Row words = {"-Y", filter, "-T", "fields", "-E", "separator=|"};
    for (const std::string& field : fields) words.insert(words.end(), {"-e", field});
    words.insert(words.end(), options.begin(), options.end());
    Rows rows;
    for (const std::string& line : Split(Run(Tshark(words)), '\n')) {
        rows.push_back(Split(line, '|'));
        rows.back().resize(fields.size());
    }
    return rows;
}

std::vector<std::string> DissectorTest::Infos(const Row& options) const {
    std::vector<std::string> infos;
    for (const Row& row : Fields("tcp.len > 0", {"_ws.col.Info"}, options)) infos.push_back(row[0]);
    return infos;
}

void DissectorTest::ExpectSoundTcp() const {
    const Row checked = {"-o", "tcp.check_checksum:TRUE", "-o", "ip.check_checksum:TRUE"};
    EXPECT_EQ(Rows(), Fields("tcp.analysis.flags || tcp.checksum.status != 1 || ip.checksum.status != 1",
                             {"frame.number"}, checked));
}

Json DissectorTest::Packets() const {
    return Json::parse(Run(Tshark({"-T", "json", "--no-duplicate-keys"})));
}

}  // namespace plug::dissector
