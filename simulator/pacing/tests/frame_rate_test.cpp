#include "frame_rate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using simulator::Fraction;
using simulator::FrameRate;
using simulator::parseDecimal;
using simulator::parseFrameRate;
using simulator::parseTime;
using simulator::rateText;
using testing::HasSubstr;

std::optional<FrameRate> parse(const char* text) {
    std::string error;
    auto rate = parseFrameRate(text, error);
    EXPECT_EQ(error.empty(), rate.has_value()) << text;
    return rate;
}

std::string problemOf(const char* text) {
    std::string error;
    EXPECT_FALSE(parseFrameRate(text, error)) << text;
    return error;
}

TEST(FrameRateTest, DecimalsAndFractionsAreKeptExactly) {
    EXPECT_EQ(parse("100"), FrameRate(100));
    EXPECT_EQ(parse("59.94"), FrameRate(2997, 50));
    EXPECT_EQ(parse("60000/1001"), FrameRate(60'000, 1001));
    EXPECT_EQ(parse("50/2"), FrameRate(25));
    EXPECT_EQ(parse("0.01"), FrameRate(1, 100));
    EXPECT_EQ(parse("1/100"), FrameRate(1, 100));
    EXPECT_EQ(parse("10000"), FrameRate(10'000));
    EXPECT_EQ(parse("9999.99999"), FrameRate(999'999'999, 100'000));
    EXPECT_EQ(parse(".5"), FrameRate(1, 2));
    EXPECT_EQ(parse("5."), FrameRate(5));
}

TEST(FrameRateTest, WhatIsNoRateInRangeIsRefused) {
    for (const char* text : {"",
                             ".",
                             "fast",
                             "-1",
                             "+1",
                             "1e3",
                             "nan",
                             " 5",
                             "5 ",
                             "1.2.3",
                             "0",
                             "0.0",
                             "0.00999",
                             "1/101",
                             "10000.00001",
                             "10001",
                             "5/0",
                             "/5",
                             "5/",
                             "5/1.5",
                             "1/2/3",
                             "99999999999999999999"})
        EXPECT_THAT(problemOf(text), HasSubstr("is not a number from 0.01 to 10000")) << text;
}

TEST(FrameRateTest, MoreDigitsThanCanBeKeptAreRefusedNotRounded) {
    EXPECT_THAT(problemOf("59.9400599401"), HasSubstr("more digits than can be kept exactly"));
    EXPECT_THAT(problemOf("1000000007/1000000009"), HasSubstr("more digits than can be kept exactly"));
}

TEST(FrameRateTest, IsShownAsAShortDecimalOrAsAFraction) {
    EXPECT_EQ(rateText(100), "100");
    EXPECT_EQ(rateText({2997, 50}), "59.94");
    EXPECT_EQ(rateText({1, 100}), "0.01");
    EXPECT_EQ(rateText({1, 2}), "0.5");
    EXPECT_EQ(rateText({24'001, 1000}), "24.001");
    EXPECT_EQ(rateText({60'000, 1001}), "60000/1001");
    EXPECT_EQ(rateText({1, 3}), "1/3");
}

TEST(DecimalTest, IsReadExactlyInLowestTerms) {
    EXPECT_EQ(parseDecimal("0"), (Fraction{0, 1}));
    EXPECT_EQ(parseDecimal("0.250"), (Fraction{1, 4}));
    EXPECT_EQ(parseDecimal("123456789012345678"), (Fraction{123456789012345678, 1}));
    EXPECT_FALSE(parseDecimal("1234567890123456789"));
    EXPECT_FALSE(parseDecimal("0x5"));
}

TEST(TimeTest, IsReadWithItsUnitInWholeNanoseconds) {
    EXPECT_EQ(parseTime("20ms"), 20'000'000);
    EXPECT_EQ(parseTime("1.5s"), 1'500'000'000);
    EXPECT_EQ(parseTime("0.5us"), 500);
    EXPECT_EQ(parseTime("7ns"), 7);
    EXPECT_EQ(parseTime("0s"), 0);
    EXPECT_EQ(parseTime("86400s"), 86'400'000'000'000);
    for (const char* text : {"", "5", "s", "ms", "-5s", "5 s", "5m", "5S", "0.5ns", "86400.1s", "86401s", "five s"})
        EXPECT_FALSE(parseTime(text)) << text;
}

}  // namespace
