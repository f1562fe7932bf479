#include "moving_target.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "print_format.h"
#include "strip.h"

namespace {

using frames::crcOutsideStrip;
using frames::ImageFormat;
using frames::MovingTarget;
using frames::stripLines;

class MovingTargetFormatTest : public testing::TestWithParam<ImageFormat> {
protected:
    std::vector<std::uint8_t> whole(std::uint64_t frame) const {
        std::vector<std::uint8_t> bytes(GetParam().bytes(), 99);
        _target.draw(bytes.data(), frame, std::nullopt);
        return bytes;
    }

    MovingTarget _target{GetParam()};
};

TEST_P(MovingTargetFormatTest, DrawingOnlyWhatMovesGivesTheSameAsDrawingEverything) {
    std::vector<std::uint8_t> reused = whole(0);
    std::uint64_t before = 0;
    for (const std::uint64_t frame : {1u, 2u, 9u, 10u, 300u, 299u, 4000u}) {
        _target.draw(reused.data(), frame, before);
        before = frame;
        ASSERT_EQ(reused, whole(frame)) << frame;
    }
}

TEST_P(MovingTargetFormatTest, DrawingAnswersTheCrcBelowTheStrip) {
    std::vector<std::uint8_t> bytes(GetParam().bytes());
    for (const std::uint64_t frame : {0u, 1u, 40u, 300u}) {
        const std::uint32_t crc = _target.draw(bytes.data(), frame, std::nullopt);
        ASSERT_EQ(crc, crcOutsideStrip({bytes.data(), GetParam()})) << frame;
    }
}

TEST_P(MovingTargetFormatTest, NoFrameIsUniformlyTheGreyOfFakedImages) {
    const auto bytes = whole(7);
    const auto body = bytes.begin() + static_cast<std::ptrdiff_t>(stripLines(GetParam()) * GetParam().lineBytes());
    EXPECT_EQ(std::count(body, bytes.end(), 10), 0);
}

TEST_P(MovingTargetFormatTest, StripLinesAreLeftAlone) {
    const auto bytes = whole(7);
    const auto body = bytes.begin() + static_cast<std::ptrdiff_t>(stripLines(GetParam()) * GetParam().lineBytes());
    EXPECT_EQ(std::count(bytes.begin(), body, 99), body - bytes.begin());
}

INSTANTIATE_TEST_SUITE_P(Formats, MovingTargetFormatTest,
                         testing::Values(ImageFormat{1280, 1024, 1}, ImageFormat{640, 480, 2}, ImageFormat{320, 240, 3},
                                         ImageFormat{320, 240, 4}, ImageFormat{1, 1, 1}, ImageFormat{16, 3, 1},
                                         ImageFormat{2, 200, 1}, ImageFormat{500, 17, 1}, ImageFormat{3, 3, 7}));

TEST(MovingTargetTest, NeighbouringFramesDifferBelowTheStrip) {
    const ImageFormat format{640, 480, 1};
    const MovingTarget target(format);
    std::vector<std::uint8_t> first(format.bytes());
    std::vector<std::uint8_t> second(format.bytes());
    for (std::uint64_t frame = 0; frame < 2000; ++frame) {
        target.draw(first.data(), frame, std::nullopt);
        target.draw(second.data(), frame + 1, std::nullopt);
        ASSERT_NE(first, second) << frame;
    }
}

TEST(MovingTargetTest, FewerBitsKeepTheShapeInTheLowBits) {
    const ImageFormat deep{120, 240, 2};
    const ImageFormat flat{120, 240, 1};
    std::vector<std::uint8_t> deepBytes(deep.bytes());
    std::vector<std::uint8_t> flatBytes(flat.bytes());
    MovingTarget(deep, 10, {frames::StripForm::cells8}).draw(deepBytes.data(), 5, std::nullopt);
    MovingTarget(flat, 16, {frames::StripForm::cells8}).draw(flatBytes.data(), 5, std::nullopt);
    const frames::PixelWriter writer(2, 10);
    for (std::size_t pixel = 0; pixel < flatBytes.size(); ++pixel) {
        const double shown = writer.grey(&deepBytes[pixel * 2]) / 1023.0 * 255.0;
        ASSERT_NEAR(shown, flatBytes[pixel], 0.13) << pixel;
    }
}

TEST(MovingTargetTest, DiscMovesBetweenFrames) {
    const ImageFormat format{640, 480, 1};
    const MovingTarget target(format);
    std::vector<std::uint8_t> bytes(format.bytes());
    const auto brightestColumn = [&](std::uint64_t frame) {
        target.draw(bytes.data(), frame, std::nullopt);
        std::vector<int> white(format.width);
        for (std::size_t y = 120; y < format.height; ++y) {
            for (std::size_t x = 0; x < format.width; ++x) white[x] += bytes[y * format.width + x] == 255 ? 1 : 0;
        }
        return std::max_element(white.begin(), white.end()) - white.begin();
    };
    EXPECT_EQ(brightestColumn(60) - brightestColumn(50), 50);
}

}  // namespace
