#include "inspection.h"

#include <cstring>

namespace frames {
namespace {

bool everyByteIs(std::uint8_t value, const ImageView& image) {
    const std::size_t size = image.format.bytes();
    // When the first byte has the value and each equals its predecessor, all have it.
    return size > 0 && image.pixels[0] == value && std::memcmp(image.pixels, image.pixels + 1, size - 1) == 0;
}

}  // namespace

Inspection inspectImage(const ImageView& image) {
    if (!image.pixels) return {};
    if (const auto strip = readStrip(image))
        return {crcBelowStrip(image) == strip->imageCrc ? ImageKind::simulated : ImageKind::torn, strip};
    return {everyByteIs(kFakeGrey, image) ? ImageKind::faked : ImageKind::unverified, std::nullopt};
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
