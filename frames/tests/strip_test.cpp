#include "strip.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "crc32.h"
#include "print_format.h"

namespace {

using frames::Canvas;
using frames::crcOutsideStrip;
using frames::ImageFormat;
using frames::readStrip;
using frames::stampStrip;
using frames::Strip;
using frames::stripLines;

struct Picture {
    explicit Picture(const ImageFormat& imageFormat, std::uint8_t level = 100)
        : format(imageFormat), bytes(imageFormat.bytes(), level) {}
    Canvas canvas() { return {bytes.data(), format}; }
    bool cell(std::size_t index) {
        const std::size_t columns = format.lineBytes() / 8;
        return canvas().line(index / columns * 8 + 3)[index % columns * 8 + 3] == 255;
    }
    void invertCell(std::size_t index) {
        const std::size_t columns = format.lineBytes() / 8;
        for (std::size_t line = 0; line < 8; ++line) {
            std::uint8_t* bytesOfCell = canvas().line(index / columns * 8 + line) + index % columns * 8;
            for (std::size_t byte = 0; byte < 8; ++byte)
                bytesOfCell[byte] = static_cast<std::uint8_t>(~bytesOfCell[byte]);
        }
    }

    ImageFormat format;
    std::vector<std::uint8_t> bytes;
};

constexpr Strip kStrip{frames::kStripReplayed, 0x0123456789ABCDEFu, 0xFEDCBA9876543210u, 0xDEADBEEFu};

class StripFormatTest : public testing::TestWithParam<ImageFormat> {};

TEST_P(StripFormatTest, EveryFieldComesBackFromTheImage) {
    Picture picture(GetParam());
    stampStrip(picture.canvas(), kStrip);
    EXPECT_EQ(readStrip(picture.canvas()), kStrip);
}

TEST_P(StripFormatTest, StampingTouchesNothingBelowTheStrip) {
    Picture picture(GetParam());
    stampStrip(picture.canvas(), kStrip);
    const auto below =
        picture.bytes.begin() + static_cast<std::ptrdiff_t>(stripLines(GetParam()) * GetParam().lineBytes());
    EXPECT_EQ(std::count(below, picture.bytes.end(), 100), picture.bytes.end() - below);
}

TEST_P(StripFormatTest, StripLinesHoldNothingButBlackAndWhite) {
    Picture picture(GetParam());
    stampStrip(picture.canvas(), kStrip);
    const auto end =
        picture.bytes.begin() + static_cast<std::ptrdiff_t>(stripLines(GetParam()) * GetParam().lineBytes());
    EXPECT_TRUE(std::all_of(picture.bytes.begin(), end, [](std::uint8_t byte) { return byte == 0 || byte == 255; }));
}

INSTANTIATE_TEST_SUITE_P(Formats, StripFormatTest,
                         testing::Values(ImageFormat{1280, 1024, 1}, ImageFormat{1280, 1024, 2},
                                         ImageFormat{640, 480, 3}, ImageFormat{640, 480, 4}, ImageFormat{320, 240, 1},
                                         ImageFormat{256, 57, 1}, ImageFormat{257, 57, 1}, ImageFormat{86, 60, 3},
                                         ImageFormat{64, 60, 4}, ImageFormat{900, 17, 1}, ImageFormat{2000, 17, 1},
                                         ImageFormat{300, 100, 7}));

TEST(StripTest, TakesSixteenLinesOfWideImagesAndMoreOfNarrowOnes) {
    EXPECT_EQ(stripLines({1280, 1024, 1}), 16u);
    EXPECT_EQ(stripLines({896, 1024, 1}), 16u);
    EXPECT_EQ(stripLines({895, 1024, 1}), 24u);
    EXPECT_EQ(stripLines({640, 480, 1}), 24u);
    EXPECT_EQ(stripLines({640, 480, 2}), 16u);
    EXPECT_EQ(stripLines({320, 240, 1}), 48u);
    EXPECT_EQ(stripLines({256, 240, 1}), 56u);
    EXPECT_EQ(stripLines({4000, 3000, 1}), 16u);
}

TEST(StripTest, SmallImagesCarryNoneOfTheLargeCells) {
    constexpr frames::StripWish kLarge{frames::StripForm::cells8, frames::StripPlace::top};
    EXPECT_EQ(stripLines({255, 1024, 1}, kLarge), 0u);
    EXPECT_EQ(stripLines({127, 1024, 2}, kLarge), 0u);
    EXPECT_EQ(stripLines({128, 1024, 2}, kLarge), 56u);
    EXPECT_EQ(stripLines({1280, 16, 1}, kLarge), 0u);
    EXPECT_EQ(stripLines({1280, 17, 1}, kLarge), 16u);
    EXPECT_EQ(stripLines({256, 56, 1}, kLarge), 0u);
    EXPECT_EQ(stripLines({0, 0, 1}, kLarge), 0u);
}

TEST(StripTest, StampingAnImageThatCarriesNoneLeavesItAsItIs) {
    Picture picture({127, 100, 1});
    stampStrip(picture.canvas(), kStrip);
    EXPECT_EQ(std::count(picture.bytes.begin(), picture.bytes.end(), 100), 12700);
    EXPECT_EQ(readStrip(picture.canvas()), std::nullopt);
}

TEST(StripTest, CellsCarryTheFieldsInOrderWithTheMostSignificantBitFirst) {
    Picture picture({1280, 1024, 1});
    stampStrip(picture.canvas(), kStrip);
    std::vector<std::uint8_t> bytes(28);
    for (std::size_t cell = 0; cell < 224; ++cell)
        bytes[cell / 8] = static_cast<std::uint8_t>(bytes[cell / 8] << 1 | (picture.cell(cell) ? 1 : 0));
    std::vector<std::uint8_t> expected{0xD0, 0xC5, 1,    1,    0x01, 0x23, 0x45, 0x67, 0x89, 0xAB,
                                       0xCD, 0xEF, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    const std::uint32_t crc = frames::crc32(expected.data(), expected.size());
    for (int shift = 24; shift >= 0; shift -= 8) expected.push_back(static_cast<std::uint8_t>(crc >> shift));
    expected.insert(expected.end(), {0xDE, 0xAD, 0xBE, 0xEF});
    EXPECT_EQ(bytes, expected);
}

TEST(StripTest, AnyWrongCellBeforeTheImageCrcMakesItUnreadable) {
    for (std::size_t cell = 0; cell < 192; ++cell) {
        Picture picture({1280, 1024, 1});
        stampStrip(picture.canvas(), kStrip);
        picture.invertCell(cell);
        ASSERT_EQ(readStrip(picture.canvas()), std::nullopt) << cell;
    }
}

TEST(StripTest, IsReadThroughNoiseInItsCells) {
    Picture picture({1280, 1024, 1});
    stampStrip(picture.canvas(), kStrip);
    for (std::size_t byte = 0; byte < 16 * 1280; byte += 3) picture.bytes[byte] = 128;
    EXPECT_EQ(readStrip(picture.canvas()), kStrip);
}

// An image whose fields are all correct except for the version.
TEST(StripTest, AnotherVersionIsNotRead) {
    Picture picture({1280, 1024, 1});
    stampStrip(picture.canvas(), kStrip);
    std::vector<std::uint8_t> fields{0xD0, 0xC5, 2,    1,    0x01, 0x23, 0x45, 0x67, 0x89, 0xAB,
                                     0xCD, 0xEF, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    picture.invertCell(22);
    picture.invertCell(23);
    const std::uint32_t crc = frames::crc32(fields.data(), fields.size());
    for (std::size_t bit = 0; bit < 32; ++bit) {
        if (picture.cell(160 + bit) != ((crc >> (31 - bit) & 1) != 0)) picture.invertCell(160 + bit);
    }
    EXPECT_EQ(readStrip(picture.canvas()), std::nullopt);
    fields[2] = 1;  // the same steps with the right version are readable
    const std::uint32_t rightCrc = frames::crc32(fields.data(), fields.size());
    picture.invertCell(22);
    picture.invertCell(23);
    for (std::size_t bit = 0; bit < 32; ++bit) {
        if (picture.cell(160 + bit) != ((rightCrc >> (31 - bit) & 1) != 0)) picture.invertCell(160 + bit);
    }
    EXPECT_EQ(readStrip(picture.canvas()), kStrip);
}

TEST(StripTest, CrcBelowStripCoversEveryByteBelowAndNoneWithin) {
    Picture picture({900, 40, 1});
    const std::uint32_t before = crcOutsideStrip(picture.canvas());
    picture.bytes[16 * 900 - 1] = 7;
    EXPECT_EQ(crcOutsideStrip(picture.canvas()), before);
    picture.bytes[16 * 900] = 7;
    EXPECT_NE(crcOutsideStrip(picture.canvas()), before);
    picture.bytes[16 * 900] = 100;
    picture.bytes.back() = 7;
    EXPECT_NE(crcOutsideStrip(picture.canvas()), before);
}

TEST(StripTest, CrcOfAnImageWithoutStripCoversAll) {
    Picture picture({100, 40, 1});
    EXPECT_EQ(crcOutsideStrip(picture.canvas()), frames::crc32(picture.bytes.data(), 4000));
}

}  // namespace
