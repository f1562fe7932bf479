// What a fuzz target is, and how it says that the code under test broke its word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The target: called with bytes of any kind, again and again in one process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the program, as a crash that the fuzzer records, unless the condition holds.
inline void fuzzExpect(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}
