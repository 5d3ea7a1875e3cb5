#include "core/process.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

namespace plug {

void PrepareProcess() {
    umask(S_IWGRP | S_IWOTH);
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
#ifdef M_ARENA_MAX  // only where threads have arenas
    mallopt(M_ARENA_MAX, 1);
#endif
}

void EndProcess() {
    _exit(255);
}

}  // namespace plug
