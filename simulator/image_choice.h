// Which images a run makes. The options say so; what they leave open, the camera or its configuration file says.
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

/// What was told, but for what the options say.
frames::ImageFormat formatFor(const SimulatorOptions& options, const frames::ImageFormat& told);

/// The images that the options ask for; null, with the reason, when that cannot be done.
/// @param camera  What the camera told: counts before the configuration file, but after the other options.
/// @param held    Counts against the limit of the options beside what is made.
std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error,
                                             const std::optional<frames::ImageFormat>& camera = std::nullopt,
                                             const HeldMemory& held = {});

/// Bytes of an image for which the ring has room from the beginning, as far as the camera may ask for larger images.
std::size_t ringRoomFor(const SimulatorOptions& options);

/// "320 x 240 pixels, 1 byte per pixel"
std::string formatText(const frames::ImageFormat& format);

}  // namespace simulator
