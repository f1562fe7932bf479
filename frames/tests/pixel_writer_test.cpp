#include "pixel_writer.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_view.h"

namespace {

using frames::Colour;
using frames::fillPixels;
using frames::PixelWriter;
using testing::Each;
using testing::ElementsAre;

std::vector<std::uint8_t> bytesOf(const PixelWriter& writer, double brightness) {
    std::vector<std::uint8_t> bytes(writer.bytesPerPixel() + 1, 77);
    writer.put(bytes.data(), brightness);
    EXPECT_EQ(bytes.back(), 77) << "written behind the pixel";
    bytes.pop_back();
    return bytes;
}

TEST(PixelWriterTest, OneByteIsGreyRoundedToTheNearest) {
    const PixelWriter writer(1);
    EXPECT_THAT(bytesOf(writer, 0.0), ElementsAre(0));
    EXPECT_THAT(bytesOf(writer, 1.0), ElementsAre(255));
    EXPECT_THAT(bytesOf(writer, 99.4 / 255), ElementsAre(99));
    EXPECT_THAT(bytesOf(writer, 99.6 / 255), ElementsAre(100));
    EXPECT_EQ(writer.whiteGrey(), 255u);
}

TEST(PixelWriterTest, BrightnessBeyondBlackAndWhiteIsCut) {
    EXPECT_THAT(bytesOf(PixelWriter(1), -0.5), ElementsAre(0));
    EXPECT_THAT(bytesOf(PixelWriter(1), 1.5), ElementsAre(255));
    EXPECT_THAT(bytesOf(PixelWriter(2), 1.5), ElementsAre(255, 255));
}

TEST(PixelWriterTest, TwoBytesAreLittleEndianGreyOfTheFullRange) {
    const PixelWriter writer(2);
    EXPECT_THAT(bytesOf(writer, 0.0), ElementsAre(0, 0));
    EXPECT_THAT(bytesOf(writer, 1.0), ElementsAre(0xFF, 0xFF));
    EXPECT_THAT(bytesOf(writer, 0x1234 / 65535.0), ElementsAre(0x34, 0x12));
    EXPECT_EQ(writer.whiteGrey(), 65535u);
}

TEST(PixelWriterTest, FewerBitsStandInTheLowBits) {
    EXPECT_THAT(bytesOf(PixelWriter(2, 10), 1.0), ElementsAre(0xFF, 0x03));
    EXPECT_THAT(bytesOf(PixelWriter(2, 12), 1.0), ElementsAre(0xFF, 0x0F));
    EXPECT_THAT(bytesOf(PixelWriter(2, 12), 0x123 / 4095.0), ElementsAre(0x23, 0x01));
    EXPECT_EQ(PixelWriter(2, 10).whiteGrey(), 1023u);
    EXPECT_EQ(PixelWriter(2, 12).whiteGrey(), 4095u);
}

TEST(PixelWriterTest, BitsCountForTwoBytesOnly) {
    EXPECT_THAT(bytesOf(PixelWriter(1, 10), 1.0), ElementsAre(255));
    EXPECT_THAT(bytesOf(PixelWriter(3, 12), 1.0), ElementsAre(255, 255, 255));
}

TEST(PixelWriterTest, FourthByteOfFourIsOpacity) {
    EXPECT_THAT(bytesOf(PixelWriter(3), 0.2), ElementsAre(51, 51, 51));
    EXPECT_THAT(bytesOf(PixelWriter(4), 0.2), ElementsAre(51, 51, 51, 255));
}

TEST(PixelWriterTest, EveryByteOfDeeperPixelsIsTheGrey) {
    EXPECT_THAT(bytesOf(PixelWriter(5), 0.2), ElementsAre(51, 51, 51, 51, 51));
    EXPECT_THAT(bytesOf(PixelWriter(16), 0.2), Each(51));
}

TEST(PixelWriterTest, ColoursStandInTheOrderOfPng) {
    const Colour orange{1.0, 0.4, 0.2};
    std::vector<std::uint8_t> bytes(4);
    PixelWriter(3).put(bytes.data(), orange);
    EXPECT_THAT(bytes, ElementsAre(255, 102, 51, 0));
    PixelWriter(4).put(bytes.data(), orange);
    EXPECT_THAT(bytes, ElementsAre(255, 102, 51, 255));
}

TEST(PixelWriterTest, ColourWithoutAPlaceBecomesItsBrightness) {
    const Colour green{0.0, 1.0, 0.0};
    std::vector<std::uint8_t> bytes(1);
    PixelWriter(1).put(bytes.data(), green);
    EXPECT_THAT(bytes, ElementsAre(150));  // 0.587 * 255
}

TEST(PixelWriterTest, GreyIsReadBack) {
    for (const std::size_t depth : {1u, 2u, 3u, 4u, 7u}) {
        const PixelWriter writer(depth, 12);
        EXPECT_EQ(writer.grey(bytesOf(writer, 1.0).data()), writer.whiteGrey()) << depth;
        EXPECT_EQ(writer.grey(bytesOf(writer, 0.0).data()), 0u) << depth;
    }
}

TEST(FillPixelsTest, FewerBitsOfTwoByteCanvasesStandInTheLowBits) {
    std::vector<std::uint8_t> bytes(8, 77);
    const frames::Canvas canvas{bytes.data(), {4, 1, 2}, 10};
    fillPixels(canvas, 1, 0, 2, 255);
    EXPECT_THAT(bytes, ElementsAre(77, 77, 0xFF, 0x03, 0xFF, 0x03, 77, 77));
    fillPixels(canvas, 3, 0, 9, 0);
    EXPECT_THAT(bytes, ElementsAre(77, 77, 0xFF, 0x03, 0xFF, 0x03, 0, 0));
}

TEST(FillPixelsTest, SixteenBitsAreTheGreyInBothBytes) {
    std::vector<std::uint8_t> bytes(4, 77);
    fillPixels({bytes.data(), {2, 1, 2}}, 0, 0, 2, 0x12);
    EXPECT_THAT(bytes, ElementsAre(0x12, 0x12, 0x12, 0x12));
}

}  // namespace
