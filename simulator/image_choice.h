// Which images a run makes: according to the options, otherwise to the camera or its configuration file.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "image_source.h"
#include "image_view.h"
#include "memory_budget.h"
#include "simulator_options.h"

namespace simulator {

/// The given format, changed by the options.
frames::ImageFormat formatFor(const SimulatorOptions& options, const frames::ImageFormat& told);

/// Creates the images that the options request; null, with the reason, on failure.
/// @param camera  The camera's format: wins over the configuration file, but not over the other options.
/// @param held    Memory in use that counts against the limit of the options.
std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error,
                                             const std::optional<frames::ImageFormat>& camera = std::nullopt,
                                             const HeldMemory& held = {});

/// Bytes of an image for which the ring has room from the beginning, if the camera may ask for larger images.
std::size_t ringRoomFor(const SimulatorOptions& options);

/// "320 x 240 pixels, 1 byte per pixel"
std::string formatText(const frames::ImageFormat& format);

}  // namespace simulator
