#include "replayed_images.h"

#include <algorithm>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_file.h"
#include "strip.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::PictureOptions;
using simulator::Play;
using simulator::ReplayedImages;
using simulator::windowAt;
using simulator::WindowPlace;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

class ReplayedImagesTest : public testing::Test {
protected:
    static PictureOptions folderOnly(const std::string& folder) {
        PictureOptions options;
        options.images = {folder};
        return options;
    }
    void png(const std::string& name, std::size_t width, std::size_t height, std::uint8_t level) {
        const std::vector<std::uint8_t> bytes(width * height, level);
        std::string error;
        ASSERT_TRUE(frames::writePng(_folder.path(name), {bytes.data(), {width, height, 1}}, error)) << error;
    }
    void pgm(const std::string& name, std::size_t width, std::size_t height, char level) {
        _folder.file(name, "P5 " + std::to_string(width) + " " + std::to_string(height) + " 255\n" +
                               std::string(width * height, level));
    }
    std::unique_ptr<ReplayedImages> load(std::size_t bytesPerPixel = 1,
                                         const std::optional<ImageFormat>& size = std::nullopt, unsigned bits = 16) {
        std::string error;
        auto images = ReplayedImages::load(_options, size, bytesPerPixel, bits, error);
        EXPECT_TRUE(images) << error;
        return images;
    }
    std::string refusal(const std::optional<ImageFormat>& size = std::nullopt) {
        std::string error;
        EXPECT_FALSE(ReplayedImages::load(_options, size, 1, 16, error));
        return error;
    }
    static std::vector<std::uint8_t> draw(ReplayedImages& images, std::uint64_t frame) {
        std::vector<std::uint8_t> bytes(images.format().bytes(), 1);
        const std::uint32_t crc = images.draw(bytes.data(), frame, std::nullopt);
        EXPECT_EQ(crc, frames::crcOutsideStrip({bytes.data(), images.format()}, images.strip()));
        return bytes;
    }

