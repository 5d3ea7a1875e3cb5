#include "call.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>

#include "records.h"
#include "state_file.h"

namespace simulator {
namespace {

enum class Call { kGet, kSet, kValue };

// The number that a section of the file has for a function; `otherwise` when it has none.
int NumberFor(const cJSON* home, const char* section, const char* function, int otherwise) {
    const cJSON* item = Member(Member(home, section), function);
    return cJSON_IsNumber(item) ? item->valueint : otherwise;
}

void Delay(const char* function) {
    int milliseconds = 0;
    {
        const StateLock lock(false);
        milliseconds = NumberFor(LoadState(), "delays", function, 0);
    }
    if (milliseconds <= 0) return;
    timespec left = {milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

int Result(Call call, const char* function, Body body, cJSON* home) {
    if (home == nullptr) return call == Call::kValue ? 0 : kBadState;
    if (const int fault = NumberFor(home, "faults", function, 0); fault != 0) return fault;
    int result = body(home);
    if (call != Call::kSet) return result;
    if (result == kOk) result = SaveState();
    if (result != kOk) DropState();
    return result;
}

void Log(const std::string& path, const char* function, Arguments arguments, int result) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) return;
    std::string line = function;
    const char* separator = "(";
    for (const Argument& argument : arguments) {
        line += separator;
        argument.append(line, argument.value);
        separator = ", ";
    }
    line += arguments.size() == 0 ? "() = " : ") = ";
    line += std::to_string(result) + "\n";
    [[maybe_unused]] const ssize_t written = write(fd, line.data(), line.size());
    close(fd);
}

int Run(Call call, const char* function, Arguments arguments, Body body) {
    Delay(function);
    const StateLock lock(call == Call::kSet);
    if (!lock.held()) Complain("cannot be locked: %s", strerror(errno));
    cJSON* home = LoadState();
    const char* log = cJSON_GetStringValue(Member(home, "call_log"));
    const std::string log_path = log != nullptr ? log : "";
    const int result = lock.held() ? Result(call, function, body, home) : kNotSaved;
    if (!log_path.empty()) Log(log_path, function, arguments, result);
    return result;
}

template <class Record>
void AppendRecord(std::string& line, const Record& record) {
    cJSON* object = cJSON_CreateObject();
    StoreFields(object, kFields<Record>, &record);
    if (char* text = cJSON_PrintUnformatted(object); text != nullptr) {
        line += text;
        cJSON_free(text);
    }
    cJSON_Delete(object);
}

}  // namespace

void Append(std::string& line, Mac mac) {
    line += plug::TextOf(MacOf(mac.bytes)).data();
}

void Append(std::string& line, Address address) {
    line += AddressText(address.value);
}

void Append(std::string& line, const char* text) {
    cJSON* quoted = cJSON_CreateStringReference(text);
    if (char* printed = cJSON_PrintUnformatted(quoted); printed != nullptr) {
        line += printed;
        cJSON_free(printed);
    }
    cJSON_Delete(quoted);
}

void Append(std::string& line, const ssid_cfg& record) {
    AppendRecord(line, record);
}

void Append(std::string& line, const dev_cfg& record) {
    AppendRecord(line, record);
}

int Get(const char* function, Arguments arguments, Body body) {
    return Run(Call::kGet, function, arguments, body);
}

int Set(const char* function, Arguments arguments, Body body) {
    return Run(Call::kSet, function, arguments, body);
}

std::uint16_t Value(const char* function, Arguments arguments, Body body) {
    return static_cast<std::uint16_t>(Run(Call::kValue, function, arguments, body));
}

int ReportedCount(const cJSON* home, const char* function, int count) {
    return NumberFor(home, "counts", function, count);
}

}  // namespace simulator
