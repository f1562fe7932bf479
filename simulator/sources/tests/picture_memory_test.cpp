// Compares the memory that loading pictures really uses, counted block by block, with what --image-memory allows.
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counted_memory.h"
#include "image_file.h"
#include "png_chunk.h"
#include "replayed_images.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::PictureOptions;
using simulator::ReplayedImages;
using testing::HasSubstr;

constexpr std::size_t kMegabyte = 1'000'000;
/// Names of files, buffers and tables, which do not grow with the pictures.
constexpr std::size_t kSlack = 300'000;

/// The compressed pixels of an image with that many black ones: a few thousandths of their size.
std::string packed(std::size_t width, std::size_t height) {
    const std::vector<std::uint8_t> black(width * height);
    std::vector<std::uint8_t> file;
    std::string error;
    EXPECT_TRUE(frames::encodePng({black.data(), {width, height, 1}}, file, error)) << error;
    constexpr std::size_t kHeader = 8 + 25 + 8;
    constexpr std::size_t kEnd = 4 + 12;
    return {file.begin() + kHeader, file.end() - kEnd};
}

std::string pngOf(std::size_t width, std::size_t height, const std::string& pixels) {
    return "\x89PNG\r\n\x1A\n" +
           test::pngChunk("IHDR", test::bigEndian(width) + test::bigEndian(height) + std::string("\x08\0\0\0\0", 5)) +
           test::pngChunk("IDAT", pixels) + test::pngChunk("IEND", "");
}

class PictureMemoryTest : public testing::Test {
protected:
    PictureMemoryTest() { _options.images = {_folder.path()}; }

    /// Loads, and expects that no more memory was used than allowed, whether loading succeeded or not.
    bool load(const std::optional<ImageFormat>& size = std::nullopt, std::size_t bytesPerPixel = 1) {
        _images.reset();
        const test::MemoryPeak peak;
        const std::size_t before = test::takenMemory();
        _images = ReplayedImages::load(_options, size, bytesPerPixel, 16, _error);
        EXPECT_LE(peak.bytes(), _options.memoryMb * kMegabyte + kSlack) << _error;
        _kept = test::takenMemory() - before;
        return _images != nullptr;
    }

    test::TemporaryFolder _folder;
    PictureOptions _options;
    std::unique_ptr<ReplayedImages> _images;
    std::size_t _kept = 0;
    std::string _error;
};

TEST_F(PictureMemoryTest, PngThatInflatesBeyondItsHeaderIsStoppedAndRefused) {
    const std::string bomb = pngOf(16, 16, packed(8000, 8000));
    ASSERT_LT(bomb.size(), kMegabyte);
    _folder.file("a.png", bomb);
    _options.memoryMb = 2;
    EXPECT_FALSE(load());
    EXPECT_THAT(_error, HasSubstr("a.png: is damaged: its pixels inflate to more than its header promises"));
}

TEST_F(PictureMemoryTest, PictureOneByteLargerThanItsHeaderSaysIsRefused) {
    _folder.file("a.png", pngOf(99, 100, packed(100, 100)));
    EXPECT_FALSE(load());
    EXPECT_THAT(_error, HasSubstr("inflate to more than its header promises"));
}

TEST_F(PictureMemoryTest, SmallPngOfManyPixelsIsRefusedBeforeItTakesTheirMemory) {
    _folder.file("a.png", pngOf(8000, 8000, packed(8000, 8000)));
    _options.memoryMb = 200;
    EXPECT_FALSE(load());
    EXPECT_THAT(_error,
                HasSubstr("a.png: has 8000 x 8000 pixels; reading it takes 257 MB or more, and 200 MB are left of "
                          "--image-memory"));
    _options.memoryMb = 350;
    EXPECT_TRUE(load()) << _error;
}

// A line of one pixel used an object, two blocks, and what the allocator adds to each.
TEST_F(PictureMemoryTest, PictureOnePixelWideTakesWhatWasCounted) {
    _folder.file("a.pgm", "P5 1 60000 255\n" + std::string(60000, 'a'));
    _options.memoryMb = 1;
    ASSERT_TRUE(load()) << _error;
    EXPECT_LE(_kept, 60000 * (1 + sizeof(std::uint32_t)) + 20'000);
}

TEST_F(PictureMemoryTest, ManySmallPicturesTakeWhatWasCounted) {
    _folder.file("a.raw", std::string(100'000, 'a'));
    _options.rawSize = ImageFormat{1, 1, 1};
    _options.memoryMb = 2;
    EXPECT_FALSE(load());
    EXPECT_THAT(_error, HasSubstr("a.raw: the pictures take more than the 2 MB of --image-memory"));
    _options.memoryMb = 30;
    EXPECT_TRUE(load()) << _error;
}

TEST_F(PictureMemoryTest, WorldTakesNoMoreThanWasCounted) {
    _folder.file("a.pgm", "P5 4000 1000 255\n" + std::string(4'000'000, 'a'));
    for (const std::size_t memoryMb : {5u, 13u, 25u, 30u, 40u}) {
        _options.memoryMb = memoryMb;
        EXPECT_EQ(load(ImageFormat{100, 100, 1}), memoryMb >= 30) << _error;
    }
}

TEST_F(PictureMemoryTest, ColoursTakeNoMoreThanWasCounted) {
    const std::vector<std::uint8_t> pixels(std::size_t{1000} * 1000 * 3, 90);
    std::string error;
    ASSERT_TRUE(frames::writePng(_folder.path("a.png"), {pixels.data(), {1000, 1000, 3}}, error)) << error;
    bool loaded = false;
    for (std::size_t memoryMb = 1; memoryMb <= 16; ++memoryMb) {
        _options.memoryMb = memoryMb;
        EXPECT_GE(load(std::nullopt, 3), loaded) << "more memory, and then too little";
        loaded = _images != nullptr;
    }
    EXPECT_TRUE(loaded) << _error;
}

TEST_F(PictureMemoryTest, ScalingTakesNoMoreThanWasCounted) {
    _folder.file("a.pgm", "P5 2000 2 255\n" + std::string(4000, 'a'));
    _folder.file("b.pgm", "P5 2 60000 255\n" + std::string(120'000, 'a'));
    _options.scale = true;
    for (const std::size_t memoryMb : {1u, 2u, 4u, 8u, 16u}) {
        _options.memoryMb = memoryMb;
        EXPECT_EQ(load(ImageFormat{1000, 1000, 1}), memoryMb >= 8) << _error;
    }
}

TEST_F(PictureMemoryTest, EachSideHasALimitInEveryFormat) {
    _folder.file("a.pgm", "P5 1 65537 255\n" + std::string(65537, 'a'));
    EXPECT_FALSE(load());
    EXPECT_THAT(_error, HasSubstr("a.pgm: has 1 x 65537 pixels, and a side may have at most 65536"));
    _folder.file("a.pgm", "P5 1 65536 255\n" + std::string(65536, 'a'));
    EXPECT_TRUE(load()) << _error;
}

}  // namespace
