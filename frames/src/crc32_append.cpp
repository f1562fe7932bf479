#include "crc32_append.h"

#include <bit>
#include <utility>

#include <zlib.h>

namespace frames {
namespace {

// What a number of bytes does to the CRC before them. Put together from halves where the number is too large for zlib's
// type, which has 32 bits on Windows.
uLong shiftOf(std::size_t size) {
    if (std::in_range<z_off_t>(size)) return crc32_combine_gen(static_cast<z_off_t>(size));
    const uLong half = shiftOf(size / 2);
    const uLong even = crc32_combine_op(half, 0, half);
    return size % 2 == 0 ? even : crc32_combine_op(even, 0, shiftOf(1));
}

}  // namespace

// Shifting is linear: the effect of a byte is that of its bits.
Crc32Append::Crc32Append(std::size_t size) : _tables{} {
    const uLong shift = shiftOf(size);
    for (std::size_t byte = 0; byte < _tables.size(); ++byte) {
        auto& table = _tables[byte];
        for (std::uint32_t value = 1; value < table.size(); ++value) {
            table[value] = std::has_single_bit(value)
                               ? static_cast<std::uint32_t>(crc32_combine_op(value << (8 * byte), 0, shift))
                               : table[std::bit_floor(value)] ^ table[value ^ std::bit_floor(value)];
        }
    }
}

}  // namespace frames
