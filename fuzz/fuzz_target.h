// The interface of a fuzz target, and how it reports that the code under test broke a promise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The target: called with any bytes, again and again in one process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the program, as a crash that the fuzzer records, unless the condition is true.
inline void fuzzExpect(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}
