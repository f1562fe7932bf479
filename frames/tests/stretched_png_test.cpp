#include "stretched_png.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "picture.h"

namespace {

using frames::encodeStretchedPng;
using frames::stretched;
using testing::ElementsAre;

TEST(StretchedPngTest, EveryGreyComesBackWhenItIsShiftedBackAndTheRangeIsWhole) {
    for (unsigned bits = 9; bits <= 15; ++bits) {
        for (unsigned grey = 0; grey < 1u << bits; ++grey)
            ASSERT_EQ(unsigned{stretched(grey, bits)} >> (16 - bits), grey);
        EXPECT_EQ(stretched((1u << bits) - 1, bits), 65535);
        EXPECT_EQ(stretched(65535, bits), 65535) << "the strip is brighter than the bits";
    }
}

std::vector<std::uint8_t> encoded(const std::vector<std::uint8_t>& pixels, std::size_t bytesPerPixel) {
    std::vector<std::uint8_t> file;
    std::string error;
    EXPECT_TRUE(encodeStretchedPng({pixels.data(), {pixels.size() / bytesPerPixel, 1, bytesPerPixel}}, 12, file, error))
        << error;
    return file;
}

TEST(StretchedPngTest, TwelveBitsFillTheFileAndAreNamedInIt) {
    const auto file = encoded({0x00, 0x00, 0x34, 0x02, 0xFF, 0x0F}, 2);
    frames::Picture picture;
    std::string error;
    ASSERT_TRUE(decodePicture(file, {}, picture, error)) << error;
    EXPECT_THAT(picture.samples, ElementsAre(0, 0x2342, 0xFFFF));
    EXPECT_THAT(std::vector(file.begin() + 33, file.begin() + 42), ElementsAre(0, 0, 0, 1, 's', 'B', 'I', 'T', 12));
}

TEST(StretchedPngTest, OtherDepthsStayAsTheyAre) {
    const std::vector<std::uint8_t> pixels{1, 2, 3, 255};
    std::vector<std::uint8_t> plain;
    std::string error;
    ASSERT_TRUE(frames::encodePng({pixels.data(), {4, 1, 1}}, plain, error)) << error;
    EXPECT_EQ(encoded(pixels, 1), plain);
}

TEST(StretchedPngTest, AnImageWithoutPixelsIsRefused) {
    std::vector<std::uint8_t> file;
    std::string error;
    EXPECT_FALSE(encodeStretchedPng({nullptr, {4, 1, 2}}, 12, file, error));
    EXPECT_NE(error, "");
}

}  // namespace
