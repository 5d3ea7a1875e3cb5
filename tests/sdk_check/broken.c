// A library in which functions do what none may do. What it lacks is the simulated router's.
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "router_sdk.h"

static void* volatile nowhere;

int get_router_sn(char sn[64]) {
    char* volatile front = sn;
    front[-1] = 'x';
    return 0;
}

int get_cpu_cfg(cpu_cfg* cpu) {
    memset(nowhere, 1, sizeof *cpu);
    return 0;
}

int get_mem_cfg(mem_cfg* memory) {
    (void)memory;
    abort();
}

int get_mem_use(uint16_t* percent) {
    (void)percent;
    for (;;) pause();
}

int get_name(char name[32]) {
    (void)name;
    exit(0);
}

// An int where the agent has a byte.
int get_led_switch(uint8_t* on) {
    const int value = 1;
    memcpy(on, &value, sizeof value);
    return 0;
}

int get_dns(uint32_t* first, uint32_t* second) {
    *first = 0xC0000235;
    memset(second, 0, 8);
    return 0;
}

// A table that is read at whatever index comes.
int get_wan_receive_bytes(uint16_t index, uint64_t* bytes) {
    *bytes = index <= 4 ? index : *(uint64_t*)nowhere;
    return 0;
}

char stored_user[16];

int set_ftp_user(const char* text) {
    memcpy(stored_user, text, sizeof stored_user);
    return 0;
}
