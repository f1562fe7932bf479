// What all picture decoders refuse before they take memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "picture.h"

namespace frames {

constexpr std::size_t kMaxPixels = std::size_t{1} << 28;  // of a picture
constexpr std::size_t kMaxSample = 65535;

/// Width and height of a picture in pixels, as the header of its file says.
struct PictureSize {
    std::size_t width = 0;
    std::size_t height = 0;
};

/// "is damaged: ends within its header"
inline std::string damaged(const std::string& how) { return "is damaged: " + how; }

/// "has 7 x 5 pixels"
std::string sizeText(std::size_t width, std::size_t height);

/// " than there is memory for", in the words of whoever can change that.
std::string thanAllowed(const PictureWish& wish);

/// Why a picture that takes so many bytes is refused.
std::string tooMuch(std::size_t width, std::size_t height, std::size_t bytes, const PictureWish& wish);

/// Why so many pixels are refused; empty when they are not. Both sides below 2^32.
std::string tooLarge(std::size_t width, std::size_t height);

/// A sample of 0 … greatest as one of 0 … 65535.
std::uint16_t spread(std::size_t value, std::size_t greatest);

}  // namespace frames
