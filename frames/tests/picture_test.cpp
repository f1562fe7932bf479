#include "picture.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_file.h"
#include "png_chunk.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using frames::Picture;
using frames::PictureWish;
using frames::PixelWriter;
using frames::readPicture;
using frames::readRawPictures;
using frames::scaled;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class PictureTest : public testing::Test {
protected:
    std::string png(const ImageFormat& format, const std::vector<std::uint8_t>& bytes) {
        const std::string path = _folder.path("a.png");
        std::string error;
        EXPECT_TRUE(frames::writePng(path, {bytes.data(), format}, error)) << error;
        return path;
    }
    static Picture read(const std::string& path, const PictureWish& wish = {}) {
        Picture picture;
        std::string error;
        EXPECT_TRUE(readPicture(path, wish, picture, error)) << error;
        return picture;
    }
    static std::string refusal(const std::string& path, const PictureWish& wish = {}) {
        Picture picture{7, 7, 1, {5}};
        std::string error;
        EXPECT_FALSE(readPicture(path, wish, picture, error));
        EXPECT_EQ(picture.width, 7u) << "a refused file leaves the picture alone";
        EXPECT_THAT(error, StartsWith(path + ": "));
        return error;
    }
    static frames::PictureTaker into(std::vector<Picture>& pictures) {
        return [&pictures](Picture&& picture) {
            pictures.push_back(std::move(picture));
            return true;
        };
    }
    std::vector<Picture> readRaw(const std::string& content, const ImageFormat& format, unsigned bits = 16,
                                 const PictureWish& wish = {}) {
        std::vector<Picture> pictures;
        std::string error;
        EXPECT_TRUE(readRawPictures(_folder.file("a.raw", content), format, bits, wish, into(pictures), error))
            << error;
        return pictures;
    }
    std::string rawRefusal(const std::string& content, const ImageFormat& format, const PictureWish& wish = {}) {
        std::vector<Picture> pictures;
        std::string error;
        const std::string path = _folder.file("a.raw", content);
        EXPECT_FALSE(readRawPictures(path, format, 16, wish, into(pictures), error));
        EXPECT_TRUE(pictures.empty()) << "a refused file has no pictures";
        EXPECT_THAT(error, StartsWith(path + ": "));
        return error;
    }

    test::TemporaryFolder _folder;
};

TEST_F(PictureTest, SixteenBitPngKeepsEveryBit) {
    const std::vector<std::uint8_t> bytes{0x01, 0x02, 0x00, 0xFF, 0xFF, 0xFF};
    const Picture picture = read(png({3, 1, 2}, bytes));
    EXPECT_EQ(picture.width, 3u);
    EXPECT_EQ(picture.height, 1u);
    EXPECT_EQ(picture.channels, 1u);
    EXPECT_THAT(picture.samples, ElementsAre(0x0201, 0xFF00, 0xFFFF));
    EXPECT_EQ(picture.line(0, PixelWriter(2)), bytes);
}

TEST_F(PictureTest, EightBitPngIsSpreadAndComesBackByteForByte) {
    const std::vector<std::uint8_t> bytes{0, 1, 127, 128, 254, 255};
    const Picture picture = read(png({3, 2, 1}, bytes));
    EXPECT_THAT(picture.samples, ElementsAre(0, 0x0101, 0x7F7F, 0x8080, 0xFEFE, 0xFFFF));
    EXPECT_THAT(picture.line(0, PixelWriter(1)), ElementsAre(0, 1, 127));
    EXPECT_THAT(picture.line(1, PixelWriter(1)), ElementsAre(128, 254, 255));
}

