// Loaded into an agent under trial: lets functions that the agent calls fail as ordered, and notes each place
// that calls one. It takes the place of the functions in the agent's own table of imports, so calls within
// the C library and by other libraries stay as they are, and so does what a sanitizer or another preload has
// put there before: that is called for whatever does not fail.
#include <arpa/inet.h>
#include <cjson/cJSON.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <netdb.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <span>
#include <string_view>
#include <type_traits>

#include "faults/fault_file.h"

namespace plug::faults {
namespace {

/// One function.
struct Row {
    const char* name;
    void* entry;      // what the agent calls instead
    void** next;      // what that calls unless it fails
    const Row** row;  // how that finds this row
    Failures failures{};
    std::size_t depth = kFrames;  // of the agent's frames that tell its places apart
};

/// The agent's binary in memory.
struct Image {
    std::uintptr_t base = 0;
    std::uintptr_t text_begin = 0;
    std::uintptr_t text_end = 0;
};

constinit Image image;
constinit FaultFile* file = nullptr;
constinit std::mutex mutex;  // guards the places

/// The agent's frames from `frame` on, the one of a function that the agent called.
[[gnu::always_inline]] inline Frames Callers(const void* frame) {
    Frames frames{};
    const auto* words = static_cast<const std::uintptr_t*>(frame);
    for (std::uint32_t& caller : frames) {
        const std::uintptr_t address = words[1];
        if (address < image.text_begin || address >= image.text_end) break;
        caller = static_cast<std::uint32_t>(address - image.base);
        const auto* const outer = reinterpret_cast<const std::uintptr_t*>(words[0]);
        if (outer <= words) break;
        words = outer;
    }
    return frames;
}

/// Counts a call; its number, from 1, at its place.
std::uint32_t Count(const Row& row, const Frames& frames) {
    const std::lock_guard guard(mutex);
    const std::uint32_t used = file->places;
    for (std::uint32_t i = 0; i < used; ++i) {
        Place& place = file->place[i];
        if (place.frames == frames && strcmp(place.function.data(), row.name) == 0) return ++place.calls;
    }
    if (used == FaultFile::kMostPlaces) return 0;
    Place& place = file->place[used];
    place = {{}, frames, row.failures, 1};
    strncpy(place.function.data(), row.name, place.function.size() - 1);
    file->places = used + 1;
    return 1;
}

/// How this call is to fail; null when it is not.
const Failure* Ordered(const Row& row, const void* frame) {
    const int error = errno;
    Frames frames = Callers(frame);
    // What operator new allocates for another library is that one's.
    const bool own = frames[0] != 0 && (frames[1] != 0 || row.name != std::string_view("malloc"));
    std::fill(frames.begin() + static_cast<std::ptrdiff_t>(row.depth), frames.end(), 0U);
    const std::uint32_t call = own ? Count(row, frames) : 0;
    errno = error;
    if (call < file->from || call > file->until || frames != file->frames ||
        strcmp(file->function.data(), row.name) != 0)
        return nullptr;
    ++file->failed;
    return &row.failures.at(file->failure);
}

/// The row of one function, and what stands in its place. `function` only tells them apart.
template <auto function>
struct Stand {
    static inline const Row* row = nullptr;
    static inline void* next = nullptr;

    template <class Result, class... Arguments>
    [[gnu::noinline]] static Result Call(Arguments... arguments) {
        const Failure* const failure = Ordered(*row, __builtin_frame_address(0));
        const auto own = reinterpret_cast<Result (*)(Arguments...)>(next);
        if (failure == nullptr) return own(arguments...);
        if ((failure->kind & kDone) != 0) own(arguments...);
        errno = failure->error;
        if constexpr (std::is_pointer_v<Result>)
            return reinterpret_cast<Result>(failure->result);
        else
            return static_cast<Result>(failure->result);
    }
    template <class Result, class... Arguments>
    static void* Entry(Result (*)(Arguments...)) {
        return reinterpret_cast<void*>(&Call<Result, Arguments...>);
    }
};

template <auto function, class Signature = decltype(function)>
Row Of(const char* name, std::initializer_list<Failure> failures, std::size_t depth = kFrames) {
    using Here = Stand<function>;
    Row row{name, Here::Entry(static_cast<Signature>(nullptr)), &Here::next, &Here::row, {}, depth};
    std::copy(failures.begin(), failures.end(), row.failures.begin());
    return row;
}

/// The agent's end, before which what it has lost of its memory is told, where a sanitizer knows that.
template <auto function>
struct End {
    static inline const Row* row = nullptr;
    static inline void* next = nullptr;