    test::TemporaryFolder _folder;
    PictureOptions _options = folderOnly(_folder.path());
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

TEST_F(ReplayedImagesTest, LinesOfAStripAtTheBottomAreLeftAlone) {
    png("a.png", 1000, 20, 90);
    _options.strip = {frames::StripForm::cells4, frames::StripPlace::bottom};
    const auto images = load();
    std::vector<std::uint8_t> bytes(images->format().bytes(), 1);
    const std::uint32_t crc = images->draw(bytes.data(), 0, std::nullopt);
    EXPECT_EQ(crc, frames::crcOutsideStrip({bytes.data(), images->format()}, images->strip()));
    EXPECT_EQ(bytes.front(), 90);
    EXPECT_EQ(bytes[16 * 1000 - 1], 90);
    EXPECT_EQ(bytes[16 * 1000], 1);
    EXPECT_EQ(bytes.back(), 1);
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
    EXPECT_THAT(refusal(ImageFormat{4, 4, 1}), HasSubstr("but the camera has 4 x 4"));
    EXPECT_THAT(refusal(ImageFormat{3, 4, 1}), HasSubstr("but the camera has 3 x 4")) << "larger in one way only";
}

TEST_F(ReplayedImagesTest, UnreadableFileIsRefused) {
    png("a.png", 4, 3, 10);
    _folder.file("b.png", "this is no picture");
    EXPECT_THAT(refusal(), HasSubstr("b.png: is neither a PNG, JPEG, BMP or TIFF nor a binary PGM (P5) file"));
}

TEST_F(ReplayedImagesTest, FolderWithoutPicturesIsRefused) {
    EXPECT_EQ(refusal(), _folder.path() + ": holds no picture (PNG, PGM, JPEG, BMP or TIFF)");
}

TEST_F(ReplayedImagesTest, MissingFileIsRefused) {
    std::string error;
    _options.images = {_folder.path("none.png")};
    EXPECT_FALSE(ReplayedImages::load(_options, std::nullopt, 1, 16, error));
    EXPECT_THAT(error, EndsWith("none.png: cannot be opened for reading"));
}

// ---- order

TEST_F(ReplayedImagesTest, OrderOfPlayIsThatOfTheOptions) {
    pgm("a.pgm", 4, 3, 10);
    pgm("b.pgm", 4, 3, 20);
    pgm("c.pgm", 4, 3, 30);
    const auto shown = [&](Play play) {
        _options.play = play;
        const auto images = load();
        std::vector<int> levels;
        for (std::uint64_t frame = 0; frame < 7; ++frame) levels.push_back(draw(*images, frame).front());
        return levels;
    };
    EXPECT_THAT(shown(Play::loop), ElementsAre(10, 20, 30, 10, 20, 30, 10));
    EXPECT_THAT(shown(Play::pingPong), ElementsAre(10, 20, 30, 20, 10, 20, 30));
    EXPECT_THAT(shown(Play::hold), ElementsAre(10, 20, 30, 30, 30, 30, 30));
}

TEST_F(ReplayedImagesTest, SinglePictureIsShownInEveryOrder) {
    pgm("a.pgm", 4, 3, 10);
    for (const Play play : {Play::loop, Play::pingPong, Play::hold}) {
        _options.play = play;
        EXPECT_THAT(draw(*load(), 5), Each(10));
    }
}

TEST_F(ReplayedImagesTest, FilesComeInTheOrderOfThePaths) {
    pgm("b.pgm", 4, 3, 20);
    pgm("a.pgm", 4, 3, 10);
    _options.images = {_folder.path("b.pgm"), _folder.path("a.pgm"), _folder.path("?.pgm")};
    const auto images = load();
    ASSERT_EQ(images->pictureCount(), 4u);
    EXPECT_THAT(draw(*images, 0), Each(20));
    EXPECT_THAT(draw(*images, 1), Each(10));
    EXPECT_THAT(draw(*images, 2), Each(10));
    EXPECT_THAT(draw(*images, 3), Each(20));
}

// ---- formats

TEST_F(ReplayedImagesTest, SixteenBitsAreKeptInTwoBytes) {
    _folder.file("a.pgm", std::string("P5 2 1 65535\n\x12\x34\xFF\xFF", 17));
    EXPECT_THAT(draw(*load(2), 0), ElementsAre(0x34, 0x12, 0xFF, 0xFF));
    EXPECT_THAT(draw(*load(1), 0), ElementsAre(0x12, 0xFF));
    EXPECT_THAT(draw(*load(2, std::nullopt, 10), 0), ElementsAre(0x49, 0, 0xFF, 0x03)) << "0x1234 * 1023 / 65535 = 73";
}

TEST_F(ReplayedImagesTest, ColoursAreKeptInThreeAndFourBytes) {
    const std::vector<std::uint8_t> bytes{255, 0, 51};
    std::string error;
    ASSERT_TRUE(frames::writePng(_folder.path("a.png"), {bytes.data(), {1, 1, 3}}, error)) << error;
    EXPECT_THAT(draw(*load(3), 0), ElementsAre(255, 0, 51));
    EXPECT_THAT(draw(*load(4), 0), ElementsAre(255, 0, 51, 255));
    EXPECT_NEAR(draw(*load(1), 0).front(), 82, 1);
}

TEST_F(ReplayedImagesTest, RawFilesAreTakenWithTheirSize) {
    _folder.file("b.raw", "abcdef");
    _folder.file("c.bin", "uvwxyzABCDEF");
    pgm("a.pgm", 3, 2, 10);
    _options.rawSize = ImageFormat{3, 2, 1};
    const auto images = load();
    ASSERT_EQ(images->pictureCount(), 4u) << "the PGM, one raw image, two raw images";
    EXPECT_THAT(draw(*images, 0), Each(10));
    EXPECT_THAT(draw(*images, 1), ElementsAre('a', 'b', 'c', 'd', 'e', 'f'));
    EXPECT_THAT(draw(*images, 3), ElementsAre('A', 'B', 'C', 'D', 'E', 'F'));
}

TEST_F(ReplayedImagesTest, RawFileOfAnotherSizeIsRefused) {
    _folder.file("b.raw", "abcde");
    _options.rawSize = ImageFormat{3, 2, 1};
    EXPECT_THAT(refusal(), HasSubstr("b.raw: has 5 bytes, no whole number of images"));
}

// ---- sizes

TEST_F(ReplayedImagesTest, OtherSizesAreScaledOnRequestOnly) {
    pgm("a.pgm", 4, 4, 10);
    pgm("b.pgm", 1, 1, 20);
    EXPECT_THAT(refusal(), HasSubstr("b.pgm: has 1 x 1 pixels, but"));
    _options.scale = true;
    EXPECT_EQ(load()->format(), (ImageFormat{4, 4, 1})) << "all as the first one";
    const auto images = load(1, ImageFormat{6, 2, 1});
    EXPECT_EQ(images->format(), (ImageFormat{6, 2, 1}));
    EXPECT_THAT(draw(*images, 0), Each(10));
    EXPECT_THAT(draw(*images, 1), Each(20));
}

TEST_F(ReplayedImagesTest, LargerPictureIsSeenThroughAMovingWindow) {
    // A picture in which each pixel encodes its position: 16 bits of 300 x 200.
    std::string world = "P5 300 200 65535\n";
    for (std::size_t at = 0; at < std::size_t{300} * 200; ++at) {
        world += static_cast<char>(at >> 8);
        world += static_cast<char>(at & 0xFF);
    }
    _folder.file("world.pgm", world);
    _options.strip.form = frames::StripForm::cells8;  // for which the images are too narrow
    const auto images = load(2, ImageFormat{100, 50, 2});
    EXPECT_EQ(images->format(), (ImageFormat{100, 50, 2}));
    for (const std::uint64_t frame : {0u, 1u, 57u, 79u, 1000u}) {
        const auto bytes = draw(*images, frame);
        const WindowPlace place = windowAt(frame, 200, 150);
        for (std::size_t y = 0; y < 50; ++y) {
            for (std::size_t x = 0; x < 100; ++x) {
                const std::size_t at = (y * 100 + x) * 2;
                ASSERT_EQ(bytes[at] + 256u * bytes[at + 1], (place.y + y) * 300 + place.x + x) << frame;
            }
        }
    }
}

TEST_F(ReplayedImagesTest, WindowMovesSmoothlyFromCornerToCorner) {
    EXPECT_EQ(windowAt(0, 200, 150), (WindowPlace{0, 0}));
    WindowPlace last;
    std::size_t farthestX = 0;
    std::size_t farthestY = 0;
    for (std::uint64_t frame = 1; frame < 2000; ++frame) {
        const WindowPlace place = windowAt(frame, 200, 150);
        ASSERT_LE(std::max(place.x, last.x) - std::min(place.x, last.x), 4u) << frame;
        ASSERT_LE(std::max(place.y, last.y) - std::min(place.y, last.y), 3u) << frame;
        farthestX = std::max(farthestX, place.x);
        farthestY = std::max(farthestY, place.y);
        last = place;
    }
    EXPECT_EQ(farthestX, 200u);
    EXPECT_EQ(farthestY, 150u);
    EXPECT_EQ(windowAt(12345, 0, 0), (WindowPlace{0, 0}));
    EXPECT_EQ(windowAt(12345, 0, 9).x, 0u);
}

TEST_F(ReplayedImagesTest, LargerPictureIsRefusedWithoutAWindow) {
    pgm("a.pgm", 8, 8, 10);
    _options.windowMoves = false;
    EXPECT_THAT(refusal(ImageFormat{4, 4, 1}), EndsWith("a.pgm: has 8 x 8 pixels, but the camera has 4 x 4"));
}

// ---- memory

TEST_F(ReplayedImagesTest, PicturesTakeNoMoreMemoryThanTheyMay) {
    pgm("a.pgm", 1000, 600, 10);
    _options.memoryMb = 2;
    EXPECT_TRUE(load()) << "the file and 16 bits of each pixel, later its pixel instead of the file";
    pgm("b.pgm", 1000, 600, 10);
    EXPECT_THAT(refusal(), EndsWith("b.pgm: has 1000 x 600 pixels; reading it takes 2 MB or more, and 1 MB are left of "
                                    "--image-memory"));
    _options.memoryMb = 3;
    EXPECT_EQ(load()->pictureCount(), 2u);
}

// Not after it was scaled, which would use 8 GB.
TEST_F(ReplayedImagesTest, SizeIsCheckedBeforeAPictureIsScaled) {
    pgm("a.pgm", 2, 2, 10);
    _options.memoryMb = 10;
    _options.scale = true;
    EXPECT_THAT(refusal(ImageFormat{65536, 65536, 1}), EndsWith("take more than the 10 MB of --image-memory"));
}

TEST_F(ReplayedImagesTest, PictureThatAloneIsTooLargeIsNotEvenDecoded) {
    pgm("a.pgm", 2000, 1000, 10);
    _options.memoryMb = 1;
    EXPECT_THAT(refusal(), EndsWith("a.pgm: has 2000017 bytes, more than the 1 MB that are left of --image-memory"));
    _options.memoryMb = 3;
    EXPECT_THAT(refusal(), EndsWith("a.pgm: has 2000 x 1000 pixels; reading it takes 7 MB or more, and 3 MB are left "
                                    "of --image-memory"));
}

}  // namespace