TEST_F(PictureTest, ColoursAreKeptOnRequest) {
    const std::string path = png({2, 1, 3}, {255, 0, 51, 1, 2, 3});
    const Picture colour = read(path, {.colour = true});
    EXPECT_EQ(colour.channels, 3u);
    EXPECT_THAT(colour.line(0, PixelWriter(3)), ElementsAre(255, 0, 51, 1, 2, 3));
    EXPECT_THAT(colour.line(0, PixelWriter(4)), ElementsAre(255, 0, 51, 255, 1, 2, 3, 255));
    const Picture grey = read(path);
    EXPECT_EQ(grey.channels, 1u);
    EXPECT_NEAR(grey.samples[0] / 257.0, 0.299 * 255 + 0.114 * 51, 2);
}

TEST_F(PictureTest, OpacityIsLeftOut) {
    const Picture picture = read(png({1, 1, 4}, {255, 0, 51, 9}), {.colour = true});
    EXPECT_THAT(picture.line(0, PixelWriter(4)), ElementsAre(255, 0, 51, 255));
}

TEST_F(PictureTest, GreyStaysGreyWhereColoursAreWished) {
    EXPECT_EQ(read(png({1, 1, 1}, {90}), {.colour = true}).channels, 1u);
}

TEST_F(PictureTest, PgmOfSixteenAndOfFewerBitsIsSpread) {
    EXPECT_THAT(read(_folder.file("a.pgm", std::string("P5 3 1 65535\n\x12\x34\0\0\xFF\xFF", 19))).samples,
                ElementsAre(0x1234, 0, 0xFFFF));
    const Picture ten = read(_folder.file("b.pgm", std::string("P5 3 1 1023\n\0\0\1\1\3\xFF", 18)));
    EXPECT_THAT(ten.line(0, PixelWriter(2, 10)), ElementsAre(0, 0, 1, 1, 0xFF, 3)) << "the same greys of 10 bits";
}

TEST_F(PictureTest, DamagedAndOtherFilesAreRefused) {
    EXPECT_THAT(refusal(_folder.path("none.png")), EndsWith("cannot be opened for reading"));
    EXPECT_THAT(refusal(_folder.file("x.png", "GIF89a")),
                EndsWith("is neither a PNG, JPEG, BMP or TIFF nor a binary PGM (P5) file"));
    EXPECT_THAT(refusal(_folder.file("x.png", "\x89PNG\r\n\x1A\n")), HasSubstr(": is damaged: "));
    EXPECT_THAT(refusal(_folder.file("x.pgm", "P5 3 2 256\nabcde")), EndsWith("ends before its last pixel"));
}

// A PNG file of one pixel, with the given bytes between its header and its end.
std::string pngOf(const std::string& chunks) {
    return "\x89PNG\r\n\x1A\n" + test::pngChunk("IHDR", std::string("\0\0\0\1\0\0\0\1\x08\0\0\0\0", 13)) + chunks +
           test::pngChunk("IEND", "");
}

// The line of one pixel, packed without compression.
const std::string kPixel("\x78\x01\x01\x02\x00\xFD\xFF\x00\x5A\x00\x5C\x00\x5B", 13);

// Pixels with a zlib header and without compression; the decoder ignores the check sum.
std::string unpacked(const std::string& pixels) {
    const auto low = [](std::size_t value) { return static_cast<char>(value & 0xFF); };
    const std::size_t size = pixels.size();
    const char head[] = {'\x78', '\1', '\1', low(size), low(size >> 8), low(~size), low(~size >> 8)};
    return std::string(head, sizeof head) + pixels + "sums";
}

// White lines with one bit per pixel, in the seven passes of an interlaced image.
std::string interlacedLines(std::size_t width, std::size_t height) {
    // clang-format off
    constexpr std::size_t kPasses[][4] = {
        {0, 0, 8, 8},
        {4, 0, 8, 8},
        {0, 4, 4, 8},
        {2, 0, 4, 4},
        {0, 2, 2, 4},
        {1, 0, 2, 2},
        {0, 1, 1, 2}
    };
    // clang-format on
    std::string lines;
    for (const auto& [left, top, across, down] : kPasses) {
        std::size_t pixels = 0;
        for (std::size_t x = left; x < width; x += across) ++pixels;
        if (pixels == 0) continue;
        for (std::size_t y = top; y < height; y += down) lines += '\0' + std::string((pixels + 7) / 8, '\xFF');
    }
    return lines;
}

