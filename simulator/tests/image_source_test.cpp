#include "image_source.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "crc32.h"
#include "image_file.h"
#include "strip.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::RenderedImages;
using simulator::ReplayedImages;
using testing::Each;
using testing::HasSubstr;

TEST(RenderedImagesTest, GiveTheCrcOfWhatTheyDrew) {
    const ImageFormat format{640, 480, 2};
    RenderedImages images(format);
    std::vector<std::uint8_t> bytes(format.bytes());
    const std::uint32_t whole = images.draw(bytes.data(), 5, std::nullopt);
    EXPECT_EQ(whole, frames::crcBelowStrip({bytes.data(), format}));
    const std::uint32_t moved = images.draw(bytes.data(), 6, 5);
    EXPECT_EQ(moved, frames::crcBelowStrip({bytes.data(), format}));
    EXPECT_NE(moved, whole);
    EXPECT_EQ(images.stripFlags(), frames::kStripRendered);
    EXPECT_EQ(images.format(), format);
}

class ReplayedImagesTest : public testing::Test {
protected:
    void png(const std::string& name, std::size_t width, std::size_t height, std::uint8_t level) {
        const std::vector<std::uint8_t> bytes(width * height, level);
        std::string error;
        ASSERT_TRUE(frames::writePng(_folder.path(name),
                                     {
                                         bytes.data(), {width, height, 1}
        },
                                     error))
            << error;
    }
    void pgm(const std::string& name, std::size_t width, std::size_t height, char level) {
        _folder.file(name, "P5 " + std::to_string(width) + " " + std::to_string(height) + " 255\n" +
                               std::string(width * height, level));
    }
    std::unique_ptr<ReplayedImages> load(std::size_t bytesPerPixel = 1) {
        std::string error;
        auto images = ReplayedImages::load(_folder.path(), std::nullopt, bytesPerPixel, error);
        EXPECT_TRUE(images) << error;
        return images;
    }
    std::string refusal(const std::optional<ImageFormat>& size = std::nullopt) {
        std::string error;
        EXPECT_FALSE(ReplayedImages::load(_folder.path(), size, 1, error));
        return error;
    }
    static std::vector<std::uint8_t> draw(ReplayedImages& images, std::uint64_t frame) {
        std::vector<std::uint8_t> bytes(images.format().bytes(), 1);
        const std::uint32_t crc = images.draw(bytes.data(), frame, std::nullopt);
        EXPECT_EQ(crc, frames::crcBelowStrip({bytes.data(), images.format()}));
        return bytes;
    }

    test::TemporaryFolder _folder;
};

TEST_F(ReplayedImagesTest, FilesComeInNameOrderAndAgainFromTheFirst) {
    pgm("b.pgm", 4, 3, 20);
    png("c.PNG", 4, 3, 30);
    png("a.png", 4, 3, 10);
    const auto images = load();
    ASSERT_EQ(images->pictureCount(), 3u);
    EXPECT_THAT(draw(*images, 0), Each(10));
    EXPECT_THAT(draw(*images, 1), Each(20));
    EXPECT_THAT(draw(*images, 2), Each(30));
    EXPECT_THAT(draw(*images, 3), Each(10));
    EXPECT_THAT(draw(*images, 3'000'000'001), Each(20));
    EXPECT_EQ(images->stripFlags(), frames::kStripReplayed);
}

TEST_F(ReplayedImagesTest, SizeIsThatOfTheFiles) {
    png("a.png", 300, 100, 10);
    EXPECT_EQ(load(2)->format(), (ImageFormat{300, 100, 2}));
}

TEST_F(ReplayedImagesTest, OtherFilesAreLeftAlone) {
    png("a.png", 4, 3, 10);
    _folder.file("notes.txt", "not a picture");
    EXPECT_EQ(load()->pictureCount(), 1u);
}

TEST_F(ReplayedImagesTest, GreyIsSpreadOverEveryByteOfAPixel) {
    png("a.png", 4, 3, 90);
    EXPECT_THAT(draw(*load(3), 0), Each(90));
    const auto withOpacity = draw(*load(4), 0);
    EXPECT_EQ(withOpacity[0], 90);
    EXPECT_EQ(withOpacity[3], 255);
}

TEST_F(ReplayedImagesTest, StripLinesAreLeftAlone) {
    png("a.png", 1000, 20, 90);
    const auto bytes = draw(*load(), 0);
    EXPECT_EQ(bytes[16 * 1000 - 1], 1);
    EXPECT_EQ(bytes[16 * 1000], 90);
}

TEST_F(ReplayedImagesTest, DifferentSizesAreRefusedWithBothFiles) {
    png("a.png", 4, 3, 10);
    pgm("b.pgm", 5, 3, 10);
    const std::string a = (std::filesystem::path(_folder.path()) / "a.png").string();
    const std::string b = (std::filesystem::path(_folder.path()) / "b.pgm").string();
    EXPECT_EQ(refusal(), b + ": has 5 x 3 pixels, but " + a + " has 4 x 3");
}

TEST_F(ReplayedImagesTest, SizeThatIsNotTheCamerasIsRefused) {
    png("a.png", 4, 3, 10);
    EXPECT_THAT(refusal(ImageFormat{1280, 1024, 1}),
                HasSubstr("a.png: has 4 x 3 pixels, but the camera has 1280 x 1024"));
    EXPECT_THAT(refusal(ImageFormat{4, 2, 1}), HasSubstr("but the camera has 4 x 2"));
}

TEST_F(ReplayedImagesTest, UnreadableFileIsRefused) {
    png("a.png", 4, 3, 10);
    _folder.file("b.png", "this is no picture");
    EXPECT_THAT(refusal(), HasSubstr("b.png: is neither a PNG nor a binary PGM (P5) file"));
}

TEST_F(ReplayedImagesTest, FolderWithoutPicturesIsRefused) {
    EXPECT_EQ(refusal(), _folder.path() + ": holds no PNG or PGM file");
}

TEST_F(ReplayedImagesTest, MissingFolderIsRefused) {
    std::string error;
    EXPECT_FALSE(ReplayedImages::load(_folder.path() + "/none", std::nullopt, 1, error));
    EXPECT_THAT(error, HasSubstr("none: cannot be read: "));
}

}  // namespace
