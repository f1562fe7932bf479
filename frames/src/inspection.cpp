#include "inspection.h"

#include <cstring>

namespace frames {
namespace {

bool everyByteIs(std::uint8_t value, const ImageView& image) {
    const std::size_t size = image.format.bytes();
    // If the first byte has the value and each byte equals its predecessor, all have it.
    return size > 0 && image.pixels[0] == value && std::memcmp(image.pixels, image.pixels + 1, size - 1) == 0;
}

Unverified whyUnverified(const ImageView& image) {
    if (stripLines(image.format) == 0) return Unverified::tooSmall;
    if (!lineBeginsStrip(image, 0)) return Unverified::withoutStrip;
    for (std::size_t line = 1; line < kStripCellSize; ++line)
        if (!lineBeginsStrip(image, line)) return Unverified::otherLines;
    return Unverified::damagedStrip;
}

}  // namespace

Inspection inspectImage(const ImageView& image) {
    if (!image.pixels) return {};
    if (const auto strip = readStrip(image))
        return {crcBelowStrip(image) == strip->imageCrc ? ImageKind::simulated : ImageKind::torn, strip};
    if (everyByteIs(kFakeGrey, image)) return {ImageKind::faked, std::nullopt};
    return {ImageKind::unverified, std::nullopt, whyUnverified(image)};
}

const char* imageKindName(ImageKind kind) {
    switch (kind) {
        case ImageKind::simulated:
            return "simulated";
        case ImageKind::torn:
            return "torn";
        case ImageKind::faked:
            return "faked";
        case ImageKind::unverified:
            break;
    }
    return "unverified";
}

}  // namespace frames
