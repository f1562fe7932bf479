#include "digits.h"

namespace frames {
namespace {

// One string per row of all ten digits; '#' is ink.
constexpr const char* kRows[kDigitRows] = {
    " ### "
    "  #  "
    " ### "
    " ### "
    "   # "
    "#####"
    " ### "
    "#####"
    " ### "
    " ### ",
    "#   #"
    " ##  "
    "#   #"
    "#   #"
    "  ## "
    "#    "
    "#    "
    "    #"
    "#   #"
    "#   #",
    "#  ##"
    "  #  "
    "    #"
    "    #"
    " # # "
    "#### "
    "#    "
    "   # "
    "#   #"
    "#   #",
    "# # #"
    "  #  "
    "   # "
    "  ## "
    "#  # "
    "    #"
    "#### "
    "  #  "
    " ### "
    " ####",
    "##  #"
    "  #  "
    "  #  "
    "    #"
    "#####"
    "    #"
    "#   #"
    "  #  "
    "#   #"
    "    #",
    "#   #"
    "  #  "
    " #   "
    "#   #"
    "   # "
    "#   #"
    "#   #"
    " #   "
    "#   #"
    "    #",
    " ### "
    " ### "
    "#####"
    " ### "
    "   # "
    " ### "
    " ### "
    " #   "
    " ### "
    " ### ",
};

void fillBlock(const Canvas& image, std::size_t x, std::size_t y, std::size_t width, std::size_t height,
               std::uint8_t grey) {
    for (std::size_t line = 0; line < height; ++line) fillPixels(image, x, y + line, width, grey);
}

void drawDigit(const Canvas& image, std::size_t x, std::size_t y, std::size_t scale, unsigned digit, std::uint8_t ink) {
    for (std::size_t row = 0; row < kDigitRows; ++row) {
        for (std::size_t column = 0; column < kDigitColumns; ++column) {
            if (digitInk(digit, column, row)) fillBlock(image, x + column * scale, y + row * scale, scale, scale, ink);
        }
    }
}

}  // namespace

bool digitInk(unsigned digit, std::size_t column, std::size_t row) {
    return kRows[row][digit * kDigitColumns + column] == '#';
}

void drawNumber(const Canvas& image, std::size_t x, std::size_t y, std::size_t scale, std::uint64_t number,
                std::size_t count, std::uint8_t ink, std::uint8_t paper) {
    fillBlock(image, x, y, numberWidth(scale, count), numberHeight(scale), paper);
    for (std::size_t place = count; place > 0; --place, number /= 10) {
        const std::size_t left = x + (1 + (place - 1) * (kDigitColumns + 1)) * scale;
        drawDigit(image, left, y + scale, scale, static_cast<unsigned>(number % 10), ink);
    }
}

}  // namespace frames
