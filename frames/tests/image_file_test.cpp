#include "image_file.h"

#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inspection.h"
#include "moving_target.h"
#include "temporary_folder.h"

namespace {

using frames::crcOutsideStrip;
using frames::encodePng;
using frames::GreyImage;
using frames::ImageFormat;
using frames::inspectImage;
using frames::readGreyImage;
using frames::stampStrip;
using frames::writePng;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string text(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

class ImageFileTest : public testing::Test {
protected:
    std::string refusal(const std::string& path) {
        GreyImage image{7, 7, {1, 2, 3}};
        std::string error;
        EXPECT_FALSE(readGreyImage(path, image, error));
        EXPECT_EQ(image.width, 7u) << "a refused file leaves the image alone";
        EXPECT_THAT(image.pixels, ElementsAre(1, 2, 3));
        EXPECT_THAT(error, StartsWith(path + ": "));
        return error;
    }
    std::string refusalOf(const std::string& content) { return refusal(_folder.file("x.pgm", content)); }
    GreyImage read(const std::string& path) {
        GreyImage image;
        std::string error;
        EXPECT_TRUE(readGreyImage(path, image, error)) << error;
        return image;
    }
    std::string path(const std::string& name) { return _folder.path(name); }

    test::TemporaryFolder _folder;
};

TEST_F(ImageFileTest, SavedGreyImageComesBackByteForByte) {
    const ImageFormat format{1280, 300, 1};
    std::vector<std::uint8_t> bytes(format.bytes());
    frames::MovingTarget(format).draw(bytes.data(), 33, std::nullopt);
    stampStrip({bytes.data(), format}, {0, 33, 44, crcOutsideStrip({bytes.data(), format})});
    std::string error;
    ASSERT_TRUE(writePng(path("a.png"), {bytes.data(), format}, error)) << error;
    const GreyImage image = read(path("a.png"));
    EXPECT_EQ(image.width, 1280u);
    EXPECT_EQ(image.height, 300u);
    EXPECT_EQ(image.pixels, bytes);
    const auto inspection = inspectImage({image.pixels.data(), format});
    EXPECT_EQ(inspection.kind, frames::ImageKind::simulated);
    ASSERT_TRUE(inspection.strip);
    EXPECT_EQ(inspection.strip->frameNumber, 33u);
}

TEST_F(ImageFileTest, SavedGreyImageIsEightBitGrey) {
    const std::vector<std::uint8_t> bytes(6, 9);
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng({bytes.data(), {3, 2, 1}}, file, error));
    EXPECT_THAT(text(file), StartsWith("\x89PNG\r\n\x1A\n"));
    EXPECT_EQ(text(file).substr(8, 21), std::string("\0\0\0\x0DIHDR\0\0\0\x03\0\0\0\x02\x08\0\0\0\0", 21));
}

TEST_F(ImageFileTest, EveryPngLevelKeepsEveryByteAndHigherOnesTakeNoMoreRoom) {
    // More than the 65,535 bytes of a stored block, and with noise like a camera's.
    const ImageFormat format{640, 240, 1};
    std::vector<std::uint8_t> bytes(format.bytes());
    frames::MovingTarget(format).draw(bytes.data(), 33, std::nullopt);
    std::uint32_t noise = 1;
    for (std::uint8_t& byte : bytes) {
        noise = noise * 1'664'525U + 1'013'904'223U;
        byte = static_cast<std::uint8_t>(byte + (noise >> 30));
    }
    std::string error;
    std::size_t before = 0;
    for (int level = 0; level <= frames::kMaxPngLevel; ++level) {
        std::vector<std::uint8_t> file;
        ASSERT_TRUE(encodePng({bytes.data(), format}, file, error, level)) << error;
        EXPECT_EQ(read(_folder.file("level.png", text(file))).pixels, bytes) << level;
        if (level > 0) {
            EXPECT_LE(file.size(), before) << level;
        }
        before = file.size();
    }
}

TEST_F(ImageFileTest, LevelZeroStoresTheLinesAndItsSumsAreRight) {
    const std::vector<std::uint8_t> bytes{1, 2, 3, 4};
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng({bytes.data(), {2, 2, 1}}, file, error, 0));
    // Length 17, a zlib stream: its header, the last block of 6 bytes, two lines, the Adler-32 of those.
    EXPECT_EQ(text(file).substr(33, 25), std::string("\0\0\0\x11IDAT\x78\x01\x01\x06\0\xF9\xFF\0\x01\x02\0\x03\x04"
                                                     "\0\x1D\0\x0B",
                                                     25));
}

