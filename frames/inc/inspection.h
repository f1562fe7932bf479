// What kind of image an image is, judged from its pixels alone.
#pragma once

#include <cstddef>
#include <optional>

#include "image_view.h"
#include "strip.h"

namespace frames {

enum class ImageKind {
    simulated,   // strip valid, and the bytes below it match its CRC
    torn,        // strip valid, but the bytes below it do not match: parts of two images
    faked,       // no strip, and every byte equals 10: made by the camera without a simulator
    unverified,  // none of these
};

/// Why an image is unverified.
enum class Unverified {
    withoutPixels,
    tooSmall,      // too small for a strip, see stripLines
    otherLines,    // a strip begins at the right place, but continues as in lines of another length
    damagedStrip,  // the strip's fields do not match their CRC
    withoutStrip,
};
constexpr std::size_t kUnverifiedReasons = 5;

/// Grey level of images that the camera makes without a simulator.
constexpr std::uint8_t kFakeGrey = 10;

struct Inspection {
    ImageKind kind = ImageKind::unverified;
    std::optional<Strip> strip;                         // of simulated and torn images
    Unverified unverified = Unverified::withoutPixels;  // for unverified images only
};

/// Reads every byte of an image. An image without pixels is unverified.
Inspection inspectImage(const ImageView& image);

/// "simulated", "torn", "faked" or "unverified".
const char* imageKindName(ImageKind kind);

}  // namespace frames
