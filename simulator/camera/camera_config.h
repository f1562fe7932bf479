// The image format in the camera's own configuration file, so that a user need not repeat it for the simulator.
#pragma once

#include <string>

#include "image_view.h"

namespace simulator {

/// Images of a camera without a configuration.
constexpr frames::ImageFormat kDefaultFormat{1280, 1024, 1};

/// Reads the image format as the camera does, with the same files (config_chain.h) and numbers (camera_numbers.h).
/// Where the camera logs an error and uses its defaults, this fails; it also fails if no such images can be made.
///
/// @param format  Set only on success.
/// @return        false, with the file's name and the reason, when a file is missing or cannot be read, the files name
///                each other in a circle, or a number is out of range.
bool readCameraFormat(const std::string& path, frames::ImageFormat& format, std::string& error);

}  // namespace simulator
