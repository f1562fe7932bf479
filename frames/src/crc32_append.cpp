#include "crc32_append.h"

#include <bit>

#include <zlib.h>

namespace frames {

// Shifting is linear: the effect of a byte is that of its bits.
Crc32Append::Crc32Append(std::size_t size) : _tables{} {
    const uLong shift = crc32_combine_gen(static_cast<z_off_t>(size));
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
