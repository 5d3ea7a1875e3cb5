#include "core/shell.h"

#include <cstdlib>

namespace plug {

int RunShell(const char* command) {
    return system(command);
}

FILE* OpenShell(const char* command) {
    return popen(command, "re");
}

int CloseShell(FILE* output) {
    return pclose(output);
}

}  // namespace plug