// Two pixels, 0x0201 and 0xFF00 in memory; the file has the upper byte first, so the reader sees 0x02 and 0xFF.
TEST_F(ImageFileTest, TwoBytesPerPixelAreSavedAsSixteenBitGrey) {
    const std::vector<std::uint8_t> bytes{0x01, 0x02, 0x00, 0xFF};
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng({bytes.data(), {2, 1, 2}}, file, error)) << error;
    EXPECT_EQ(text(file).substr(24, 2), std::string("\x10\0", 2));
    EXPECT_THAT(read(_folder.file("b.png", text(file))).pixels, ElementsAre(0x02, 0xFF));
}

TEST_F(ImageFileTest, ThreeAndFourBytesPerPixelAreSavedAsColour) {
    std::string error;
    std::vector<std::uint8_t> file;
    const std::vector<std::uint8_t> colour{255, 255, 255, 0, 0, 0, 90, 90, 90};
    ASSERT_TRUE(encodePng({colour.data(), {3, 1, 3}}, file, error)) << error;
    EXPECT_EQ(text(file).substr(24, 2), "\x08\x02");
    EXPECT_THAT(read(_folder.file("c.png", text(file))).pixels, ElementsAre(255, 0, 90));
    const std::vector<std::uint8_t> opacity{255, 255, 255, 255, 90, 90, 90, 255};
    ASSERT_TRUE(encodePng({opacity.data(), {2, 1, 4}}, file, error)) << error;
    EXPECT_EQ(text(file).substr(24, 2), "\x08\x06");
    EXPECT_THAT(read(_folder.file("d.png", text(file))).pixels, ElementsAre(255, 90));
}

TEST_F(ImageFileTest, OtherByteDepthsAreRefused) {
    const std::vector<std::uint8_t> bytes(5, 9);
    std::vector<std::uint8_t> file;
    std::string error;
    EXPECT_FALSE(encodePng({bytes.data(), {1, 1, 5}}, file, error));
    EXPECT_EQ(error, "PNG has no form for 5 bytes per pixel");
    EXPECT_FALSE(encodePng({bytes.data(), {1, 1, 0}}, file, error));
    EXPECT_EQ(error, "PNG has no form for 0 bytes per pixel");
}

TEST_F(ImageFileTest, ImageWithoutPixelsIsRefused) {
    const std::uint8_t byte = 9;
    std::string error;
    EXPECT_FALSE(writePng(path("a.png"), {&byte, {0, 5, 1}}, error));
    EXPECT_EQ(error, path("a.png") + ": an image of 0 x 5 pixels cannot be saved");
    EXPECT_FALSE(writePng(path("a.png"), {nullptr, {2, 2, 1}}, error));
    EXPECT_FALSE(std::ifstream(path("a.png")));
}

TEST_F(ImageFileTest, FileThatCannotBeWrittenIsNamed) {
    const std::uint8_t byte = 9;
    std::string error;
    const std::string nowhere = _folder.path() + "/missing/a.png";
    EXPECT_FALSE(writePng(nowhere, {&byte, {1, 1, 1}}, error));
    EXPECT_EQ(error, nowhere + ": cannot be written");
}

TEST_F(ImageFileTest, BinaryPgmIsRead) {
    const GreyImage image = read(_folder.file("a.pgm", std::string("P5\n3 2\n255\n") + "abcdef"));
    EXPECT_EQ(image.width, 3u);
    EXPECT_EQ(image.height, 2u);
    EXPECT_THAT(image.pixels, ElementsAre('a', 'b', 'c', 'd', 'e', 'f'));
}

TEST_F(ImageFileTest, PgmWithCommentsAndTrailingBytesIsRead) {
    EXPECT_THAT(read(_folder.file("a.pgm", "P5 # made by hand\n# another\n2\t1 #\n255\nxyz")).pixels,
                ElementsAre('x', 'y'));
}

