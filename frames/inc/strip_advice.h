// What people are told of an image's strip.
#pragma once

#include <string>

#include "image_view.h"
#include "strip.h"

namespace frames {

/// "the strip covers 48 of 240 lines (20 %); --strip-cell 4 takes 12", with the form that takes the fewest lines.
/// Empty where the strip covers a tenth of the image at most.
///
/// @param whose  Stands before the option's name, such as "the simulator's "; empty: nothing does.
std::string stripShareAdvice(const ImageFormat& format, const StripLayout& layout, const std::string& whose = {});

/// Why images carry no strip, and what to do; empty where they carry one.
std::string striplessAdvice(const ImageFormat& format, const StripWish& wish);

}  // namespace frames
