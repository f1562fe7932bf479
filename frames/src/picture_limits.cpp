#include "picture_limits.h"

#include <algorithm>

#include "image_size.h"

namespace frames {
namespace {

constexpr std::size_t kMegabyte = 1'000'000;

}  // namespace

std::string sizeText(std::size_t width, std::size_t height) {
    return "has " + std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

std::string thanAllowed(const PictureWish& wish) {
    if (!wish.maxBytesOption) return " than there is memory for";
    return " than the " + std::to_string(wish.maxBytes / kMegabyte) + " MB that are left of " + wish.maxBytesOption;
}

std::string tooMuch(std::size_t width, std::size_t height, std::size_t bytes, const PictureWish& wish) {
    const std::string size = sizeText(width, height);
    if (!wish.maxBytesOption) return size + ", more" + thanAllowed(wish);
    return size + "; reading it takes " + std::to_string((bytes + kMegabyte - 1) / kMegabyte) + " MB or more, and " +
           std::to_string(wish.maxBytes / kMegabyte) + " MB are left of " + wish.maxBytesOption;
}

std::string tooLarge(std::size_t width, std::size_t height) {
    const std::size_t pixels = width * height;
    if (pixels > kMaxPixels) return sizeText(width, height) + ", more than there is memory for";
    if (std::max(width, height) > kMaxSide)
        return sizeText(width, height) + ", and a side may have at most " + std::to_string(kMaxSide);
    return {};
}

std::uint16_t spread(std::size_t value, std::size_t greatest) {
    return static_cast<std::uint16_t>((std::min(value, greatest) * kMaxSample + greatest / 2) / greatest);
}

}  // namespace frames