    static int Call(int number) {
        if (void* const look = dlsym(RTLD_DEFAULT, "__lsan_do_recoverable_leak_check"))
            reinterpret_cast<int (*)()>(look)();
        return reinterpret_cast<int (*)(int)>(next)(number);
    }
};

template <auto function>
Row EndOf(const char* name) {
    return {
        name, reinterpret_cast<void*>(&End<function>::Call), &End<function>::next, &End<function>::row, {}};
}

const Row kRows[] = {
    // --- sockets ---
    Of<&::socket>("socket", {{-1, EMFILE}}),
    Of<&::connect>("connect", {{-1, ENETUNREACH}}),
    Of<&::bind>("bind", {{-1, EADDRINUSE}}),
    Of<&::listen>("listen", {{-1, EADDRINUSE}}),
    Of<&::accept4>("accept4", {{-1, EMFILE}, {-1, ECONNABORTED, kPasses}}),
    Of<&::shutdown>("shutdown", {{-1, ENOTCONN}}),
    Of<&::setsockopt>("setsockopt", {{-1, ENOBUFS}}),
    Of<&::getsockopt>("getsockopt", {{-1, ENOBUFS}}),
    Of<&::send>("send", {{-1, ECONNRESET}, {-1, EINTR, kPasses}, {-1, EAGAIN, kPasses}}),
    Of<&::recv>("recv", {{-1, ECONNRESET}, {-1, EINTR, kPasses}, {0, 0}}),
    Of<&::gethostbyname>("gethostbyname", {{0, 0}}),
    Of<&::inet_ntop>("inet_ntop", {{0, ENOSPC}}),
    // --- waits ---
    Of<&::poll>("poll", {{-1, ENOMEM}, {-1, EINTR, kPasses}}),
    Of<&::nanosleep>("nanosleep", {{-1, EINTR, kPasses}}),
    Of<&::eventfd>("eventfd", {{-1, EMFILE}}),
    Of<&::sigwait>("sigwait", {{EINTR, 0, kPasses}}),
    // --- files ---
    Of<&::open, int (*)(const char*, int, mode_t)>("open", {{-1, EMFILE}, {-1, ENOSPC}}),
    Of<&::fopen>("fopen", {{0, EMFILE}}),
    Of<&::fdopen>("fdopen", {{0, ENOMEM}}),
    Of<&::close>("close", {{-1, EIO, kDone}, {-1, EINTR, kDone | kPasses}}),
    Of<&::fclose>("fclose", {{EOF, ENOSPC, kDone}}),
    Of<&::read>("read", {{-1, EIO}, {-1, EINTR, kPasses}}),
    Of<&::write>("write", {{-1, EINTR, kPasses}}),  // all are of an eventfd, which cannot fail otherwise
    Of<&::pwrite>("pwrite", {{-1, ENOSPC}, {-1, EINTR, kPasses}, {1, 0, kPasses}}),
    Of<&::fread>("fread", {{0, EIO}}),
    Of<&::fgets>("fgets", {{0, EIO}}),
    Of<&::ferror>("ferror", {{1, 0}}),
    Of<&::fwrite>("fwrite", {{0, ENOSPC}}, 1),  // the log is one place
    Of<&::fflush>("fflush", {{EOF, ENOSPC}}),
    Of<&::fstat>("fstat", {{-1, EIO}}),
    Of<&::stat>("stat", {{-1, EACCES}}),
    Of<&::fstatvfs>("fstatvfs", {{-1, EIO}}),
    Of<&::access>("access", {{-1, EACCES}}),
    Of<&::chmod>("chmod", {{-1, EPERM}}),
    Of<&::ftruncate>("ftruncate", {{-1, EIO}}),
    Of<&::rename>("rename", {{-1, ENOSPC}}),
    Of<&::unlink>("unlink", {{-1, EACCES}}),
    // --- programs and threads ---
    Of<&::pipe2>("pipe2", {{-1, EMFILE}}),
    Of<&::posix_spawn>("posix_spawn", {{EAGAIN, 0}}),
    Of<&::posix_spawnattr_init>("posix_spawnattr_init", {{ENOMEM, 0}}),
    Of<&::posix_spawn_file_actions_init>("posix_spawn_file_actions_init", {{ENOMEM, 0}}),
    Of<&::posix_spawn_file_actions_adddup2>("posix_spawn_file_actions_adddup2", {{ENOMEM, 0}}),
    Of<&::waitid>("waitid", {{-1, ECHILD}, {-1, EINTR, kPasses}}),
    Of<&::waitpid>("waitpid", {{-1, ECHILD, kDone}}),
    Of<&::kill>("kill", {{-1, ESRCH}}),
    Of<&::pthread_create>("pthread_create", {{EAGAIN, 0}}),
    Of<&::pthread_join>("pthread_join", {{EDEADLK, 0, kDone}}),
    Of<&::prctl, int (*)(int, long, long, long, long)>("prctl", {{-1, EINVAL}}),
    // --- memory ---
    Of<&::malloc>("malloc", {{0, ENOMEM}}),
    Of<&::strndup>("strndup", {{0, ENOMEM}}),
    Of<&::setenv>("setenv", {{-1, ENOMEM}}),
    Of<&::cJSON_Parse>("cJSON_Parse", {{0, ENOMEM}}),
    Of<&::cJSON_CreateObject>("cJSON_CreateObject", {{0, ENOMEM}}),
    Of<&::cJSON_AddStringToObject>("cJSON_AddStringToObject", {{0, ENOMEM}}),
    Of<&::cJSON_AddNumberToObject>("cJSON_AddNumberToObject", {{0, ENOMEM}}),
    Of<&::cJSON_Print>("cJSON_Print", {{0, ENOMEM}}),
    Of<&::cJSON_PrintUnformatted>("cJSON_PrintUnformatted", {{0, ENOMEM}}),
    Of<&::OPENSSL_init_crypto>("OPENSSL_init_crypto", {{0, 0}}),
    Of<&::EVP_CIPHER_CTX_new>("EVP_CIPHER_CTX_new", {{0, ENOMEM}}),
    Of<&::EVP_CipherInit_ex>("EVP_CipherInit_ex", {{0, 0}}),
    Of<&::EVP_CipherUpdate>("EVP_CipherUpdate", {{0, 0}}),
    Of<&::EVP_MD_CTX_new>("EVP_MD_CTX_new", {{0, ENOMEM}}),
    Of<&::EVP_DigestInit_ex>("EVP_DigestInit_ex", {{0, 0}}),
    Of<&::EVP_DigestUpdate>("EVP_DigestUpdate", {{0, 0}}),
    Of<&::EVP_DigestFinal_ex>("EVP_DigestFinal_ex", {{0, 0}}),
    // --- ends ---
    EndOf<&::raise>("raise"),
    EndOf<&::_exit>("_exit"),
};

/// The program's dynamic section, and where its text lies.
const ElfW(Dyn) * FindProgram() {
    static const ElfW(Dyn)* dynamic = nullptr;
    dl_iterate_phdr(
        [](dl_phdr_info* program, std::size_t, void*) {
            image.base = program->dlpi_addr;
            for (const ElfW(Phdr) & part : std::span(program->dlpi_phdr, program->dlpi_phnum)) {
                const std::uintptr_t begin = image.base + part.p_vaddr;
                if (part.p_type == PT_DYNAMIC) dynamic = reinterpret_cast<const ElfW(Dyn)*>(begin);
                if (part.p_type != PT_LOAD || (part.p_flags & PF_X) == 0) continue;
                image.text_begin = begin;
                image.text_end = begin + part.p_memsz;
            }
            return 1;  // the first is the program
        },
        nullptr);
    return dynamic;
}

std::uintptr_t Entry(const ElfW(Dyn) * dynamic, ElfW(Sxword) tag) {
    for (; dynamic->d_tag != DT_NULL; ++dynamic)
        if (dynamic->d_tag == tag) return dynamic->d_un.d_ptr;
    return 0;
}

/// Puts the row's stand into an import, which may have become read-only.
void Replace(const Row& row, void** import) {
    const auto page_size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    void* const page = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(import) & ~(page_size - 1));
    *row.row = &row;
    *row.next = *import;
    if (mprotect(page, page_size, PROT_READ | PROT_WRITE) != 0) abort();
    *import = row.entry;
}

/// Replaces the imports of one table that have a row here.
void ReplaceAll(const ElfW(Dyn) * dynamic, std::uintptr_t table, std::size_t bytes) {
    const auto* const symbols = reinterpret_cast<const ElfW(Sym)*>(Entry(dynamic, DT_SYMTAB));
    const auto* const names = reinterpret_cast<const char*>(Entry(dynamic, DT_STRTAB));
    const std::span imports(reinterpret_cast<const ElfW(Rela)*>(table), bytes / sizeof(ElfW(Rela)));
    for (const ElfW(Rela) & import : imports) {
        const ElfW(Sym)& symbol = symbols[ELF64_R_SYM(import.r_info)];
        if (ELF64_R_SYM(import.r_info) == 0 || symbol.st_shndx != SHN_UNDEF) continue;
        const std::string_view name = names + symbol.st_name;
        for (const Row& row : kRows) {
            if (name == row.name) Replace(row, reinterpret_cast<void**>(image.base + import.r_offset));
        }
    }
}

bool Begin() {
    const char* const path = getenv(kFileVariable);
    const int shared = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (shared < 0) return false;
    void* const mapped = mmap(nullptr, sizeof(FaultFile), PROT_READ | PROT_WRITE, MAP_SHARED, shared, 0);
    close(shared);
    if (mapped == MAP_FAILED) abort();
    file = static_cast<FaultFile*>(mapped);
    const ElfW(Dyn)* const dynamic = FindProgram();
    ReplaceAll(dynamic, Entry(dynamic, DT_RELA), Entry(dynamic, DT_RELASZ));
    ReplaceAll(dynamic, Entry(dynamic, DT_JMPREL), Entry(dynamic, DT_PLTRELSZ));
    return true;
}

[[maybe_unused]] const bool begun = Begin();  // behind kRows

}  // namespace
}  // namespace plug::faults
