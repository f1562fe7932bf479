// A misbehaving host, for tests: it stores harmful numbers anywhere. DORVEN_FLOOD_STORES is the number of stores of
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

/// Enough for one test among many; a thorough run uses 10,000,000.
inline std::uint64_t floodStores() {
    constexpr std::uint64_t kFew = 200'000;
    const char* const given = std::getenv("DORVEN_FLOOD_STORES");
    return given ? std::strtoull(given, nullptr, 10) : kFew;
}

inline unsigned floodSeed() { return fuzzSeed(" DORVEN_FLOOD_STORES=" + std::to_string(floodStores())); }

class Flood {
public:
    /// @param memory  Whole words of 64 bits.   @param bytes  Its size, for numbers near its end.
    /// @param lineBytes, lineCount  The geometry in it, for numbers close to correct ones.
    Flood(void* memory, std::size_t bytes, std::size_t lineBytes, std::size_t lineCount, unsigned seed)
        : _words(static_cast<std::uint64_t*>(memory)), _numbers(seed, {lineCount, lineBytes, bytes, bytes / 2}) {}

    std::uint64_t below(std::uint64_t limit) { return _numbers.below(limit); }

    /// Stores any number into one of the first words.
    void store(std::size_t words) { set(below(words), _numbers.value()); }

    void set(std::size_t word, std::uint64_t value) {
        std::atomic_ref(_words[word]).store(value, std::memory_order_relaxed);
    }

private:
    std::uint64_t* _words;
    HurtfulNumbers _numbers;
};

}  // namespace test
