// Decimal numbers drawn into an image, for people.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image_view.h"

namespace frames {

/// Size of one digit in cells, without the empty column after it.
constexpr std::size_t kDigitColumns = 5;
constexpr std::size_t kDigitRows = 7;

/// Cell of a digit's shape: true where it is ink. digit 0 … 9, column 0 … 4 from the left, row 0 … 6 from the top.
bool digitInk(unsigned digit, std::size_t column, std::size_t row);

/// Draws a number with leading zeros, each cell scale x scale pixels, on a box that extends one cell beyond it. Parts
/// outside the image are not drawn.
///
/// @param x, y   Pixel of the box's upper left corner.
/// @param count  Number of digits, at most 20; of a longer number, the last digits are drawn.
void drawNumber(const Canvas& image, std::size_t x, std::size_t y, std::size_t scale, std::uint64_t number,
                std::size_t count, std::uint8_t ink, std::uint8_t paper);

/// Width in pixels of what drawNumber draws.
constexpr std::size_t numberWidth(std::size_t scale, std::size_t count) {
    return (count * (kDigitColumns + 1) + 1) * scale;
}
constexpr std::size_t numberHeight(std::size_t scale) { return (kDigitRows + 2) * scale; }

}  // namespace frames
