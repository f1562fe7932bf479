// TIFF files, by the system's library; a build without it refuses them with a sentence that says so.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "picture.h"

namespace frames {

/// Whether a file begins as TIFF files do, of either byte order.
inline bool isTiff(const std::vector<std::uint8_t>& file) {
    if (file.size() < 4) return false;
    const bool little = file[0] == 'I' && file[1] == 'I' && (file[2] == 42 || file[2] == 43) && file[3] == 0;
    const bool big = file[0] == 'M' && file[1] == 'M' && file[2] == 0 && (file[3] == 42 || file[3] == 43);
    return little || big;
}

/// Decodes the first picture of a TIFF file. @return why that is not possible, in words that follow the file's name;
/// empty when it was.
std::string decodeTiff(const std::vector<std::uint8_t>& file, const PictureWish& wish, Picture& picture);

}  // namespace frames
