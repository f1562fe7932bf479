#include "crc32.h"

#include <zlib.h>

namespace frames {

std::uint32_t crc32(const void* data, std::size_t size, std::uint32_t start) {
    if (size == 0) return start;  // for a null address zlib starts again
    return static_cast<std::uint32_t>(crc32_z(start, static_cast<const Bytef*>(data), size));
}

}  // namespace frames