TEST_F(ImageFileTest, PixelsOfAPgmMayBeginWithABlank) {
    EXPECT_THAT(read(_folder.file("a.pgm", "P5 2 1 255\n\n ")).pixels, ElementsAre('\n', ' '));
}

TEST_F(ImageFileTest, PgmOfAnotherRangeIsSpread) {
    EXPECT_THAT(read(_folder.file("a.pgm", std::string("P5 4 1 15\n\0\1\7\17", 14))).pixels,
                ElementsAre(0, 17, 119, 255));
    EXPECT_THAT(read(_folder.file("b.pgm", std::string("P5 3 1 65535\n\0\0\xFF\xFF\x80\0", 19))).pixels,
                ElementsAre(0, 255, 128));
    EXPECT_THAT(read(_folder.file("c.pgm", std::string("P5 1 1 15\n\377", 11))).pixels, ElementsAre(255));
}

TEST_F(ImageFileTest, ContentDecidesNotTheName) {
    EXPECT_THAT(read(_folder.file("a.png", "P5 2 1 255\nxy")).pixels, ElementsAre('x', 'y'));
}

TEST_F(ImageFileTest, MissingFileIsNamed) {
    EXPECT_THAT(refusal(_folder.path() + "/none.png"), EndsWith("none.png: cannot be opened for reading"));
}

TEST_F(ImageFileTest, FolderIsNoFile) { EXPECT_THAT(refusal(_folder.path()), EndsWith(": is a folder")); }

TEST_F(ImageFileTest, OtherFilesAreRefused) {
    EXPECT_THAT(refusalOf(""), EndsWith("is neither a PNG, JPEG, BMP or TIFF nor a binary PGM (P5) file"));
    EXPECT_THAT(refusalOf("P2 1 1 255 7"), EndsWith("is neither a PNG, JPEG, BMP or TIFF nor a binary PGM (P5) file"));
    EXPECT_THAT(refusalOf("GIF89a"), EndsWith("is neither a PNG, JPEG, BMP or TIFF nor a binary PGM (P5) file"));
}

TEST_F(ImageFileTest, DamagedPgmHeadersAreRefused) {
    for (const char* header : {"P5", "P5 ", "P5 3", "P5 3 2", "P5 3 2 255", "P5 x 2 255\n", "P5 3 -2 255\n",
                               "P5 3 2 255x", "P5 # 3 2 255\n"})
        EXPECT_THAT(refusalOf(header), EndsWith(": the PGM header is damaged")) << header;
}

TEST_F(ImageFileTest, ImpossiblePgmHeadersAreRefused) {
    EXPECT_THAT(refusalOf("P5 0 2 255\n"), EndsWith(": the PGM header names an impossible size"));
    EXPECT_THAT(refusalOf("P5 2 0 255\n"), EndsWith(": the PGM header names an impossible size"));
    EXPECT_THAT(refusalOf("P5 100000 100000 255\n"), EndsWith(": the PGM header names an impossible size"));
    EXPECT_THAT(refusalOf("P5 1 1 0\nx"), EndsWith(": the PGM header names an impossible greatest value"));
    EXPECT_THAT(refusalOf("P5 1 1 65536\nxx"), EndsWith(": the PGM header names an impossible greatest value"));
}

TEST_F(ImageFileTest, ShortPgmIsRefused) {
    EXPECT_THAT(refusalOf("P5 3 2 255\nabcde"), EndsWith(": the PGM file ends before its last pixel"));
    EXPECT_THAT(refusalOf("P5 3 2 256\nabcdefabcde"), EndsWith(": the PGM file ends before its last pixel"));
}

TEST_F(ImageFileTest, DamagedPngIsRefusedWithAReason) {
    const std::vector<std::uint8_t> bytes(10000, 9);
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng({bytes.data(), {100, 100, 1}}, file, error));
    for (const std::size_t size : {std::size_t{8}, std::size_t{20}, std::size_t{40}, file.size() - 20}) {
        const std::string message = refusal(_folder.file("cut.png", text(file).substr(0, size)));
        EXPECT_GT(message.size(), _folder.path("cut.png").size() + 4) << size;
    }
}

}  // namespace