TEST_F(PictureTest, ChunksOfAPngAreChecked) {
    const std::string good = pngOf(test::pngChunk("IDAT", kPixel));
    EXPECT_THAT(read(_folder.file("x.png", good)).samples, ElementsAre(0x5A5A));
    EXPECT_THAT(read(_folder.file("x.png", good + "behind")).samples, ElementsAre(0x5A5A));
    EXPECT_THAT(
        read(_folder.file("x.png", pngOf(test::pngChunk("tEXt", "a") + test::pngChunk("IDAT", kPixel.substr(0, 5)) +
                                         test::pngChunk("IDAT", kPixel.substr(5)))))
            .samples,
        ElementsAre(0x5A5A));
    const auto problem = [&](const std::string& file) { return refusal(_folder.file("x.png", file)); };
    for (std::size_t at = 16; at < 33; ++at) {
        std::string wrong = good;
        wrong[at] = static_cast<char>(wrong[at] ^ 4);
        EXPECT_NE(problem(wrong), "") << at;
    }
    std::string wrong = good;
    wrong[8 + 25 + 8 + 8] = '!';
    EXPECT_THAT(problem(wrong), EndsWith("x.png: is damaged: the check sum of its chunk IDAT is wrong"));
    EXPECT_THAT(problem(pngOf("")), EndsWith("is damaged: has no pixels"));
    EXPECT_THAT(
        problem(pngOf(test::pngChunk("IDAT", kPixel) + test::pngChunk("tEXt", "a") + test::pngChunk("IDAT", ""))),
        EndsWith("is damaged: its pixels are interrupted by another chunk"));
    EXPECT_THAT(problem(pngOf(good.substr(8, 25) + test::pngChunk("IDAT", kPixel))),
                EndsWith("is damaged: does not begin with one header"));
    EXPECT_THAT(problem(good.substr(0, good.size() - 12)), EndsWith("is damaged: ends within its chunks"));
    EXPECT_THAT(problem(good.substr(0, good.size() - 14)), EndsWith("is damaged: ends within a chunk"));
    EXPECT_THAT(problem(good.substr(0, 33) + "\xFF\xFF\xFF\xFFIDAT____"), EndsWith("is damaged: ends within a chunk"));
    EXPECT_THAT(problem(pngOf(test::pngChunk("\x1B[2J", "") + test::pngChunk("IDAT", kPixel))),
                EndsWith("is damaged: has a chunk whose type is no word"));
}

// The decoder reports no reason for a block of the fourth kind, which does not exist.
TEST_F(PictureTest, DamageThatTheDecoderDoesNotNameIsRefusedAsWell) {
    EXPECT_THAT(refusal(_folder.file("x.png", pngOf(test::pngChunk("IDAT", "\x78\x01\x07")))),
                HasSubstr("x.png: is damaged: "));
}

// The passes of an interlaced image have more lines than the image, each with its own filter byte.
TEST_F(PictureTest, InterlacedPngIsReadHoweverSmallItIs) {
    for (std::size_t width = 1; width <= 9; ++width) {
        for (std::size_t height = 1; height <= 9; ++height) {
            const std::string lines = interlacedLines(width, height);
            const std::string header = test::bigEndian(width) + test::bigEndian(height) + std::string("\1\0\0\0\1", 5);
            const auto file = [&](const std::string& pixels) {
                return "\x89PNG\r\n\x1A\n" + test::pngChunk("IHDR", header) + test::pngChunk("IDAT", unpacked(pixels)) +
                       test::pngChunk("IEND", "");
            };
            const Picture picture = read(_folder.file("x.png", file(lines)));
            EXPECT_THAT(picture.samples, testing::Each(0xFFFF)) << width << " x " << height;
            EXPECT_THAT(refusal(_folder.file("x.png", file(lines + std::string(4 * lines.size(), '\0')))),
                        EndsWith("is damaged: its pixels inflate to more than its header promises"));
        }
    }
}

