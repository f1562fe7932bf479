#include "image_saver.h"

#include <filesystem>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_file.h"
#include "temporary_folder.h"

namespace {

using host::ImageSaver;
using testing::Each;
using testing::EndsWith;

frames::ImageView view(const std::vector<std::uint8_t>& bytes, std::size_t width, std::size_t bytesPerPixel = 1) {
    return {
        bytes.data(), {width, bytes.size() / width / bytesPerPixel, bytesPerPixel}
    };
}

class ImageSaverTest : public testing::Test {
protected:
    std::vector<std::uint8_t> saved(const std::string& name) {
        frames::GreyImage image;
        std::string error;
        EXPECT_TRUE(frames::readGreyImage(_folder.path() + "/" + name, image, error)) << error;
        return image.pixels;
    }

    test::TemporaryFolder _folder;
};

TEST_F(ImageSaverTest, ImagesAreOnDiskAfterFinish) {
    ImageSaver saver(_folder.path(), 8);
    saver.offer(view(std::vector<std::uint8_t>(12, 7), 4), 0);
    saver.offer(view(std::vector<std::uint8_t>(20, 9), 5), 1234567);
    saver.finish();
    EXPECT_THAT(saved("image_000000.png"), Each(7));
    EXPECT_THAT(saved("image_1234567.png"), Each(9));
    EXPECT_EQ(saver.outcome().saved, 2u);
    EXPECT_EQ(saver.outcome().dropped, 0u);
}

TEST_F(ImageSaverTest, ImageIsCopiedSoThatItsPixelsMayChangeAfterwards) {
    ImageSaver saver(_folder.path(), 8);
    std::vector<std::uint8_t> bytes(12, 7);
    saver.offer(view(bytes, 4), 0);
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{99});
    saver.finish();
    EXPECT_THAT(saved("image_000000.png"), Each(7));
}

TEST_F(ImageSaverTest, WhatDoesNotFitIntoTheQueueIsCountedAndTheRestIsSaved) {
    ImageSaver saver(_folder.path(), 2);
    const std::vector<std::uint8_t> bytes(4'000'000, 7);
    for (std::uint64_t number = 0; number < 20; ++number) saver.offer(view(bytes, 2000), number);
    saver.finish();
    EXPECT_GT(saver.outcome().dropped, 0u);
    EXPECT_GE(saver.outcome().saved, 2u);
    EXPECT_EQ(saver.outcome().saved + saver.outcome().dropped, 20u);
    const auto files = std::distance(std::filesystem::directory_iterator(_folder.path()), {});
    EXPECT_EQ(static_cast<std::uint64_t>(files), saver.outcome().saved);
}

TEST_F(ImageSaverTest, FailuresAreCountedWithTheFirstReason) {
    ImageSaver saver(_folder.path() + "/none", 8);
    saver.offer(view(std::vector<std::uint8_t>(12, 7), 4), 0);
    saver.offer(view(std::vector<std::uint8_t>(12, 7), 4), 1);
    saver.finish();
    EXPECT_EQ(saver.outcome().saved, 0u);
    EXPECT_EQ(saver.outcome().failed, 2u);
    EXPECT_THAT(saver.outcome().firstError, EndsWith("image_000000.png: cannot be written"));
}

TEST_F(ImageSaverTest, DepthWithoutPngFormFails) {
    ImageSaver saver(_folder.path(), 8);
    saver.offer(view(std::vector<std::uint8_t>(10, 7), 2, 5), 0);
    saver.finish();
    EXPECT_THAT(saver.outcome().firstError, EndsWith("PNG has no form for 5 bytes per pixel"));
}

TEST_F(ImageSaverTest, ImageThatCannotBeCopiedThrowsAndLeavesThePlaceInTheQueue) {
    ImageSaver saver(_folder.path(), 1);
    const std::vector<std::uint8_t> bytes(12, 7);
    EXPECT_THROW(saver.offer(
                     {
                         bytes.data(), {std::numeric_limits<std::size_t>::max(), 1, 1}
    },
                     0),
                 std::length_error);
    saver.offer(view(bytes, 4), 1);
    saver.finish();
    EXPECT_EQ(saver.outcome().saved, 1u);
}

TEST_F(ImageSaverTest, FinishesWithoutImagesAndTwice) {
    ImageSaver saver(_folder.path(), 1);
    saver.finish();
    saver.finish();
    EXPECT_EQ(saver.outcome().saved, 0u);
}

}  // namespace
