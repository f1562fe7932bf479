// The image format in a camera's image record.
#pragma once

#include <optional>

#include "HostTypes.h"
#include "image_view.h"

namespace host {

/// None when no memory can hold such an image, or its size cannot be represented. Bytes per pixel below 1 count as 0.
std::optional<frames::ImageFormat> formatOf(const NUV::IMAGEMEMORY& record);

}  // namespace host
