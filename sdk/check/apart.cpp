#include "apart.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace sdk_check {
namespace {

constexpr std::size_t kRoom = 8192;    // more than the largest list takes
constexpr std::size_t kGuard = 65536;  // on both sides
constexpr std::size_t kFunctions = 128;

/// What a child tells the checker.
struct Notes {
    End end;  // kReturned once it has done all
    bool done;
    int result;
    bool faulted;
    std::uintptr_t fault;
    char text[512];
    bool missing[kFunctions];
    std::uint8_t first[kRoom];
};

/// Memory shared with the children to come; the process has no use for itself without it.
std::uint8_t* Share(std::size_t size, int protection) {
    void* const memory = mmap(nullptr, size, protection, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        perror("plug-sdk-check: no memory");
        exit(3);
    }
    return static_cast<std::uint8_t*>(memory);
}

/// Bytes between two guards; a buffer is the last of them, so that it ends where the guard begins.
class Room {
  public:
    Room() : begin_(Share(kGuard + kRoom + kGuard, PROT_NONE) + kGuard) {
        if (mprotect(begin_, kRoom, PROT_READ | PROT_WRITE) != 0) {
            perror("plug-sdk-check: no guard");
            exit(3);
        }
    }
    std::uint8_t* Buffer(std::size_t size) const { return begin_ + kRoom - size; }
    void Fill() const { memset(begin_, kFill, kRoom); }
    void Clear(std::size_t size) const { memset(Buffer(size), 0, size); }
    std::vector<std::uint8_t> Content(std::size_t size) const { return {Buffer(size), begin_ + kRoom}; }
    bool FrontTouched(std::size_t size) const {
        return std::any_of(begin_, Buffer(size), [](std::uint8_t byte) { return byte != kFill; });
    }
    /// How far behind the room's end the address lies, when it lies in the guard there.
    bool Guards(std::uintptr_t address, std::size_t& past) const {
        const auto end = reinterpret_cast<std::uintptr_t>(begin_ + kRoom);
        past = address - end;
        return address >= end && past < kGuard;
    }

  private:
    std::uint8_t* const begin_;
};

struct Shared {
    Notes* const notes = reinterpret_cast<Notes*>(Share(sizeof(Notes), PROT_READ | PROT_WRITE));
    const Room out, second, in;
};
Shared& Memory() {
    static Shared shared;
    return shared;
}

/// Notes the address; the instruction is then repeated and ends the process.
void NoteFault(int, siginfo_t* info, void*) {
    Memory().notes->faulted = true;
    Memory().notes->fault = reinterpret_cast<std::uintptr_t>(info->si_addr);
}

void PrepareChild() {
    static std::uint8_t stack[65536];  // a stack that overflows has no room for the handler
    const stack_t other = {.ss_sp = stack, .ss_flags = 0, .ss_size = sizeof stack};
    sigaltstack(&other, nullptr);
    struct sigaction action = {};
    action.sa_sigaction = NoteFault;
    action.sa_flags = static_cast<int>(SA_SIGINFO | SA_RESETHAND | SA_ONSTACK);
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

/// Waits for the child's end, or ends it. Looks every millisecond: whatever else could tell of it is
/// something that a library may close, block or keep open.
void Await(pid_t child, int seconds, Outcome& outcome) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    constexpr timespec kMillisecond = {0, 1'000'000};
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            outcome.end = End::kHung;
            return;
        }
        nanosleep(&kMillisecond, nullptr);
    }
    if (Memory().notes->done) {
        outcome.end = Memory().notes->end;
    } else {
        outcome.end = WIFSIGNALED(status) ? End::kSignal : End::kExited;
        outcome.code = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
    }
}

/// Runs the body in a child, which leaves how it went in the notes.
Outcome Apart(int seconds, const std::function<End()>& body) {
    Notes& notes = *Memory().notes;
    notes = {};
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        perror("plug-sdk-check: no process");
        exit(3);
    }
    if (child == 0) {
        PrepareChild();
        notes.end = body();
        notes.done = true;
        _exit(0);
    }
    Outcome outcome;
    Await(child, seconds, outcome);
    outcome.said = notes.text;
    outcome.result = notes.result;
    return outcome;
}

void* Load(const char* path) {
    void* const library = dlopen(path, RTLD_NOW);
    if (library == nullptr) snprintf(Memory().notes->text, sizeof Notes::text, "%s", dlerror());
    return library;
}

}  // namespace

Library::Library(const char* path, int seconds) : path_(path), seconds_(seconds) {}

Outcome Library::Survey(std::vector<const char*>& missing, std::string& file) const {
    const std::span<const Function> functions = Functions();
    Notes& notes = *Memory().notes;
    Outcome outcome = Apart(seconds_, [&] {
        void* const library = Load(path_);
        if (library == nullptr) return End::kUnloadable;
        for (std::size_t i = 0; i < functions.size(); ++i)
            notes.missing[i] = dlsym(library, functions[i].name) == nullptr;
        link_map* map = nullptr;
        if (dlinfo(library, RTLD_DI_LINKMAP, &map) == 0)
            snprintf(notes.text, sizeof notes.text, "%s", map->l_name);
        return End::kReturned;
    });
    for (std::size_t i = 0; i < functions.size(); ++i)
        if (notes.missing[i]) missing.push_back(functions[i].name);
    file = outcome.said;
    return outcome;
}

Outcome Library::Run(const Call& call) const {
    const Shared& memory = Memory();
    Notes& notes = *memory.notes;
    memory.out.Fill();
    memory.second.Clear(call.second_size);
    std::ranges::copy(call.in, memory.in.Buffer(call.in.size()));
    Arguments arguments = call.arguments;
    arguments.out = memory.out.Buffer(call.out_size);
    arguments.second = memory.second.Buffer(call.second_size);
    arguments.in = memory.in.Buffer(call.in.size());

    Outcome outcome = Apart(seconds_, [&] {
        void* const library = Load(path_);
        if (library == nullptr) return End::kUnloadable;
        void* const function = dlsym(library, call.function.name);
        if (function == nullptr) return End::kMissing;
        if (call.function.role != Role::kSet) {
            call.function.adapter(function, arguments);
            memcpy(notes.first, arguments.out, call.out_size);
        }
        memory.out.Clear(call.out_size);
        memory.second.Clear(call.second_size);
        notes.result = call.function.adapter(function, arguments);
        return End::kReturned;
    });
    outcome.out = memory.out.Content(call.out_size);
    outcome.second = memory.second.Content(call.second_size);
    outcome.first.assign(notes.first, notes.first + call.out_size);
    outcome.before = memory.out.FrontTouched(call.out_size);
    if (outcome.end == End::kSignal && notes.faulted) {
        char at[32];
        snprintf(at, sizeof at, " at 0x%zx", static_cast<std::size_t>(notes.fault));
        outcome.said = at;
        if (memory.out.Guards(notes.fault, outcome.past))
            outcome.beyond = "output";
        else if (memory.second.Guards(notes.fault, outcome.past))
            outcome.beyond = "second output";
        else if (memory.in.Guards(notes.fault, outcome.past))
            outcome.beyond = "input";
    }
    return outcome;
}

}  // namespace sdk_check
