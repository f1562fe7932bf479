// A host that misbehaves, for tests: numbers that hurt, stored anywhere. DORVEN_FLOOD_STORES is the number of stores of
// each test.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "hurtful_numbers.h"
#include "mmemlinefifo.h"

namespace test {

/// Enough for a test among many; what a thorough run takes is 10,000,000.
inline std::uint64_t floodStores() {
    constexpr std::uint64_t kFew = 200'000;
    const char* const given = std::getenv("DORVEN_FLOOD_STORES");
    return given ? std::strtoull(given, nullptr, 10) : kFew;
}

inline unsigned floodSeed() { return fuzzSeed(" DORVEN_FLOOD_STORES=" + std::to_string(floodStores())); }

class Flood {
public:
    /// @param memory  Of whole words of 64 bits.   @param bytes  Of it, for numbers near its end.
    /// @param lineBytes, lineCount  Of what stands in it, for numbers near what is right.
    Flood(void* memory, std::size_t bytes, std::size_t lineBytes, std::size_t lineCount, unsigned seed)
        : _words(static_cast<std::uint64_t*>(memory)), _numbers(seed, {lineCount, lineBytes, bytes, bytes / 2}) {}

    std::uint64_t below(std::uint64_t limit) { return _numbers.below(limit); }

    /// Stores anything into one of the words from the begin on.
    void store(std::size_t words) { set(below(words), _numbers.value()); }

    void set(std::size_t word, std::uint64_t value) {
        std::atomic_ref(_words[word]).store(value, std::memory_order_relaxed);
    }

private:
    std::uint64_t* _words;
    HurtfulNumbers _numbers;
};

}  // namespace test
