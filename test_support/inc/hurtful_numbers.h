// Harmful numbers for tests that store them where nobody should. They come from a seed, which is printed;
// DORVEN_FUZZ_SEED sets it again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// The seed of this run, printed to standard output. @param further  Printed after it.
inline unsigned fuzzSeed(const std::string& further = "") {
    const char* const given = std::getenv("DORVEN_FUZZ_SEED");
    const unsigned seed = given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::cout << "DORVEN_FUZZ_SEED=" << seed << further << std::endl;
    return seed;
}

class HurtfulNumbers {
public:
    /// @param marks  Correct values and limits: numbers close to them are harmful.
    HurtfulNumbers(unsigned seed, std::vector<std::uint64_t> marks) : _numbers(seed), _marks(std::move(marks)) {
        _marks.insert(_marks.end(), {0, 1ull << 32, 1ull << 63});
    }

    std::uint64_t below(std::uint64_t limit) { return _numbers() % limit; }

    /// A small number, any number, one of any size, one close to a mark, or one close to where numbers wrap.
    std::uint64_t value() {
        switch (below(4)) {
            case 0:
                return below(10);
            case 1:
                return _numbers();
            case 2:
                return _numbers() >> below(64);
            default:
                return _marks[static_cast<std::size_t>(below(_marks.size()))] + below(5) - 2;
        }
    }

private:
    std::mt19937_64 _numbers;
    std::vector<std::uint64_t> _marks;
};

}  // namespace test
