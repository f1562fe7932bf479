// What the camera's own configuration file says about its images, so that both sides agree without being told twice.
#pragma once

#include <string>

#include "image_view.h"

namespace simulator {

/// Images of a camera that no configuration describes.
constexpr frames::ImageFormat kDefaultFormat{1280, 1024, 1};

/// Reads the image format as the camera does: an entry "camera_config" in section "Dorven" names the file to read
/// instead, relative to the folder of the one that names it; image_size_x, image_size_y and bytes_per_pixel in section
/// "image" then tell the format. What is absent keeps the default.
///
/// @param format  Set only on success.
/// @return        false, with the file's name and the reason, when a file cannot be read, files name each other in a
///                circle, or a value is out of range.
bool readCameraFormat(const std::string& path, frames::ImageFormat& format, std::string& error);

}  // namespace simulator
