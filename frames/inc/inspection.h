// What kind of image an image is, judged from its pixels alone.
#pragma once

#include <cstddef>
#include <optional>

#include "image_view.h"
#include "strip.h"

namespace frames {

enum class ImageKind {
    simulated,   // strip valid, and the bytes outside it are those that it was made for
    torn,        // strip valid, but the bytes outside it are others: parts of two images
    faked,       // no strip, and every byte equals 10: the camera made it without a simulator
    unverified,  // anything else
};

/// Why an image is unverified.
enum class Unverified {
    withoutPixels,
    tooSmall,      // for a strip of any form
    otherLines,    // a strip begins where one has to, but goes on as in lines of another length
    damagedStrip,  // its fields are not those that its CRC was made for
    withoutStrip,
};
constexpr std::size_t kUnverifiedReasons = 5;

/// Grey level of images that the camera makes without a simulator.
constexpr std::uint8_t kFakeGrey = 10;

struct Inspection {
    ImageKind kind = ImageKind::unverified;
    std::optional<Strip> strip;                         // of simulated and torn images
    Unverified unverified = Unverified::withoutPixels;  // of unverified images alone
    StripLayout layout = {};                            // of simulated and torn images: where the strip is
};

/// Inspects images one after the other, and looks first for a strip like the one that was verified last. Used by one
/// thread.
class ImageInspector {
public:
    /// Looks at every byte of an image. Finds a strip of any form, at the top and at the bottom; of several the one
    /// whose image is whole. An image without pixels is unverified.
    Inspection inspect(const ImageView& image);

private:
    std::optional<Inspection> inspectStrip(const ImageView& image, const StripWish& wish);

    StripWish _last{StripForm::cells8, StripPlace::top};
};

/// The same of a single image.
Inspection inspectImage(const ImageView& image);

/// "simulated", "torn", "faked" or "unverified".
const char* imageKindName(ImageKind kind);

}  // namespace frames
