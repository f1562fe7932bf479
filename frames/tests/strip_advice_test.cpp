#include "strip_advice.h"

#include <gtest/gtest.h>

namespace {

using frames::ImageFormat;
using frames::StripForm;
using frames::striplessAdvice;
using frames::StripPlace;
using frames::stripShareAdvice;
using frames::StripWish;

std::string share(const ImageFormat& format, const StripWish& wish = {}, const std::string& whose = {}) {
    return stripShareAdvice(format, stripLayout(format, wish), whose);
}

TEST(StripAdviceTest, AStripOverMoreThanATenthOfTheImageIsToldWithASmallerForm) {
    EXPECT_EQ(share({320, 240, 1}), "the strip covers 48 of 240 lines (20 %); --strip-cell line takes 1");
    EXPECT_EQ(share({512, 16, 1}), "the strip covers 8 of 16 lines (50 %); --strip-cell line takes 1");
    EXPECT_EQ(share({320, 240, 1}, {}, "the simulator's "),
              "the strip covers 48 of 240 lines (20 %); the simulator's --strip-cell line takes 1");
    EXPECT_EQ(share({320, 240, 1}, {std::nullopt, StripPlace::bottom}),
              "the strip covers 48 of 240 lines (20 %); --strip-cell line takes 1");
}

TEST(StripAdviceTest, WithoutASmallerFormOnlyTheShareIsTold) {
    EXPECT_EQ(share({200, 100, 1}), "the strip covers 20 of 100 lines (20 %)");
    EXPECT_EQ(share({512, 2, 1}, {StripForm::line, StripPlace::top}), "the strip covers 1 of 2 lines (50 %)");
}

TEST(StripAdviceTest, AStripOverATenthOrLessAndNoStripAreNotTold) {
    EXPECT_EQ(share({640, 240, 1}), "");
    EXPECT_NE(share({640, 239, 1}), "");
    EXPECT_EQ(share({1280, 1024, 1}), "");
    EXPECT_EQ(share({100, 100, 1}), "");
}

TEST(StripAdviceTest, ImagesWithoutAStripAreToldAndWhichFormWouldFit) {
    EXPECT_EQ(striplessAdvice({1280, 1024, 1}, {}), "");
    EXPECT_EQ(striplessAdvice({100, 100, 1}, {}), "images this small carry no strip, so a host cannot verify them");
    EXPECT_EQ(striplessAdvice({100, 100, 1}, {StripForm::cells8, StripPlace::top}),
              "images this small carry no strip, so a host cannot verify them");
    EXPECT_EQ(striplessAdvice({200, 100, 1}, {StripForm::cells8, StripPlace::bottom}),
              "images this small carry no strip of --strip-cell 8, so a host cannot verify them; --strip-cell 4 fits");
    EXPECT_EQ(striplessAdvice({512, 3, 1}, {StripForm::cells4, StripPlace::top}),
              "images this small carry no strip of --strip-cell 4, so a host cannot verify them; --strip-cell line "
              "fits");
}

}  // namespace
