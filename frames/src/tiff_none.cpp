#include "tiff.h"

namespace frames {

std::string decodeTiff(const std::vector<std::uint8_t>&, const PictureWish&, Picture&) {
    return "is a TIFF file, which this build cannot read; save it as PNG";
}

}  // namespace frames
