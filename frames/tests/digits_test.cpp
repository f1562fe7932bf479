#include "digits.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using frames::Canvas;
using frames::drawNumber;
using frames::fillPixels;
using frames::ImageFormat;

std::string shape(unsigned digit) {
    std::string text;
    for (std::size_t row = 0; row < frames::kDigitRows; ++row) {
        for (std::size_t column = 0; column < frames::kDigitColumns; ++column)
            text += frames::digitInk(digit, column, row) ? '#' : ' ';
        text += '\n';
    }
    return text;
}

// Reads a drawn digit: the one whose every cell agrees with the image, or -1.
int readDigit(const Canvas& image, std::size_t x, std::size_t y, std::size_t scale, std::uint8_t ink) {
    for (unsigned digit = 0; digit < 10; ++digit) {
        bool fits = true;
        for (std::size_t row = 0; row < frames::kDigitRows * scale; ++row) {
            for (std::size_t column = 0; column < frames::kDigitColumns * scale; ++column) {
                const bool drawn = image.line(y + row)[(x + column) * image.format.bytesPerPixel] == ink;
                fits = fits && drawn == frames::digitInk(digit, column / scale, row / scale);
            }
        }
        if (fits) return static_cast<int>(digit);
    }
    return -1;
}

TEST(DigitsTest, TenShapesDiffer) {
    std::set<std::string> shapes;
    for (unsigned digit = 0; digit < 10; ++digit) shapes.insert(shape(digit));
    EXPECT_EQ(shapes.size(), 10u);
}

TEST(DigitsTest, SevenLooksLikeASeven) { EXPECT_EQ(shape(7), "#####\n    #\n   # \n  #  \n  #  \n #   \n #   \n"); }

class DrawNumberTest : public testing::TestWithParam<std::size_t> {};

TEST_P(DrawNumberTest, DigitsAreReadBackInOrderWithLeadingZeros) {
    const ImageFormat format{400, 80, GetParam()};
    std::vector<std::uint8_t> bytes(format.bytes(), 77);
    const Canvas canvas{bytes.data(), format};
    drawNumber(canvas, 5, 3, 4, 9081726354u, 12, 200, 0);
    const std::string expected = "009081726354";
    for (std::size_t place = 0; place < expected.size(); ++place)
        EXPECT_EQ(readDigit(canvas, 5 + 4 + place * 24, 3 + 4, 4, 200), expected[place] - '0') << place;
}

TEST_P(DrawNumberTest, NothingOutsideItsBoxIsTouched) {
    const ImageFormat format{120, 60, GetParam()};
    std::vector<std::uint8_t> bytes(format.bytes(), 77);
    const Canvas canvas{bytes.data(), format};
    drawNumber(canvas, 10, 5, 2, 1234, 4, 200, 1);
    for (std::size_t y = 0; y < format.height; ++y) {
        for (std::size_t x = 0; x < format.width; ++x) {
            const bool inside =
                x >= 10 && x < 10 + frames::numberWidth(2, 4) && y >= 5 && y < 5 + frames::numberHeight(2);
            ASSERT_EQ(canvas.line(y)[x * format.bytesPerPixel] == 77, !inside) << x << " " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(BytesPerPixel, DrawNumberTest, testing::Values(1, 2, 3, 4));

TEST(DigitsTest, NumberThatIsTooLongShowsItsLastDigits) {
    const ImageFormat format{100, 20, 1};
    std::vector<std::uint8_t> bytes(format.bytes());
    const Canvas canvas{bytes.data(), format};
    drawNumber(canvas, 0, 0, 1, 123456, 3, 200, 0);
    EXPECT_EQ(readDigit(canvas, 1, 1, 1, 200), 4);
    EXPECT_EQ(readDigit(canvas, 7, 1, 1, 200), 5);
    EXPECT_EQ(readDigit(canvas, 13, 1, 1, 200), 6);
}

TEST(DigitsTest, WhatDoesNotFitIntoTheImageIsLeftOut) {
    const ImageFormat format{10, 5, 1};
    std::vector<std::uint8_t> bytes(format.bytes() + 64, 77);
    drawNumber({bytes.data(), format}, 4, 2, 3, 88888888, 8, 200, 0);
    drawNumber({bytes.data(), format}, 40, 20, 3, 88888888, 8, 200, 0);
    for (std::size_t byte = format.bytes(); byte < bytes.size(); ++byte) EXPECT_EQ(bytes[byte], 77);
    EXPECT_EQ(bytes[2 * 10 + 3], 77);
    EXPECT_EQ(bytes[2 * 10 + 4], 0);
}

TEST(FillPixelsTest, GivesFourBytePixelsFullOpacity) {
    const ImageFormat format{3, 1, 4};
    std::vector<std::uint8_t> bytes(format.bytes(), 1);
    fillPixels({bytes.data(), format}, 1, 0, 9, 50);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 1, 1, 1, 50, 50, 50, 255, 50, 50, 50, 255}));
}

}  // namespace
