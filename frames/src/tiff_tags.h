// What a TIFF file says that it holds, before a library believes it.
#pragma once

#include <cstdint>
#include <vector>

namespace frames {

/// Whether the tags of the first picture name no more data than the file has, and are no more than 4096. A decoder
/// takes memory for each tag, and several may name the same data. Also true for a file that is no TIFF file or is cut
/// off: the decoder finds that.
bool tiffTagsFitTheirFile(const std::vector<std::uint8_t>& file);

}  // namespace frames
