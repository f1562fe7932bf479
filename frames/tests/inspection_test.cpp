#include "inspection.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

using frames::Canvas;
using frames::crcOutsideStrip;
using frames::ImageFormat;
using frames::ImageKind;
using frames::inspectImage;
using frames::stampStrip;

constexpr ImageFormat kFormat{1280, 64, 1};

std::vector<std::uint8_t> stamped(std::uint8_t level, std::uint64_t number, const ImageFormat& format = kFormat) {
    std::vector<std::uint8_t> bytes(format.bytes(), level);
    const Canvas canvas{bytes.data(), format};
    stampStrip(canvas, {frames::kStripRendered, number, 5000, crcOutsideStrip(canvas)});
    return bytes;
}

ImageKind kindOf(const std::vector<std::uint8_t>& bytes, const ImageFormat& format = kFormat) {
    return inspectImage({bytes.data(), format}).kind;
}

TEST(InspectionTest, WholeImageWithStripIsSimulated) {
    const auto bytes = stamped(50, 42);
    const auto inspection = inspectImage({bytes.data(), kFormat});
    EXPECT_EQ(inspection.kind, ImageKind::simulated);
    ASSERT_TRUE(inspection.strip);
    EXPECT_EQ(inspection.strip->frameNumber, 42u);
    EXPECT_EQ(inspection.strip->timeStampNs, 5000u);
}

TEST(InspectionTest, ImageWhoseLowerHalfIsAnotherImagesIsTornAndKeepsItsNumber) {
    auto bytes = stamped(50, 42);
    const auto other = stamped(51, 43);
    std::copy(other.begin() + 32 * 1280, other.end(), bytes.begin() + 32 * 1280);
    const auto inspection = inspectImage({bytes.data(), kFormat});
    EXPECT_EQ(inspection.kind, ImageKind::torn);
    ASSERT_TRUE(inspection.strip);
    EXPECT_EQ(inspection.strip->frameNumber, 42u);
}

TEST(InspectionTest, OneWrongBitAnywhereBelowTheStripIsTorn) {
    for (const std::size_t position :
         {std::size_t{16 * 1280}, std::size_t{40 * 1280 + 7}, std::size_t{64 * 1280 - 1}}) {
        auto bytes = stamped(50, 42);
        bytes[position] ^= 1;
        EXPECT_EQ(kindOf(bytes), ImageKind::torn) << position;
    }
}

frames::Unverified reasonOf(const std::vector<std::uint8_t>& bytes, const ImageFormat& format) {
    const auto inspection = inspectImage({bytes.data(), format});
    EXPECT_EQ(inspection.kind, ImageKind::unverified);
    return inspection.unverified;
}

TEST(InspectionTest, UnverifiedImageHasItsReason) {
    using frames::Unverified;
    EXPECT_EQ(inspectImage({nullptr, kFormat}).unverified, Unverified::withoutPixels);
    EXPECT_EQ(reasonOf(std::vector<std::uint8_t>(64 * 1280, 50), kFormat), Unverified::withoutStrip);
    EXPECT_EQ(reasonOf(std::vector<std::uint8_t>(100 * 100, 50), {100, 100, 1}), Unverified::tooSmall);
    auto damaged = stamped(50, 42);
    for (auto line = damaged.begin(); line != damaged.begin() + 8 * 1280; line += 1280)
        std::fill(line + 8 * 30, line + 8 * 40, std::uint8_t{255});
    EXPECT_EQ(reasonOf(damaged, kFormat), Unverified::damagedStrip);
}

TEST(InspectionTest, ImageMadeForLinesOfAnotherLengthIsToldAsOne) {
    for (const std::size_t width : {300u, 640u, 900u, 1281u, 1792u, 1920u}) {
        auto bytes = stamped(50, 42, {width, 1000, 1});
        EXPECT_EQ(reasonOf(bytes, kFormat), frames::Unverified::otherLines) << width;
    }
}

TEST(InspectionTest, ImageOfNothingButTensIsFaked) {
    EXPECT_EQ(kindOf(std::vector<std::uint8_t>(kFormat.bytes(), 10)), ImageKind::faked);
}

TEST(InspectionTest, FakedIsToldAtEverySizeAndDepth) {
    for (const ImageFormat& format : {ImageFormat{1, 1, 1}, ImageFormat{1, 1, 2}, ImageFormat{100, 3, 3}}) {
        std::vector<std::uint8_t> bytes(format.bytes(), 10);
        EXPECT_EQ(kindOf(bytes, format), ImageKind::faked);
        bytes.back() = 11;
        EXPECT_EQ(kindOf(bytes, format), ImageKind::unverified);
    }
}

TEST(InspectionTest, OneOtherByteMakesAFakedImageUnverified) {
    for (const std::size_t position : {std::size_t{0}, kFormat.bytes() / 2, kFormat.bytes() - 1}) {
        std::vector<std::uint8_t> bytes(kFormat.bytes(), 10);
        bytes[position] = 9;
        EXPECT_EQ(kindOf(bytes), ImageKind::unverified) << position;
    }
}

TEST(InspectionTest, UniformImageOfAnotherGreyIsUnverified) {
    EXPECT_EQ(kindOf(std::vector<std::uint8_t>(kFormat.bytes(), 11)), ImageKind::unverified);
}

TEST(InspectionTest, DamagedStripMakesAnImageUnverifiedAndGivesNoNumber) {
    auto bytes = stamped(50, 42);
    std::fill_n(bytes.begin(), 8 * 1280, std::uint8_t{0});
    const auto inspection = inspectImage({bytes.data(), kFormat});
    EXPECT_EQ(inspection.kind, ImageKind::unverified);
    EXPECT_FALSE(inspection.strip);
}

TEST(InspectionTest, StripOverABodyOfTensIsSimulatedNotFaked) {
    EXPECT_EQ(kindOf(stamped(10, 1)), ImageKind::simulated);
}

TEST(InspectionTest, ImageWithoutPixelsIsUnverified) {
    EXPECT_EQ(inspectImage({nullptr, kFormat}).kind, ImageKind::unverified);
    const std::uint8_t byte = 10;
    EXPECT_EQ(inspectImage({&byte, {0, 0, 1}}).kind, ImageKind::unverified);
}

TEST(InspectionTest, KindsHaveNames) {
    EXPECT_STREQ(frames::imageKindName(ImageKind::simulated), "simulated");
    EXPECT_STREQ(frames::imageKindName(ImageKind::torn), "torn");
    EXPECT_STREQ(frames::imageKindName(ImageKind::faked), "faked");
    EXPECT_STREQ(frames::imageKindName(ImageKind::unverified), "unverified");
}

}  // namespace
