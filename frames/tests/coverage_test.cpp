#include "coverage.h"

#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "motion.h"

namespace {

using frames::discArea;
using frames::discCoverage;
using frames::halfPlaneCoverage;
using frames::Motion;
using frames::stripeCoverage;

constexpr int kSamples = 400;

/// Share of a grid of points within pixel (x, y) for which inside(x, y) is true: the formulas are compared with this.
template <typename Inside>
double sampled(double x, double y, Inside inside) {
    int hits = 0;
    for (int row = 0; row < kSamples; ++row) {
        for (int column = 0; column < kSamples; ++column)
            hits += inside(x - 0.5 + (column + 0.5) / kSamples, y - 0.5 + (row + 0.5) / kSamples) ? 1 : 0;
    }
    return hits / static_cast<double>(kSamples * kSamples);
}

TEST(DiscCoverageTest, AgreesWithCountedPointsInEveryPixel) {
    for (const double radius : {0.3, 0.5, 1.0, 2.7}) {
        for (double y = -3.75; y <= 4; y += 1.25) {
            for (double x = -3.9; x <= 4; x += 0.65) {
                const double counted =
                    sampled(x, y, [&](double px, double py) { return px * px + py * py < radius * radius; });
                ASSERT_NEAR(discCoverage(radius, x, y), counted, 1e-3) << radius << ": " << x << ", " << y;
            }
        }
    }
}

TEST(DiscCoverageTest, AllPixelsTogetherAreTheAreaOfTheDisc) {
    for (const double radius : {0.2, 1.0, 16.0, 168.25}) {
        double sum = 0;
        const int reach = static_cast<int>(radius) + 2;
        for (int y = -reach; y <= reach; ++y) {
            for (int x = -reach; x <= reach; ++x) sum += discCoverage(radius, x + 0.31, y - 0.17);
        }
        EXPECT_NEAR(sum, std::numbers::pi * radius * radius, 1e-8 * radius * radius);
    }
}

TEST(DiscCoverageTest, RectangleAroundTheDiscHoldsAllOfIt) {
    EXPECT_NEAR(discArea(3, -5, -4, 6, 7), std::numbers::pi * 9, 1e-12);
    EXPECT_NEAR(discArea(3, 0, -4, 6, 7), std::numbers::pi * 4.5, 1e-12);
    EXPECT_NEAR(discArea(3, 4, 4, 6, 7), 0, 1e-12);
    EXPECT_NEAR(discArea(3, -1, -1, 1, 1), 4, 1e-12);
}

TEST(HalfPlaneCoverageTest, AgreesWithCountedPointsForEveryAngleAndDistance) {
    for (int degrees = 0; degrees < 360; degrees += 15) {
        const double angle = degrees * std::numbers::pi / 180;
        const double nx = std::cos(angle);
        const double ny = std::sin(angle);
        for (double distance = -0.8; distance <= 0.8; distance += 0.1) {
            const double counted = sampled(0, 0, [&](double x, double y) { return nx * x + ny * y > distance; });
            ASSERT_NEAR(halfPlaneCoverage(nx, ny, distance), counted, 4e-3) << degrees << ", " << distance;
        }
    }
}

TEST(HalfPlaneCoverageTest, StraightAndNearlyStraightLinesAreTheSame) {
    for (double distance = -0.7; distance <= 0.7; distance += 0.05) {
        const double straight = halfPlaneCoverage(1, 0, distance);
        EXPECT_NEAR(straight, std::min(std::max(0.5 - distance, 0.0), 1.0), 1e-12);
        for (const double lean : {1e-8, 1e-7, 1e-6, 1e-5})
            ASSERT_NEAR(halfPlaneCoverage(1, lean, distance), straight, 1e-5) << lean << ", " << distance;
    }
}

TEST(StripeCoverageTest, AlternatesOnBothSidesOfZero) {
    EXPECT_DOUBLE_EQ(stripeCoverage(4, 2.0), 0.0);
    EXPECT_DOUBLE_EQ(stripeCoverage(4, 5.0), 1.0);
    EXPECT_DOUBLE_EQ(stripeCoverage(4, -2.0), 1.0);
    EXPECT_DOUBLE_EQ(stripeCoverage(4, -6.0), 0.0);
    EXPECT_NEAR(stripeCoverage(4, 4.2), 0.7, 1e-12);
    EXPECT_NEAR(stripeCoverage(4, 0.2), 0.3, 1e-12);
    EXPECT_NEAR(stripeCoverage(4, 8.25), 0.25, 1e-12);
}

TEST(MotionTest, NoneStays) { EXPECT_EQ((Motion{Motion::Kind::none, 5, 10}.offset(7)), 0.0); }

TEST(MotionTest, LinearRunsToTheRightAndBeginsAnew) {
    const Motion motion{Motion::Kind::linear, 0.25, 10};
    EXPECT_DOUBLE_EQ(motion.offset(0), -1.25);
    EXPECT_DOUBLE_EQ(motion.offset(5), 0.0);
    EXPECT_DOUBLE_EQ(motion.offset(9), 1.0);
    EXPECT_DOUBLE_EQ(motion.offset(10), -1.25);
}

TEST(MotionTest, SineReachesItsPixelsToEachSide) {
    const Motion motion{Motion::Kind::sine, 3.0, 8};
    EXPECT_NEAR(motion.offset(0), 0.0, 1e-12);
    EXPECT_NEAR(motion.offset(1), 3.0 * std::numbers::sqrt2 / 2, 1e-12);
    EXPECT_NEAR(motion.offset(2), 3.0, 1e-12);
    EXPECT_NEAR(motion.offset(6), -3.0, 1e-12);
    EXPECT_EQ(motion.offset(std::uint64_t{1} << 60), motion.offset(0)) << "late frames are as exact";
}

TEST(MotionTest, StepStandsForHalfAPeriodEach) {
    const Motion motion{Motion::Kind::step, 0.5, 5};
    const double places[] = {0, 0, 0, 0.5, 0.5, 0, 0};
    for (std::uint64_t frame = 0; frame < 7; ++frame) EXPECT_EQ(motion.offset(frame), places[frame]) << frame;
    const Motion even{Motion::Kind::step, 0.5, 4};
    EXPECT_EQ(even.offset(1), 0.0);
    EXPECT_EQ(even.offset(2), 0.5);
}

}  // namespace
