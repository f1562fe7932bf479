#include "closest_name.h"

#include <gtest/gtest.h>

namespace {

using options::closestName;
using options::editDistance;

const std::vector<std::string> kNames{"grab", "info", "doctor", "--count", "image_size_x", "image_size_y"};

TEST(ClosestNameTest, DistanceCountsEdits) {
    EXPECT_EQ(editDistance("", ""), 0u);
    EXPECT_EQ(editDistance("", "abc"), 3u);
    EXPECT_EQ(editDistance("abc", ""), 3u);
    EXPECT_EQ(editDistance("grab", "grab"), 0u);
    EXPECT_EQ(editDistance("GraB", "grab"), 0u);
    EXPECT_EQ(editDistance("grb", "grab"), 1u);
    EXPECT_EQ(editDistance("graab", "grab"), 1u);
    EXPECT_EQ(editDistance("grap", "grab"), 1u);
    EXPECT_EQ(editDistance("garb", "grab"), 1u);
    EXPECT_EQ(editDistance("kitten", "sitting"), 3u);
}

TEST(ClosestNameTest, NearestNameIsFound) {
    EXPECT_EQ(closestName("garb", kNames), "grab");
    EXPECT_EQ(closestName("docter", kNames), "doctor");
    EXPECT_EQ(closestName("--cuont", kNames), "--count");
    EXPECT_EQ(closestName("IMAGE_SIZE_Y", kNames), "image_size_y");
    EXPECT_EQ(closestName("image_size_z", kNames), "image_size_x") << "the first of several";
}

TEST(ClosestNameTest, NothingIsFoundWhereNoNameIsNear) {
    EXPECT_EQ(closestName("picture", kNames), "");
    EXPECT_EQ(closestName("", kNames), "");
    EXPECT_EQ(closestName("xy", std::vector<const char*>{"ab"}), "");
    EXPECT_EQ(closestName("grab", std::vector<std::string>{}), "");
}

TEST(ClosestNameTest, SuggestionIsATextOrNothing) {
    EXPECT_EQ(options::didYouMean("gra", kNames), "; did you mean 'grab'?");
    EXPECT_EQ(options::didYouMean("picture", kNames), "");
}

}  // namespace
