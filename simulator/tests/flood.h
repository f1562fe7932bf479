// A host that misbehaves, for tests: numbers that hurt, stored anywhere. Those of a test come from a seed, which is
// printed; DORVEN_FUZZ_SEED gives it again. DORVEN_FLOOD_STORES is the number of stores of each test.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <random>
#include <string>

#include "mmemlinefifo.h"

namespace test {

/// Enough for a test among many; what a thorough run takes is 10,000,000.
inline std::uint64_t floodStores() {
    constexpr std::uint64_t kFew = 200'000;
    const char* const given = std::getenv("DORVEN_FLOOD_STORES");
    return given ? std::strtoull(given, nullptr, 10) : kFew;
}

inline unsigned floodSeed() {
    const char* const given = std::getenv("DORVEN_FUZZ_SEED");
    const unsigned seed = given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::cout << "DORVEN_FUZZ_SEED=" << seed << " DORVEN_FLOOD_STORES=" << floodStores() << std::endl;
    return seed;
}

class Flood {
public:
    /// @param memory  Of whole words of 64 bits.   @param bytes  Of it, for numbers near its end.
    /// @param lineBytes, lineCount  Of what stands in it, for numbers near what is right.
    Flood(void* memory, std::size_t bytes, std::size_t lineBytes, std::size_t lineCount, unsigned seed)
        : _words(static_cast<std::uint64_t*>(memory)),
          _marks{0, lineCount, lineBytes, bytes, bytes / 2, 1ull << 32, 1ull << 63},
          _numbers(seed) {}

    std::uint64_t below(std::uint64_t limit) { return _numbers() % limit; }

    /// Stores anything into one of the words from the begin on.
    void store(std::size_t words) { set(below(words), value()); }

    void set(std::size_t word, std::uint64_t value) {
        std::atomic_ref(_words[word]).store(value, std::memory_order_relaxed);
    }

private:
    /// What hurts: little, anything, any size of number, about what is right, mapped, or wraps.
    std::uint64_t value() {
        switch (below(4)) {
            case 0:
                return below(10);
            case 1:
                return _numbers();
            case 2:
                return _numbers() >> below(64);
            default:
                return _marks[below(std::size(_marks))] + below(5) - 2;
        }
    }

    std::uint64_t* _words;
    std::uint64_t _marks[7];
    std::mt19937_64 _numbers;
};

}  // namespace test
