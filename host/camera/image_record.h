// The geometry that a camera's image record tells.
#pragma once

#include <optional>

#include "HostTypes.h"
#include "image_view.h"

namespace host {

/// None when no memory can hold such an image, or its size cannot even be told. Bytes per pixel below 1 count as 0.
std::optional<frames::ImageFormat> formatOf(const NUV::IMAGEMEMORY& record);

}  // namespace host
