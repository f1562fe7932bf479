// The truth of the measuring targets, measured from their pixels alone.
#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <string>

#include <gtest/gtest.h>

#include "pattern.h"
#include "strip.h"

namespace {

using frames::findPattern;
using frames::ImageFormat;
using frames::Motion;
using frames::PatternSettings;
using frames::PixelWriter;

/// One image, as shares of bright: 0 dark … 1 bright.
struct Seen {
    ImageFormat format;
    std::size_t top;  // first line below the strip
    std::vector<double> shares;
    std::map<std::string, double> truth;

    double at(std::size_t x, std::size_t y) const { return shares[y * format.width + x]; }

    /// Position of an edge in one line, dark on its left, among pixels first … end - 1.
    double edge(std::size_t y, std::size_t first, std::size_t end) const {
        double bright = 0;
        for (std::size_t x = first; x < end; ++x) bright += at(x, y);
        return static_cast<double>(end) - 0.5 - bright;
    }
};

struct Case {
    std::size_t bytesPerPixel;
    unsigned bits;
    Motion motion;
    std::uint64_t frame;
};

void PrintTo(const Case& tested, std::ostream* stream) {
    *stream << tested.bytesPerPixel << " bytes, " << tested.bits << " bits, motion "
            << static_cast<int>(tested.motion.kind) << ", frame " << tested.frame;
}

class MeasuringTargetTest : public testing::TestWithParam<Case> {
protected:
    Seen see(const char* name, std::size_t width = 640, std::size_t height = 480) {
        const ImageFormat format{width, height, GetParam().bytesPerPixel};
        PatternSettings settings;
        settings.bits = GetParam().bits;
        settings.motion = GetParam().motion;
        const auto pattern = makePattern(*findPattern(name), format, settings);
        std::vector<std::uint8_t> bytes(format.bytes());
        const std::uint32_t crc = pattern->draw(bytes.data(), GetParam().frame, std::nullopt);
        EXPECT_EQ(crc, frames::crcOutsideStrip({bytes.data(), format}));
        Seen seen{format, stripLines(format), std::vector<double>(width * height), {}};
        const PixelWriter writer(format.bytesPerPixel, settings.bits);
        const frames::TargetGreys greys = targetGreys(writer);
        for (std::size_t pixel = seen.top * width; pixel < width * height; ++pixel) {
            const double grey = writer.grey(&bytes[pixel * format.bytesPerPixel]);
            seen.shares[pixel] = (grey - greys.dark) / (greys.bright - greys.dark);
        }
        for (const auto& [key, value] : pattern->truth(GetParam().frame)) seen.truth[key] = value;
        return seen;
    }
    /// The place before the motion, according to the truth: the middle of the lines below the strip.
    static double restX(const Seen& seen) { return static_cast<double>(seen.format.width - 1) / 2; }
};

TEST_P(MeasuringTargetTest, PlaceFollowsTheMotionExactly) {
    for (const char* name : {"edge", "slanted-edge", "circle", "dot-grid", "checkerboard"}) {
        const Seen seen = see(name);
        EXPECT_EQ(seen.truth.at("x_px"), restX(seen) + GetParam().motion.offset(GetParam().frame)) << name;
    }
}

TEST_P(MeasuringTargetTest, EdgeStandsWhereItsGreysSay) {
    const Seen seen = see("edge");
    for (std::size_t y = seen.top; y < seen.format.height; ++y)
        ASSERT_NEAR(seen.edge(y, 0, seen.format.width), seen.truth.at("x_px"), 0.005) << y;
    EXPECT_EQ(seen.truth.at("angle_deg"), 0.0);
}

TEST_P(MeasuringTargetTest, SlantedEdgeStandsWhereItsGreysSayInEveryLine) {
    const Seen seen = see("slanted-edge");
    const double lean = std::tan(seen.truth.at("angle_deg") * std::numbers::pi / 180);
    EXPECT_NEAR(lean, 1.0 / 11, 1e-12);
    for (std::size_t y = seen.top; y < seen.format.height; ++y) {
        const double place = seen.truth.at("x_px") + lean * (static_cast<double>(y) - seen.truth.at("y_px"));
        // Up to three grey pixels, each rounded by half a grey of 192.
        ASSERT_NEAR(seen.edge(y, 0, seen.format.width), place, 0.008) << y;
    }
    double sum = 0;
    for (std::size_t y = seen.top; y < seen.format.height; ++y) {
        const double down = static_cast<double>(y) - seen.truth.at("y_px");
        sum += seen.edge(y, 0, seen.format.width) - lean * down;
    }
    EXPECT_NEAR(sum / static_cast<double>(seen.format.height - seen.top), seen.truth.at("x_px"), 0.001);
}

TEST_P(MeasuringTargetTest, CircleStandsWhereItsCentroidSaysAndHasItsArea) {
    const Seen seen = see("circle");
    double area = 0;
    double x = 0;
    double y = 0;
    for (std::size_t line = seen.top; line < seen.format.height; ++line) {
        for (std::size_t column = 0; column < seen.format.width; ++column) {
            area += seen.at(column, line);
            x += seen.at(column, line) * static_cast<double>(column);
            y += seen.at(column, line) * static_cast<double>(line);
        }
    }
    EXPECT_NEAR(x / area, seen.truth.at("x_px"), 0.01);
    EXPECT_NEAR(y / area, seen.truth.at("y_px"), 0.01);
    EXPECT_NEAR(std::sqrt(area / std::numbers::pi), seen.truth.at("radius_px"), 0.01);
}

TEST_P(MeasuringTargetTest, DotsStandOnTheirGrid) {
    const Seen seen = see("dot-grid");
    const double pitch = seen.truth.at("pitch_px");
    // The dot at the truth and its neighbours, each weighed within its own square.
    for (int row = -2; row <= 2; ++row) {
        for (int column = -2; column <= 2; ++column) {
            const double centreX = seen.truth.at("x_px") + column * pitch;
            const double centreY = seen.truth.at("y_px") + row * pitch;
            double area = 0;
            double x = 0;
            double y = 0;
            for (auto line = static_cast<std::size_t>(centreY - 30); line <= static_cast<std::size_t>(centreY + 30);
                 ++line) {
                for (auto at = static_cast<std::size_t>(centreX - 30); at <= static_cast<std::size_t>(centreX + 30);
                     ++at) {
                    area += seen.at(at, line);
                    x += seen.at(at, line) * static_cast<double>(at);
                    y += seen.at(at, line) * static_cast<double>(line);
                }
            }
            ASSERT_NEAR(x / area, centreX, 0.01) << column << ", " << row;
            ASSERT_NEAR(y / area, centreY, 0.01) << column << ", " << row;
            ASSERT_NEAR(std::sqrt(area / std::numbers::pi), seen.truth.at("radius_px"), 0.01);
        }
    }
}

TEST_P(MeasuringTargetTest, SquaresMeetInTheCorner) {
    const Seen seen = see("checkerboard");
    const double x = seen.truth.at("x_px");
    const double y = seen.truth.at("y_px");
    const auto column = static_cast<std::size_t>(std::lround(x));
    const auto below = static_cast<std::size_t>(std::lround(y + 0.5));
    const std::size_t first = column - 32;
    const std::size_t end = column + 32;
    // Above the corner, dark is on the left; below it, on the right.
    EXPECT_NEAR(seen.edge(below - 1, first, end), x, 0.005);
    const double mirrored =
        static_cast<double>(first) - 0.5 + (static_cast<double>(end) - 0.5 - seen.edge(below, first, end));
    EXPECT_NEAR(mirrored, x, 0.005);
    EXPECT_NEAR(seen.edge(below + 64, first, end), x, 0.005) << "a square further down";
    EXPECT_NEAR(seen.edge(below - 64 - 1, first + 64, end + 64), x + 64, 0.005) << "a square to the upper right";
}

TEST_P(MeasuringTargetTest, TargetsAreCutWhereTheImageEnds) {
    for (const char* name : {"edge", "slanted-edge", "circle", "dot-grid", "checkerboard"}) {
        const Seen seen = see(name, 24, 40);
        for (const double share : seen.shares) ASSERT_TRUE(share >= 0.0 && share <= 1.0) << name << ' ' << share;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MeasuringTargetTest,
    testing::Values(Case{1, 16, {}, 0}, Case{2, 16, {}, 3}, Case{3, 16, {Motion::Kind::sine, 8.0, 100}, 13},
                    Case{4, 16, {Motion::Kind::linear, 0.37, 100}, 1},
                    Case{1, 16, {Motion::Kind::linear, 0.37, 100}, 98}, Case{2, 10, {Motion::Kind::step, 0.25, 10}, 7},
                    Case{2, 12, {Motion::Kind::sine, 33.3, 17}, 12}, Case{1, 16, {Motion::Kind::sine, 0.01, 100}, 25},
                    Case{5, 16, {Motion::Kind::step, -11.7, 4}, 2}));

}  // namespace
