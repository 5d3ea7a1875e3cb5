// What the standard library would throw from, without its machinery for throwing: that is a third of the
// agent's size and of no other use to it. The agent calls only the forms of new that return null, and cuts no
// text behind its end.
#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
    void* const memory = malloc(size);
    if (memory == nullptr) abort();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return malloc(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return malloc(size);
}

void operator delete(void* memory) noexcept {
    free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    free(memory);
}

void operator delete[](void* memory) noexcept {
    free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    free(memory);
}

// The tag of those forms, which in some libraries comes with the forms that throw.
const std::nothrow_t std::nothrow{};

/// What the standard library calls for such a cut, under its own name.
[[noreturn]] void EndOutOfRange(const char* format, ...) __asm__("_ZSt24__throw_out_of_range_fmtPKcz");
void EndOutOfRange(const char*, ...) {
    abort();
}
