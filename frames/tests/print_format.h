// Image formats in the names of tests.
#pragma once

#include <ostream>

#include "image_view.h"

namespace frames {

inline void PrintTo(const ImageFormat& format, std::ostream* stream) {
    *stream << format.width << " x " << format.height << " x " << format.bytesPerPixel;
}

}  // namespace frames