TEST_F(PictureTest, PngThatEndsTooSoonIsRefused) {
    std::vector<std::uint8_t> file;
    std::string error;
    std::vector<std::uint8_t> bytes(100 * 100);
    for (std::size_t at = 0; at < bytes.size(); ++at) bytes[at] = static_cast<std::uint8_t>(at * at >> 3);
    ASSERT_TRUE(frames::encodePng({bytes.data(), {100, 100, 1}}, file, error));
    for (std::size_t size = 8; size + 12 < file.size(); size += 97) {
        const std::string path =
            _folder.file("cut.png", std::string(file.begin(), file.begin() + static_cast<long>(size)));
        EXPECT_THAT(refusal(path), HasSubstr(": is damaged: ")) << size;
    }
}

TEST_F(PictureTest, AbsurdSizesAreRefusedBeforeMemoryIsTaken) {
    // A header of 60000 x 60000 pixels, and nothing after it.
    const std::string header("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\xEA\x60\0\0\xEA\x60\x08\0\0\0\0\0\0\0\0", 33);
    EXPECT_THAT(refusal(_folder.file("x.png", header)),
                EndsWith("has 60000 x 60000 pixels, more than there is memory for"));
    const std::string greatest("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x08\0\0\0\0\0\0\0\0", 33);
    EXPECT_THAT(refusal(_folder.file("x.png", greatest)), EndsWith("more than there is memory for"));
    const std::string nothing("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\0\0\0\0\0\x08\0\0\0\0\0\0\0\0", 33);
    EXPECT_THAT(refusal(_folder.file("x.png", nothing)), EndsWith("has no PNG header that makes sense"));
    EXPECT_THAT(refusal(_folder.file("x.pgm", "P5 99999 99999 255\n")), EndsWith("names an impossible size"));
}

