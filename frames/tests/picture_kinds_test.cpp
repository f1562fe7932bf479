// Pictures of other kinds than PNG and PGM: JPEG, BMP, TIFF.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "picture.h"
#include "stb_settings.h"

namespace {

using frames::decodePicture;
using frames::Picture;
using frames::PictureWish;
using frames::PixelWriter;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

using Bytes = std::vector<std::uint8_t>;

void appendTo(void* file, void* data, int size) {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    static_cast<Bytes*>(file)->insert(static_cast<Bytes*>(file)->end(), bytes, bytes + size);
}

Bytes jpegOf(int width, int height, int channels, const Bytes& pixels) {
    Bytes file;
    EXPECT_NE(stbi_write_jpg_to_func(&appendTo, &file, width, height, channels, pixels.data(), 100), 0);
    return file;
}

Bytes bmpOf(int width, int height, int channels, const Bytes& pixels) {
    Bytes file;
    EXPECT_NE(stbi_write_bmp_to_func(&appendTo, &file, width, height, channels, pixels.data()), 0);
    return file;
}

void put(Bytes& file, std::size_t value, std::size_t bytes) {
    for (std::size_t byte = 0; byte < bytes; ++byte) file.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
}

void set(Bytes& file, std::size_t place, std::size_t value, std::size_t bytes) {
    for (std::size_t byte = 0; byte < bytes; ++byte)
        file[place + byte] = static_cast<std::uint8_t>(value >> (8 * byte));
}

struct TiffTags {
    std::size_t width, height, bits = 8, samples = 1, photometric = 1, compression = 1, format = 1;
};

// One strip without compression.
Bytes tiffOf(const TiffTags& tags, const Bytes& pixels) {
    Bytes file{'I', 'I', 42, 0};
    put(file, 8 + pixels.size(), 4);
    file.insert(file.end(), pixels.begin(), pixels.end());
    const auto tag = [&](std::size_t number, std::size_t value, std::size_t bytes) {
        put(file, number, 2);
        put(file, bytes == 2 ? 3 : 4, 2);
        put(file, 1, 4);
        put(file, value, 4);
    };
    put(file, 11, 2);
    tag(256, tags.width, 4);
    tag(257, tags.height, 4);
    tag(258, tags.bits, 2);
    tag(259, tags.compression, 2);
    tag(262, tags.photometric, 2);
    tag(273, 8, 4);
    tag(277, tags.samples, 2);
    tag(278, tags.height, 4);
    tag(279, pixels.size(), 4);
    tag(284, 1, 2);
    tag(339, tags.format, 2);
    put(file, 0, 4);
    return file;
}

Picture decoded(const Bytes& file, const PictureWish& wish = {}) {
    Picture picture;
    std::string error;
    EXPECT_TRUE(decodePicture(file, wish, picture, error)) << error;
    return picture;
}

std::string refusal(const Bytes& file, const PictureWish& wish = {}) {
    Picture picture{7, 7, 1, {5}};
    std::string error;
    EXPECT_FALSE(decodePicture(file, wish, picture, error));
    EXPECT_EQ(picture.width, 7u) << "a refused file leaves the picture alone";
    return error;
}

Bytes gradient(std::size_t width, std::size_t height) {
    Bytes pixels(width * height);
    for (std::size_t at = 0; at < pixels.size(); ++at)
        pixels[at] = static_cast<std::uint8_t>(at % width * 255 / (width - 1));
    return pixels;
}

TEST(JpegTest, GreysComeBackNearlyAsTheyWere) {
    const Bytes pixels = gradient(40, 30);
    const Picture picture = decoded(jpegOf(40, 30, 1, pixels));
    EXPECT_EQ(picture.width, 40u);
    EXPECT_EQ(picture.height, 30u);
    ASSERT_EQ(picture.channels, 1u);
    ASSERT_EQ(picture.samples.size(), pixels.size());
    for (std::size_t at = 0; at < pixels.size(); ++at) ASSERT_NEAR(picture.samples[at] / 257.0, pixels[at], 3) << at;
}

TEST(JpegTest, ColoursAreKeptOnRequest) {
    Bytes pixels;
    for (int pixel = 0; pixel < 16 * 16; ++pixel) pixels.insert(pixels.end(), {200, 100, 50});
    const Bytes file = jpegOf(16, 16, 3, pixels);
    const Picture colour = decoded(file, {.colour = true});
    ASSERT_EQ(colour.channels, 3u);
    EXPECT_NEAR(colour.samples[0] / 257.0, 200, 4);
    EXPECT_NEAR(colour.samples[1] / 257.0, 100, 4);
    EXPECT_NEAR(colour.samples[2] / 257.0, 50, 4);
    EXPECT_EQ(decoded(file).channels, 1u);
}

TEST(JpegTest, WhatIsCutOffOrHasNoPixelsIsRefused) {
    Bytes file = jpegOf(40, 30, 1, gradient(40, 30));
    const Bytes whole = file;
    file.resize(file.size() - 2);
    EXPECT_EQ(refusal(file), "is damaged: ends before its last pixel");
    EXPECT_THAT(refusal(Bytes(whole.begin(), whole.begin() + 100)), HasSubstr("is damaged: ends"));
    EXPECT_EQ(refusal({0xFF, 0xD8, 0xFF, 0xD9}), "is damaged: has no pixels");
}

// Each one would make the decoder go over the whole picture.
TEST(JpegTest, AFloodOfScansIsRefusedBeforeTheFirstIsDecoded) {
    Bytes file = jpegOf(40, 30, 1, gradient(40, 30));
    file.resize(file.size() - 2);
    const Bytes scan{0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0};
    for (int count = 0; count < 100; ++count) file.insert(file.end(), scan.begin(), scan.end());
    file.insert(file.end(), {0xFF, 0xD9});
    EXPECT_EQ(refusal(file), "is damaged: has more than 100 scans");
}

TEST(JpegTest, TablesOfMoreCodesThanThereArePlacesAreRefused) {
    const Bytes whole = jpegOf(40, 30, 1, gradient(40, 30));
    const Bytes tables{0xFF, 0xC4};
    const auto at = std::search(whole.begin(), whole.end(), tables.begin(), tables.end()) - whole.begin();
    ASSERT_LT(at, static_cast<std::ptrdiff_t>(whole.size()));
    for (const std::ptrdiff_t count : {5, 12, 20}) {
        Bytes file = whole;
        file[static_cast<std::size_t>(at + count)] = 255;
        EXPECT_EQ(refusal(file), "is damaged: its tables of codes are damaged") << count;
    }
}

TEST(JpegTest, KindsThatNobodyReadsAreNamed) {
    Bytes file = jpegOf(40, 30, 1, gradient(40, 30));
    const Bytes frame{0xFF, 0xC0};
    const auto found = std::search(file.begin(), file.end(), frame.begin(), frame.end());
    ASSERT_NE(found, file.end());
    found[1] = 0xC9;
    EXPECT_EQ(refusal(file), "is a JPEG of a kind that is not read (lossless or arithmetic)");
}

TEST(JpegTest, SizesBeyondTheLimitsAreRefusedFromTheHeader) {
    Bytes file = jpegOf(40, 30, 1, gradient(40, 30));
    EXPECT_THAT(refusal(file, {.maxBytes = file.size() + 2 * 2 * 40 * 30 - 1, .maxBytesOption = "--image-memory"}),
                HasSubstr("has 40 x 30 pixels; reading it takes 1 MB or more, and 0 MB are left of --image-memory"));
    const Bytes frame{0xFF, 0xC0};
    const auto found = std::search(file.begin(), file.end(), frame.begin(), frame.end());
    std::fill_n(found + 5, 4, std::uint8_t{0xFF});
    EXPECT_EQ(refusal(file), "has 65535 x 65535 pixels, more than there is memory for");
    std::fill_n(found + 5, 4, std::uint8_t{0});
    EXPECT_EQ(refusal(file), "is damaged: its header names an impossible size");
}

TEST(BmpTest, ComesBackByteForByte) {
    const Bytes colours{1, 2, 3, 250, 251, 252, 9, 8, 7, 70, 80, 90};
    EXPECT_EQ(decoded(bmpOf(2, 2, 3, colours), {.colour = true}).line(1, PixelWriter(3)), (Bytes{9, 8, 7, 70, 80, 90}));
    const Picture grey = decoded(bmpOf(3, 1, 3, {7, 7, 7, 128, 128, 128, 255, 255, 255}));
    EXPECT_EQ(grey.channels, 1u);
    EXPECT_THAT(grey.line(0, PixelWriter(1)), ElementsAre(7, 128, 255));
}

// Of two pixels of eight bits, with a palette of some greys.
Bytes paletteBmp(std::size_t colours, std::uint8_t index) {
    Bytes file{'B', 'M'};
    put(file, 14 + 40 + colours * 4 + 4, 4);
    put(file, 0, 4);
    put(file, 14 + 40 + colours * 4, 4);
    for (const auto& [value, bytes] :
         {std::pair(40, 4), std::pair(2, 4), std::pair(1, 4), std::pair(1, 2), std::pair(8, 2), std::pair(0, 4),
          std::pair(0, 4), std::pair(0, 4), std::pair(0, 4), std::pair(0, 4), std::pair(0, 4)})
        put(file, static_cast<std::size_t>(value), static_cast<std::size_t>(bytes));
    for (std::size_t colour = 0; colour < colours; ++colour) put(file, colour * 0x010101 * 10, 4);
    file.insert(file.end(), {0, index, 0, 0});
    return file;
}

TEST(BmpTest, PaletteColoursThatAreMissingAreRefused) {
    EXPECT_THAT(decoded(paletteBmp(3, 2)).line(0, PixelWriter(1)), ElementsAre(0, 20));
    EXPECT_EQ(refusal(paletteBmp(3, 3)), "is damaged: its pixels have colours that its palette lacks");
}

TEST(BmpTest, WhatIsCutOffCompressedOrTooLargeIsRefused) {
    const Bytes whole = bmpOf(2, 2, 3, Bytes(12, 7));
    Bytes file = whole;
    file.pop_back();
    EXPECT_EQ(refusal(file), "is damaged: ends before its last pixel");
    EXPECT_EQ(refusal(Bytes(whole.begin(), whole.begin() + 20)), "is damaged: ends within its header");
    file = whole;
    set(file, 30, 1, 4);
    EXPECT_EQ(refusal(file), "is a compressed BMP; only plain ones are read");
    file = whole;
    set(file, 18, 0x40000000, 4);
    EXPECT_EQ(refusal(file), "is damaged: ends before its last pixel");
    set(file, 18, 0, 4);
    EXPECT_EQ(refusal(file), "is damaged: its header names an impossible size");
    EXPECT_THAT(refusal(whole, {.maxBytes = whole.size()}), HasSubstr("more than there is memory for"));
}

#if defined(FRAMES_READS_TIFF)

TEST(TiffTest, GreysOfEightAndSixteenBitsComeBackByteForByte) {
    EXPECT_THAT(decoded(tiffOf({.width = 3, .height = 1}, {0, 128, 255})).line(0, PixelWriter(1)),
                ElementsAre(0, 128, 255));
    const Picture deep = decoded(tiffOf({.width = 2, .height = 1, .bits = 16}, {0x34, 0x12, 0xFF, 0xFF}));
    EXPECT_THAT(deep.samples, ElementsAre(0x1234, 0xFFFF));
    EXPECT_THAT(decoded(tiffOf({.width = 2, .height = 1, .photometric = 0}, {0, 255})).line(0, PixelWriter(1)),
                ElementsAre(255, 0))
        << "white is 0 there";
}

TEST(TiffTest, ColoursAreKeptOnRequest) {
    // One value for all samples: libraries take it for each of them.
    const Bytes file = tiffOf({.width = 2, .height = 1, .samples = 3, .photometric = 2}, {200, 100, 50, 1, 2, 3});
    EXPECT_THAT(decoded(file, {.colour = true}).line(0, PixelWriter(3)), ElementsAre(200, 100, 50, 1, 2, 3));
    const Picture grey = decoded(file);
    EXPECT_EQ(grey.channels, 1u);
    EXPECT_NEAR(grey.samples[0] / 257.0, 0.299 * 200 + 0.587 * 100 + 0.114 * 50, 1);
}

TEST(TiffTest, OneBitIsReadToo) {
    EXPECT_THAT(decoded(tiffOf({.width = 3, .height = 1, .bits = 1}, {0xA0})).line(0, PixelWriter(1)),
                ElementsAre(255, 0, 255));
}

TEST(TiffTest, WhatIsCutOffTooLargeOrOfAnotherKindIsRefused) {
    const Bytes whole = tiffOf({.width = 3, .height = 1}, {0, 128, 255});
    EXPECT_EQ(refusal(Bytes(whole.begin(), whole.end() - 6)), "is damaged: has no TIFF header that makes sense");
    EXPECT_EQ(refusal(tiffOf({.width = 3, .height = 900}, {0, 128, 255})), "is damaged: its pixels cannot be decoded");
    EXPECT_EQ(refusal(tiffOf({.width = 65536, .height = 65536}, {0})),
              "has 65536 x 65536 pixels, more than there is memory for");
    EXPECT_EQ(refusal(tiffOf({.width = 3, .height = 1, .compression = 7}, {0, 1, 2})),
              "is a TIFF of a kind that is not read: save it without compression, in 8 or 16 bits");
    EXPECT_EQ(refusal(tiffOf({.width = 1, .height = 1, .bits = 32, .format = 3}, {0, 0, 0, 0})),
              "is a TIFF of a kind that is not read: save it without compression, in 8 or 16 bits");
    EXPECT_THAT(refusal(whole, {.maxBytes = whole.size()}), HasSubstr("more than there is memory for"));
}

// Two thousand tags, each an array on the file's own bytes.
Bytes tiffOfManyTags(std::size_t valuesOfEach) {
    constexpr std::size_t kTags = 2000;
    Bytes file{'I', 'I', 42, 0};
    put(file, 8, 4);
    put(file, kTags, 2);
    for (std::size_t tag = 0; tag < kTags; ++tag) {
        put(file, 50000 + tag, 2);
        put(file, 1, 2);
        put(file, valuesOfEach, 4);
        put(file, 8, 4);
    }
    put(file, 0, 4);
    return file;
}

TEST(TiffTest, TagsThatNameMoreDataThanTheFileHasAreRefused) {
    EXPECT_EQ(refusal(tiffOfManyTags(20000)), "is damaged: its tags name more data than the file has");
    EXPECT_EQ(refusal(tiffOfManyTags(4)), "is damaged: has no TIFF header that makes sense") << "the library's turn";
    Bytes motorola{'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0xC3, 0x50, 0, 1, 0x7F, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0};
    EXPECT_EQ(refusal(motorola), "is damaged: its tags name more data than the file has");
    Bytes big{'I', 'I', 43, 0, 8, 0, 0, 0};
    put(big, 16, 8);
    put(big, 5000, 8);
    EXPECT_EQ(refusal(big), "is damaged: its tags name more data than the file has") << "too many of them";
}

TEST(TiffTest, PixelsOfMoreSamplesThanColoursHaveAreRefused) {
    EXPECT_EQ(refusal(tiffOf({.width = 60000, .height = 1, .bits = 16, .samples = 65535}, {0, 0})),
              "is a TIFF of a kind that is not read: save it without compression, in 8 or 16 bits");
}

#else

TEST(TiffTest, ABuildWithoutTheLibrarySaysSo) {
    EXPECT_EQ(refusal(tiffOf({.width = 3, .height = 1}, {0, 128, 255})),
              "is a TIFF file, which this build cannot read; save it as PNG");
}

#endif

// Nothing of it may hurt, and each refusal has a reason that a terminal can show.
void tryEveryByte(const Bytes& whole) {
    PictureWish wish;
    wish.maxBytes = 1 << 20;
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (const int value : {0, 255, whole[place] ^ 0x80, whole[place] + 1}) {
            Bytes file = whole;
            file[place] = static_cast<std::uint8_t>(value);
            Picture picture;
            std::string error;
            const bool read = decodePicture(file, wish, picture, error);
            ASSERT_EQ(read, error.empty()) << place;
            ASSERT_TRUE(std::ranges::all_of(error, [](char letter) { return letter >= ' ' && letter <= '~'; }));
        }
    }
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Picture picture;
        std::string error;
        decodePicture(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), wish, picture, error);
    }
}

TEST(PictureKindsTest, NoWrongByteInAJpegHurts) { tryEveryByte(jpegOf(17, 9, 3, Bytes(17 * 9 * 3, 90))); }
TEST(PictureKindsTest, NoWrongByteInABmpHurts) {
    tryEveryByte(bmpOf(5, 3, 3, Bytes(45, 90)));
    tryEveryByte(paletteBmp(3, 2));
}
TEST(PictureKindsTest, NoWrongByteInATiffHurts) {
    tryEveryByte(tiffOf({.width = 5, .height = 3}, Bytes(15, 90)));
    tryEveryByte(tiffOf({.width = 5, .height = 3, .bits = 16, .samples = 3, .photometric = 2}, Bytes(90, 90)));
}

}  // namespace
