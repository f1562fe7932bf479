#include "crc32.h"

#include <array>
#include <cstring>

namespace frames {
namespace {

constexpr std::size_t kSlices = 16;  // bytes per step
using Tables = std::array<std::array<std::uint32_t, 256>, kSlices>;

// Table k holds the effect of a byte that k further bytes follow.
constexpr Tables makeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1u) != 0 ? 0xEDB88320u : 0u);
        tables[0][byte] = value;
    }
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr Tables kTables = makeTables();

// Effect of four bytes, the first one in the low bits, that `behind` further bytes of the step follow.
std::uint32_t fourBytes(std::uint32_t bytes, std::size_t behind) {
    return kTables[behind + 3][bytes & 0xFF] ^ kTables[behind + 2][(bytes >> 8) & 0xFF] ^
           kTables[behind + 1][(bytes >> 16) & 0xFF] ^ kTables[behind][bytes >> 24];
}

}  // namespace

std::uint32_t crc32(const void* data, std::size_t size, std::uint32_t start) {
    auto next = static_cast<const unsigned char*>(data);
    std::uint32_t value = ~start;
    for (; size >= kSlices; size -= kSlices, next += kSlices) {
        std::uint32_t words[4];
        std::memcpy(words, next, sizeof words);
        value =
            fourBytes(words[0] ^ value, 12) ^ fourBytes(words[1], 8) ^ fourBytes(words[2], 4) ^ fourBytes(words[3], 0);
    }
    for (; size > 0; --size, ++next) value = (value >> 8) ^ kTables[0][(value ^ *next) & 0xFF];
    return ~value;
}

}  // namespace frames