TEST_F(PictureTest, MoreThanMayBeTakenIsRefused) {
    const std::string grey = png({100, 100, 1}, std::vector<std::uint8_t>(10'000));
    const std::size_t file = std::filesystem::file_size(grey);
    EXPECT_THAT(refusal(grey, {.maxBytes = file + 39'999}),
                EndsWith("has 100 x 100 pixels, more than there is memory for"));
    EXPECT_EQ(read(grey, {.maxBytes = file + 40'000}).samples.size(), 10'000u) << "the decoder's samples and ours";
    const std::string pgm = _folder.file("x.pgm", "P5 2 1 255\nab");
    EXPECT_THAT(refusal(pgm, {.maxBytes = 13 + 3}), EndsWith("has 2 x 1 pixels, more than there is memory for"));
    EXPECT_EQ(read(pgm, {.maxBytes = 13 + 4}).samples.size(), 2u);
    EXPECT_THAT(rawRefusal("abcd", {2, 2, 1}, {.maxBytes = 11}),
                EndsWith("has 2 x 2 pixels, more than there is memory for"));
    EXPECT_EQ(readRaw("abcd", {2, 2, 1}, 16, {.maxBytes = 12}).size(), 1u);
    EXPECT_EQ(readRaw("abcdefgh", {2, 2, 1}, 16, {.maxBytes = 12}).size(), 2u) << "one at a time";
}

TEST_F(PictureTest, FileThatAloneTakesTooMuchIsNotRead) {
    const std::string path = _folder.file("x.pgm", "P5 1 1 255\na" + std::string(1 << 20, ' '));
    EXPECT_THAT(refusal(path, {.maxBytes = 1 << 20}), EndsWith("has 1048588 bytes, more than there is memory for"));
    EXPECT_THAT(refusal(path, {.maxBytes = 1 << 20, .maxBytesOption = "--image-memory"}),
                EndsWith("has 1048588 bytes, more than the 1 MB that are left of --image-memory"));
    EXPECT_EQ(read(path, {.maxBytes = 1048588 + 2}).samples.size(), 1u);
    const std::string colours(24, 'x');
    EXPECT_THAT(rawRefusal(colours, {2, 4, 3}, {.colour = true, .maxBytes = 24 + 47}),
                EndsWith("has 2 x 4 pixels, more than there is memory for"));
    EXPECT_EQ(readRaw(colours, {2, 4, 3}, 16, {.colour = true, .maxBytes = 24 + 48}).size(), 1u);
}

TEST_F(PictureTest, FileOfMoreThanTwoGigabytesIsNotRead) {
    const std::string path = _folder.file("x.pgm", "P5 1 1 255\na");
    std::filesystem::resize_file(path, (std::uintmax_t{1} << 31));
    EXPECT_THAT(refusal(path), EndsWith("x.pgm: is larger than 2 GB"));
}

TEST_F(PictureTest, SidesHaveALimitInEveryFormat) {
    const std::string pgm = _folder.file("x.pgm", "P5 70000 1 255\n" + std::string(70000, 'a'));
    EXPECT_THAT(refusal(pgm), EndsWith("has 70000 x 1 pixels, and a side may have at most 65536"));
    const std::string png("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\1\x11\x70\0\0\0\1\x08\0\0\0\0\0\0\0\0", 33);
    EXPECT_THAT(refusal(_folder.file("x.png", png)),
                EndsWith("has 70000 x 1 pixels, and a side may have at most 65536"));
}

TEST_F(PictureTest, ImagesOfARawFileAfterTheFirstAreLeftOutOnAStop) {
    EXPECT_EQ(readRaw("abcdef", {2, 1, 1}, 16, {.stopRequested = [] { return true; }}).size(), 1u);
    EXPECT_EQ(readRaw("abcdef", {2, 1, 1}, 16, {.stopRequested = [] { return false; }}).size(), 3u);
}

TEST_F(PictureTest, RawFileThatIsCutWhileItIsReadIsRefused) {
    static std::string path;
    path = _folder.file("a.raw", "abcdef");
    const PictureWish cutting{.stopRequested = [] {
        std::filesystem::resize_file(path, 3);
        return false;
    }};
    std::vector<Picture> pictures;
    std::string error;
    EXPECT_FALSE(readRawPictures(path, {2, 1, 1}, 16, cutting, into(pictures), error));
    EXPECT_EQ(error, path + ": cannot be read");
    EXPECT_EQ(pictures.size(), 1u);
}

TEST_F(PictureTest, FoldersAreNoPictures) { EXPECT_EQ(refusal(_folder.path()), _folder.path() + ": is a folder"); }

TEST_F(PictureTest, RawFileOfOneImageIsRead) {
    const auto pictures = readRaw("abcdef", {3, 2, 1});
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(pictures[0].width, 3u);
    EXPECT_EQ(pictures[0].height, 2u);
    EXPECT_THAT(pictures[0].line(1, PixelWriter(1)), ElementsAre('d', 'e', 'f'));
}

TEST_F(PictureTest, RawFileOfSeveralImagesIsReadInTheirOrder) {
    const auto pictures = readRaw("abcdef", {2, 1, 1});
    ASSERT_EQ(pictures.size(), 3u);
    EXPECT_THAT(pictures[2].line(0, PixelWriter(1)), ElementsAre('e', 'f'));
}

TEST_F(PictureTest, RawPixelsKeepTheirDepth) {
    const auto words = readRaw(std::string("\x34\x12\xFF\x03", 4), {2, 1, 2});
    EXPECT_THAT(words[0].samples, ElementsAre(0x1234, 0x03FF));
    const auto ten = readRaw(std::string("\x01\x01\xFF\xFF", 4), {2, 1, 2}, 10);
    EXPECT_THAT(ten[0].line(0, PixelWriter(2, 10)), ElementsAre(1, 1, 0xFF, 3)) << "beyond ten bits is white";
    const auto colour = readRaw(std::string("\x01\x02\x03\x04", 4), {1, 1, 4}, 16, {.colour = true});
    EXPECT_THAT(colour[0].line(0, PixelWriter(3)), ElementsAre(1, 2, 3));
    const auto brightness = readRaw(std::string("\0\xFF\0", 3), {1, 1, 3});
    EXPECT_THAT(brightness[0].line(0, PixelWriter(1)), ElementsAre(150));
    const auto deep = readRaw("aXXXX", {1, 1, 5});
    EXPECT_THAT(deep[0].line(0, PixelWriter(1)), ElementsAre('a'));
}

TEST_F(PictureTest, RawFileOfAnotherSizeIsRefused) {
    EXPECT_THAT(rawRefusal("abcde", {3, 2, 1}),
                EndsWith("has 5 bytes, no whole number of images of 3 x 2 pixels of 1 byte (6 bytes each)"));
    EXPECT_THAT(rawRefusal("abcdefg", {3, 1, 2}), EndsWith("3 x 1 pixels of 2 bytes (6 bytes each)"));
    EXPECT_THAT(rawRefusal("", {3, 2, 1}), HasSubstr("has 0 bytes"));
    std::vector<Picture> pictures;
    std::string error;
    EXPECT_FALSE(readRawPictures(_folder.path("none.raw"), {1, 1, 1}, 16, {}, into(pictures), error));
    EXPECT_THAT(error, EndsWith("cannot be opened for reading"));
}

TEST(ScalingTest, ShrinkingTakesTheMeanOfTheArea) {
    const Picture picture{4, 2, 1, {0, 100, 200, 300, 400, 500, 600, 700}};
    EXPECT_THAT(scaled(picture, 2, 1).samples, ElementsAre(250, 450));
    EXPECT_THAT(scaled(picture, 1, 1).samples, ElementsAre(350));
    // Three pixels onto two: half of the middle one falls onto each.
    EXPECT_THAT(scaled({3, 1, 1, {0, 300, 900}}, 2, 1).samples, ElementsAre(100, 700));
}

TEST(ScalingTest, GrowingDrawsStraightLinesBetweenCentres) {
    EXPECT_THAT(scaled({2, 1, 1, {0, 400}}, 4, 1).samples, ElementsAre(0, 100, 300, 400));
    EXPECT_THAT(scaled({1, 2, 1, {0, 400}}, 1, 4).samples, ElementsAre(0, 100, 300, 400));
    EXPECT_THAT(scaled({1, 1, 1, {77}}, 3, 2).samples, testing::Each(77));
}

TEST(ScalingTest, ColoursStayApart) {
    const Picture picture{2, 1, 3, {0, 100, 1000, 200, 300, 3000}};
    EXPECT_THAT(scaled(picture, 1, 1).samples, ElementsAre(100, 200, 2000));
    EXPECT_EQ(scaled(picture, 1, 1).channels, 3u);
}

TEST(ScalingTest, SameSizeIsTheSamePicture) {
    const Picture picture{2, 2, 1, {1, 2, 3, 65535}};
    EXPECT_EQ(scaled(picture, 2, 2).samples, picture.samples);
}

TEST(ScalingTest, UniformStaysUniformAtAnyRatio) {
    const Picture picture{7, 5, 1, std::vector<std::uint16_t>(35, 65535)};
    for (std::size_t width = 1; width < 20; ++width) {
        const Picture other = scaled(picture, width, 23 - width);
        ASSERT_EQ(other.samples.size(), width * (23 - width));
        ASSERT_THAT(other.samples, testing::Each(65535)) << width;
    }
}

}  // namespace
