// The runtime part of the stack protector. The compiler's own library takes its number from the system's cryptography,
// which every file would then load while it is being loaded itself.
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

// Seeded as the system's other compiler does it: from values that differ at each start, and from the load address. Runs
// before the module has another thread; functions below it on the stack keep the number that they began with.
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
    // The lowest byte is zero, so that a text that overruns can neither write the number nor reveal it.
    __stack_chk_guard = (guard ^ guard >> 32) & ~std::uintptr_t{0xFF};
}

}  // namespace

extern "C" {

// Ends the process at once and calls no handler: nothing in it can be trusted any more.
void __stack_chk_fail() {
    constexpr unsigned kStackCookieFailed = 2;
    asm volatile("int $0x29" ::"c"(kStackCookieFailed) : "memory");
    __builtin_unreachable();
}

// Called by checked functions; defined here so that the compiler's library is not linked for it.
void __chk_fail() { __stack_chk_fail(); }

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
