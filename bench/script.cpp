#include "bench/script.h"

namespace plug::bench {
namespace {

void Complain(Interpreter& interpreter, const std::string& path, int line, const std::string& what) {
    interpreter.output().Show({{"failed", what}, {"file", path}, {"line", line}},
                              path + ":" + std::to_string(line) + ": " + what);
}

}  // namespace

bool RunScript(Interpreter& interpreter, const std::string& path, std::istream& lines) {
    int line_number = 0;
    int wrong = 0;
    bool ended_early = false;
    std::string line;
    while (!interpreter.done() && !ended_early && std::getline(lines, line)) {
        ++line_number;
        try {
            interpreter.Execute(line);
        } catch (const ExpectationFailed& failure) {
            ++wrong;
            Complain(interpreter, path, line_number, failure.what());
        } catch (const CommandError& failure) {
            ended_early = true;
            Complain(interpreter, path, line_number, failure.what());
        }
    }
    const int all = interpreter.expectations();
    const Json summary = {{"expectations", all}, {"held", all - wrong}, {"ended_early", ended_early}};
    const std::string end = ended_early ? "; the script ended early" : "";
    interpreter.output().Show(
        summary, std::to_string(all - wrong) + " of " + std::to_string(all) + " expectations held" + end);
    return wrong == 0 && !ended_early;
}

}  // namespace plug::bench
