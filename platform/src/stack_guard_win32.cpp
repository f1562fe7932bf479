// The stack protector's own part. The compiler's library for it takes its number from the system's cryptography, which
// every file would then load while it is being loaded itself.
#include <cstdint>

#include "platform.h"

// The names are the compiler's.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {

std::uintptr_t __stack_chk_guard = 0x00000AFF0D0A2B99;  // until the constructor has run

[[noreturn]] void __stack_chk_fail();
[[noreturn]] void __chk_fail();

}  // extern "C"

namespace {

// As the system's other compiler does it: what differs from one start to the next, and where this file was loaded.
// Runs before there is another thread in the module; functions below it keep the number that they began with.
__attribute__((constructor, no_stack_protector)) void makeGuard() {
    LARGE_INTEGER count{};
    FILETIME time{};
    QueryPerformanceCounter(&count);
    GetSystemTimePreciseAsFileTime(&time);
    std::uint64_t guard = static_cast<std::uint64_t>(count.QuadPart) * 0x9E3779B97F4A7C15u;
    guard ^= (static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime) * 0xBF58476D1CE4E5B9u;
    guard ^= reinterpret_cast<std::uintptr_t>(&guard) ^ reinterpret_cast<std::uintptr_t>(&__stack_chk_guard) << 16;
    guard ^= static_cast<std::uint64_t>(GetCurrentProcessId()) << 32 ^ GetCurrentThreadId();
    guard = (guard ^ guard >> 29) * 0x94D049BB133111EBu;
    // A zero as the lowest byte: no text that runs over writes the number, nor shows it.
    __stack_chk_guard = (guard ^ guard >> 32) & ~std::uintptr_t{0xFF};
}

}  // namespace

extern "C" {

// Ends the process at once: nothing of it can be trusted any more, no handler is asked.
void __stack_chk_fail() {
    constexpr unsigned kStackCookieFailed = 2;
    asm volatile("int $0x29" ::"c"(kStackCookieFailed) : "memory");
    __builtin_unreachable();
}

// Of checked calls, so that the compiler's library is not linked beside this file for their sake.
void __chk_fail() { __stack_chk_fail(); }

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
