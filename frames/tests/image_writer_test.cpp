#include "image_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_file.h"

namespace {

using frames::encodeImage;
using frames::ImageFileFormat;
using testing::ElementsAre;
using testing::ElementsAreArray;

const std::vector<std::uint8_t> kPixels{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

frames::ImageView view(std::size_t bytesPerPixel) {
    return {kPixels.data(), {2, kPixels.size() / 2 / bytesPerPixel, bytesPerPixel}};
}

std::string text(const std::vector<std::uint8_t>& bytes, std::size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

class ImageWriterTest : public testing::Test {
protected:
    std::vector<std::uint8_t> encoded(std::size_t bytesPerPixel, ImageFileFormat format) {
        std::vector<std::uint8_t> file;
        EXPECT_TRUE(encodeImage(view(bytesPerPixel), format, file, _error)) << _error;
        return file;
    }

    std::string _error;
};

TEST_F(ImageWriterTest, NamesOfTheFormatsAreTheirEndings) {
    for (const auto format : {ImageFileFormat::png, ImageFileFormat::pgm, ImageFileFormat::raw})
        EXPECT_EQ(frames::imageFileFormatOf(frames::imageFileFormatName(format)), format);
    EXPECT_EQ(frames::imageFileFormatOf("PNG"), std::nullopt);
    EXPECT_EQ(frames::imageFileFormatOf(""), std::nullopt);
}

TEST_F(ImageWriterTest, PgmOfOneBytePerPixelIsHeaderAndPixels) {
    const auto file = encoded(1, ImageFileFormat::pgm);
    EXPECT_EQ(text(file, 11), "P5\n2 6\n255\n");
    EXPECT_THAT(std::vector<std::uint8_t>(file.begin() + 11, file.end()), ElementsAreArray(kPixels));
}

TEST_F(ImageWriterTest, PgmOfTwoBytesPerPixelHasTheUpperByteFirst) {
    const auto file = encoded(2, ImageFileFormat::pgm);
    EXPECT_EQ(text(file, 13), "P5\n2 3\n65535\n");
    EXPECT_THAT(std::vector<std::uint8_t>(file.begin() + 13, file.end()),
                ElementsAre(2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 12, 11));
}

TEST_F(ImageWriterTest, PgmHasNoFormForOtherDepths) {
    std::vector<std::uint8_t> file{42};
    for (const std::size_t depth : {3u, 6u}) {
        EXPECT_FALSE(encodeImage(view(depth), ImageFileFormat::pgm, file, _error));
        EXPECT_EQ(_error, "PGM has no form for " + std::to_string(depth) + " bytes per pixel");
    }
    EXPECT_THAT(file, ElementsAre(42));
}

TEST_F(ImageWriterTest, RawIsThePixelsOfAnyDepth) {
    for (const std::size_t depth : {1u, 2u, 3u, 6u})
        EXPECT_THAT(encoded(depth, ImageFileFormat::raw), ElementsAreArray(kPixels));
}

TEST_F(ImageWriterTest, PngIsThatOfThePngWriter) {
    std::vector<std::uint8_t> expected;
    ASSERT_TRUE(frames::encodePng(view(2), expected, _error));
    EXPECT_EQ(encoded(2, ImageFileFormat::png), expected);
}

TEST_F(ImageWriterTest, ImageWithoutPixelsIsRefusedInEveryFormat) {
    std::vector<std::uint8_t> file;
    for (const auto format : {ImageFileFormat::png, ImageFileFormat::pgm, ImageFileFormat::raw}) {
        EXPECT_FALSE(encodeImage({nullptr, {2, 2, 1}}, format, file, _error));
        EXPECT_FALSE(encodeImage({kPixels.data(), {0, 2, 1}}, format, file, _error));
        EXPECT_THAT(_error, testing::HasSubstr("cannot be saved"));
    }
}

}  // namespace
