// What the camera's own configuration file says about its images, so that both sides agree without being told twice.
#pragma once

#include <string>

#include "image_view.h"

namespace simulator {

/// Images of a camera that no configuration describes.
constexpr frames::ImageFormat kDefaultFormat{1280, 1024, 1};

/// Reads the image format as the camera does, by the same files (config_chain.h) and numbers (camera_numbers.h). Where
/// the camera logs an error and takes its defaults, and where no images can be made of what it takes, this refuses.
///
/// @param format  Set only on success.
/// @return        false, with the file's name and the reason, when a file is absent or cannot be read, files name each
///                other in a circle, or a number is out of range.
bool readCameraFormat(const std::string& path, frames::ImageFormat& format, std::string& error);

}  // namespace simulator
