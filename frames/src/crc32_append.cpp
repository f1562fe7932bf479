#include "crc32_append.h"

namespace frames {
namespace {

// Remainders are polynomials with the coefficient of x^0 in the highest bit.
constexpr std::uint32_t kPolynomial = 0xEDB88320u;
constexpr std::uint32_t kOne = 0x80000000u;
constexpr std::uint32_t kByte = kOne >> 8;  // x^8: one byte further

std::uint32_t timesX(std::uint32_t value) { return value >> 1 ^ ((value & 1u) != 0 ? kPolynomial : 0u); }

std::uint32_t product(std::uint32_t left, std::uint32_t right) {
    std::uint32_t sum = 0;
    for (std::uint32_t bit = kOne; bit != 0; bit >>= 1, right = timesX(right)) {
        if ((left & bit) != 0) sum ^= right;
    }
    return sum;
}

// x^(8 * bytes)
std::uint32_t shiftBy(std::size_t bytes) {
    std::uint32_t power = kOne;
    for (std::uint32_t square = kByte; bytes != 0; bytes >>= 1, square = product(square, square)) {
        if ((bytes & 1u) != 0) power = product(power, square);
    }
    return power;
}

}  // namespace

Crc32Append::Crc32Append(std::size_t size) : _tables{} {
    const std::uint32_t shift = shiftBy(size);
    for (std::size_t byte = 0; byte < _tables.size(); ++byte) {
        for (std::uint32_t value = 0; value < 256; ++value) _tables[byte][value] = product(value << (8 * byte), shift);
    }
}

}  // namespace frames
