#include "support/home.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

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
         << counts << R"(}, "call_log": ")" << kSdkCallsPath << R"("})";
    const std::string draft = std::string(kHomePath) + ".new";
    WriteFile(draft, json.str());
    std::filesystem::rename(draft, kHomePath);
}

Lines TakeSdkCalls(std::initializer_list<std::string_view> functions) {
    Lines calls = ReadLines(kSdkCallsPath);
    std::filesystem::remove(kSdkCallsPath);
    if (functions.size() == 0) return calls;
    std::erase_if(calls, [&](const std::string& call) {
        return std::none_of(functions.begin(), functions.end(),
                            [&](std::string_view function) { return call.starts_with(function); });
    });
    return calls;
}

}  // namespace plug::test
