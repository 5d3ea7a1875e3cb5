// plug-sdk-check: does a router's library do what the agent expects of it? For those who write one.
#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "checker.h"

namespace {

constexpr int kUnusable = 3;

constexpr char kUsage[] =
    "usage: plug-sdk-check [--set] [--seconds N] [LIBRARY]\n"
    "\n"
    "Calls every getter of the router's library as the agent would, shows what it yields, and says what is "
    "missing,\n"
    "broken or looks wrong. LIBRARY is a path, or a name that the loader looks up: libRouterSdk.so unless "
    "given.\n"
    "\n"
    "  --set        also sets what was read, value by value, and reads it again; services may restart\n"
    "  --seconds N  how long a call may take, 5 unless given\n"
    "  --help       prints this\n"
    "\n"
    "Exit status: 0 all is well; 1 something looks wrong; 2 a function is missing, crashes, hangs or writes "
    "where it\n"
    "must not; 3 the library cannot be loaded, or the arguments are wrong.\n";

struct Choices {
    bool set = false;
    int seconds = 5;
    const char* library = "libRouterSdk.so";
};

[[noreturn]] void Usage(FILE* where, int status) {
    fputs(kUsage, where);
    exit(status);
}

Choices Parse(int argc, char** argv) {
    constexpr option kOptions[] = {{"set", no_argument, nullptr, 's'},
                                   {"seconds", required_argument, nullptr, 't'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {}};
    Choices choices;
    for (int found = 0; (found = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) {
        if (found == 'h') Usage(stdout, 0);
        if (found == '?') Usage(stderr, kUnusable);
        if (found == 's') choices.set = true;
        if (found == 't') choices.seconds = atoi(optarg);
    }
    if (optind < argc) choices.library = argv[optind++];
    if (optind < argc || choices.seconds < 1 || choices.seconds > 3600) Usage(stderr, kUnusable);
    return choices;
}

}  // namespace

int main(int argc, char** argv) {
    const Choices choices = Parse(argc, argv);
    const sdk_check::Library library(choices.library, choices.seconds);
    sdk_check::Checker checker(library);
    if (!checker.Survey()) return kUnusable;
    checker.ReadAll();
    if (choices.set) checker.SetAll();
    return checker.Conclude();
}
