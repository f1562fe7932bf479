#include "readable_number.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using host::readable;

TEST(ReadableNumberTest, ThousandsAreApart) {
    EXPECT_EQ(readable(std::uint64_t{0}), "0");
    EXPECT_EQ(readable(std::uint64_t{999}), "999");
    EXPECT_EQ(readable(std::uint64_t{1000}), "1,000");
    EXPECT_EQ(readable(std::uint64_t{123456}), "123,456");
    EXPECT_EQ(readable(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,551,615");
}

TEST(ReadableNumberTest, FractionsAreRoundedAndKeepTheirDigits) {
    EXPECT_EQ(readable(1234.56, 1), "1,234.6");
    EXPECT_EQ(readable(999.96, 1), "1,000.0");
    EXPECT_EQ(readable(-1234.5678, 3), "-1,234.568");
    EXPECT_EQ(readable(-123.0, 0), "-123");
    EXPECT_EQ(readable(std::nullopt, 3), "-");
    EXPECT_EQ(readable(std::numeric_limits<double>::infinity(), 1), "inf");
}

TEST(ReadableNumberTest, OneIsNotMany) {
    EXPECT_EQ(host::counted(0, "image"), "0 images");
    EXPECT_EQ(host::counted(1, "image"), "1 image");
    EXPECT_EQ(host::counted(2000, "image"), "2,000 images");
}

TEST(ReadableNumberTest, TextIsBroughtToItsWidthAndNeverCut) {
    EXPECT_EQ(host::rightAligned("5", 3), "  5");
    EXPECT_EQ(host::rightAligned("5000", 3), "5000");
    EXPECT_EQ(host::leftAligned("5", 3), "5  ");
    EXPECT_EQ(host::leftAligned("\u00B5s", 3), "\u00B5s ") << "a sign of two bytes has one column";
}

}  // namespace
