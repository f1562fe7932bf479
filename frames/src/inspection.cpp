#include "inspection.h"

#include <cstring>

namespace frames {
namespace {

bool everyByteIs(std::uint8_t value, const ImageView& image) {
    const std::size_t size = image.format.bytes();
    // If the first byte has the value and each byte equals its predecessor, all have it.
    return size > 0 && image.pixels[0] == value && std::memcmp(image.pixels, image.pixels + 1, size - 1) == 0;
}

// Every strip that there is, the smallest first: one that was drawn over a larger one leaves that readable.
constexpr StripWish kWishes[] = {
    {StripForm::line, StripPlace::top},   {StripForm::line, StripPlace::bottom},
    {StripForm::cells4, StripPlace::top}, {StripForm::cells4, StripPlace::bottom},
    {StripForm::cells8, StripPlace::top}, {StripForm::cells8, StripPlace::bottom},
};

bool firstCellsBeginStrip(const ImageView& image, const StripLayout& layout) {
    const std::size_t cell = kStripForms[static_cast<std::size_t>(layout.form)].cell;
    for (std::size_t line = 1; line < cell; ++line)
        if (!lineBeginsStrip(image, layout, layout.firstLine + line)) return false;
    return true;
}

Unverified whyUnverified(const ImageView& image) {
    bool fits = false;
    for (const StripWish& wish : kWishes) {
        const StripLayout layout = stripLayout(image.format, wish);
        if (layout.lines == 0) continue;
        fits = true;
        if (lineBeginsStrip(image, layout, layout.firstLine))
            return firstCellsBeginStrip(image, layout) ? Unverified::damagedStrip : Unverified::otherLines;
    }
    return fits ? Unverified::withoutStrip : Unverified::tooSmall;
}

}  // namespace

// Where a part of the picture looks like a strip, as in one that was saved with its own, the image's real one proves
// itself by the check of the image.
Inspection ImageInspector::inspect(const ImageView& image) {
    if (!image.pixels) return {};
    std::optional<Inspection> torn;
    for (const StripWish& wish : kWishes) {
        const auto found = inspectStrip(image, wish);
        if (!found) continue;
        if (found->kind == ImageKind::simulated) {
            _last = wish;
            return *found;
        }
        if (!torn || wish == _last) torn = found;
    }
    if (torn) return *torn;
    if (everyByteIs(kFakeGrey, image)) return {ImageKind::faked, std::nullopt};
    return {ImageKind::unverified, std::nullopt, whyUnverified(image)};
}

std::optional<Inspection> ImageInspector::inspectStrip(const ImageView& image, const StripWish& wish) {
    const StripLayout layout = stripLayout(image.format, wish);
    const auto strip = readStrip(image, layout);
    if (!strip) return std::nullopt;
    const bool whole = crcOutsideStrip(image, layout) == strip->imageCrc;
    return Inspection{whole ? ImageKind::simulated : ImageKind::torn, strip, Unverified::withoutPixels, layout};
}

Inspection inspectImage(const ImageView& image) { return ImageInspector().inspect(image); }

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
