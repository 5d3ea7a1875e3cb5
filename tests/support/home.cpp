#include "support/home.h"

#include <filesystem>
#include <sstream>

#include "sdk/simulator/shared_file.h"

namespace plug::test {

void Home::Write() const {
    const auto word = [](bool value) { return value ? "true" : "false"; };
    std::ostringstream json;
    json << R"({"devices": [)";
    const char* separator = "";
    for (const HomeDevice& device : devices) {
        json << separator << R"({"mac": ")" << MacText(device.mac) << R"(", "name": ")" << device.name
             << R"(", "address": ")" << device.address << R"(", "online": )" << word(device.online)
             << R"(, "access": )" << word(device.access) << R"(, "by_name": false, "up_bandwidth": )"
             << device.up << R"(, "down_bandwidth": )" << device.down << "}";
        separator = ",";
    }
    json << R"(], "black_list": [)" << black_list << R"(], "faults": {)" << faults << R"(}, "counts": {)"
         << counts << R"(}, "delays": {)" << delays << R"(}, "call_log": ")" << kSdkCallsPath << R"("})";
    EXPECT_TRUE(simulator::PublishFile(kHomePath, json.str(), simulator::Publish::kReplace));
}

Lines TakeSdkCalls(std::string_view part) {
    Lines calls = ReadLines(kSdkCallsPath);
    std::filesystem::remove(kSdkCallsPath);
    std::erase_if(calls, [part](const std::string& call) { return !Contains(call, part); });
    return calls;
}

}  // namespace plug::test
