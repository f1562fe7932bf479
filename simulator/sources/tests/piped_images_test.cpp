#include "piped_images.h"

#include <algorithm>
#include <cstring>
#include <deque>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "strip.h"

namespace {

using frames::ImageFormat;
using simulator::FrameRate;
using simulator::ImageSource;
using simulator::PictureOptions;
using simulator::PipedImages;
using testing::ElementsAre;
using testing::HasSubstr;
using Supply = ImageSource::Supply;

/// A pipe that has what was put into it, and ends when it is told to.
class Pipe {
public:
    void put(const std::string& bytes) { _bytes.insert(_bytes.end(), bytes.begin(), bytes.end()); }
    void end() { _ended = true; }

    std::ptrdiff_t read(void* to, std::size_t size) {
        if (_bytes.empty()) return _ended ? 0 : -1;
        const std::size_t count = std::min(size, _bytes.size());
        std::copy_n(_bytes.begin(), count, static_cast<std::uint8_t*>(to));
        _bytes.erase(_bytes.begin(), _bytes.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<std::ptrdiff_t>(count);
    }

private:
    std::deque<char> _bytes;
    bool _ended = false;
};

class PipedImagesTest : public testing::Test {
protected:
    std::unique_ptr<PipedImages> open(const PipedImages::Wish& wish = {}) {
        return PipedImages::open([this](void* to, std::size_t size, std::int64_t) { return _pipe.read(to, size); },
                                 _options, wish, _error);
    }
    std::unique_ptr<PipedImages> opened(const PipedImages::Wish& wish = {}) {
        auto images = open(wish);
        EXPECT_TRUE(images) << _error;
        return images;
    }
    static std::vector<std::uint8_t> drawn(PipedImages& images) {
        std::vector<std::uint8_t> bytes(images.format().bytes(), 99);
        const std::uint32_t crc = images.draw(bytes.data(), 7, std::nullopt);
        EXPECT_EQ(crc, crcOutsideStrip({bytes.data(), images.format()}, images.strip()));
        return bytes;
    }

    Pipe _pipe;
    PictureOptions _options;
    std::string _error;
};

TEST_F(PipedImagesTest, PicturesAreShownAsTheyComeAndTheEndIsAnEnd) {
    _pipe.put("YUV4MPEG2 W3 H2 F30000:1001 C420\nFRAME\nabcdefuuvv");
    const auto images = opened();
    EXPECT_EQ(images->format(), (ImageFormat{3, 2, 1}));
    EXPECT_EQ(images->ownRate(), FrameRate(30000, 1001));
    EXPECT_TRUE(images->isLive());
    EXPECT_EQ(images->stripFlags(), frames::kStripReplayed);
    EXPECT_EQ(images->await(0), Supply::ready);
    EXPECT_THAT(drawn(*images), ElementsAre('a', 'b', 'c', 'd', 'e', 'f'));
    EXPECT_EQ(images->await(0), Supply::waiting);
    _pipe.put("FRAME\nghi");
    EXPECT_EQ(images->await(0), Supply::waiting);
    EXPECT_THAT(drawn(*images), ElementsAre('a', 'b', 'c', 'd', 'e', 'f')) << "until the next one is whole";
    _pipe.put("jkluuvv");
    _pipe.end();
    EXPECT_EQ(images->await(0), Supply::ready);
    EXPECT_THAT(drawn(*images), ElementsAre('g', 'h', 'i', 'j', 'k', 'l'));
    EXPECT_EQ(images->await(0), Supply::ended);
}

TEST_F(PipedImagesTest, AStreamThatBreaksOffFailsWithItsReason) {
    _pipe.put("YUV4MPEG2 W3 H2 Cmono\nFRAME\nabc");
    _pipe.end();
    const auto images = opened();
    EXPECT_EQ(images->await(0), Supply::failed);
    EXPECT_EQ(images->problem(), "standard input: ends within a picture");
    EXPECT_THAT(drawn(*images), ElementsAre(0, 0, 0, 0, 0, 0)) << "black";
}

TEST_F(PipedImagesTest, DeepPicturesKeepTheirGreysOrTakeTheBitsThatAreAskedFor) {
    const std::string stream("YUV4MPEG2 W2 H1 Cmono12\nFRAME\n\x34\x02\xFF\x0F", 34);
    _pipe.put(stream);
    const auto kept = opened();
    EXPECT_EQ(kept->format(), (ImageFormat{2, 1, 2}));
    EXPECT_EQ(kept->await(0), Supply::ready);
    EXPECT_THAT(drawn(*kept), ElementsAre(0x34, 0x02, 0xFF, 0x0F));
    _pipe.put(stream);
    const auto ten = opened({.bits = 10});
    EXPECT_EQ(ten->await(0), Supply::ready);
    EXPECT_THAT(drawn(*ten), ElementsAre(0x8D, 0x00, 0xFF, 0x03));
    _pipe.put(stream);
    const auto flat = opened({.bytesPerPixel = 1});
    EXPECT_EQ(flat->await(0), Supply::ready);
    EXPECT_THAT(drawn(*flat), ElementsAre(35, 255));
}

TEST_F(PipedImagesTest, SamplesBeyondTheirBitsAreWhite) {
    _pipe.put(std::string("YUV4MPEG2 W2 H1 Cmono10\nFRAME\n\xFF\xFF\xFF\x03", 34));
    const auto images = opened();
    EXPECT_EQ(images->await(0), Supply::ready);
    EXPECT_THAT(drawn(*images), ElementsAre(0xFF, 0x03, 0xFF, 0x03));
}

TEST_F(PipedImagesTest, EveryGreyOfEightBitsStaysAsItIs) {
    std::string picture = "YUV4MPEG2 W256 H1 Cmono\nFRAME\n";
    for (int grey = 0; grey < 256; ++grey) picture += static_cast<char>(grey);
    _pipe.put(picture);
    const auto images = opened();
    EXPECT_EQ(images->await(0), Supply::ready);
    const auto bytes = drawn(*images);
    for (std::size_t grey = 0; grey < 256; ++grey) EXPECT_EQ(bytes[grey], grey);
}

TEST_F(PipedImagesTest, LinesOfTheStripAreLeftAlone) {
    _pipe.put("YUV4MPEG2 W256 H2 Cmono\nFRAME\n" + std::string(512, 'x'));
    _options.strip = {frames::StripForm::line, frames::StripPlace::bottom};
    const auto images = opened();
    EXPECT_EQ(images->await(0), Supply::ready);
    const auto bytes = drawn(*images);
    EXPECT_EQ(std::count(bytes.begin(), bytes.begin() + 256, 'x'), 256);
    EXPECT_EQ(std::count(bytes.begin() + 256, bytes.end(), 99), 256);
}

TEST_F(PipedImagesTest, WhatCannotBeShownIsRefusedBeforeMemoryIsTaken) {
    _pipe.put("RIFF\n");
    EXPECT_FALSE(open());
    EXPECT_EQ(_error, "standard input: is no Y4M stream: it does not begin with YUV4MPEG2");
    _pipe.put("YUV4MPEG2 W640 H480\n");
    EXPECT_FALSE(open({.size = ImageFormat{320, 240, 1}}));
    EXPECT_EQ(_error, "standard input: has pictures of 640 x 480 pixels, but the camera has 320 x 240");
    _options.memoryMb = 1;
    _pipe.put("YUV4MPEG2 W1000 H1000\n");
    EXPECT_FALSE(open());
    EXPECT_EQ(_error, "standard input: its pictures take more than the 1 MB of --image-memory");
    _pipe.put("YUV4MPEG2 W65536 H65536\n");
    EXPECT_FALSE(open());
    EXPECT_EQ(_error, "standard input: has pictures of 65536 x 65536 pixels, more than --image-memory allows");
}

TEST_F(PipedImagesTest, AnAbsurdRateIsNoRate) {
    for (const char* rate :
         {"0:0", "0:1", "1:0", "10001:1", "1:101", "18446744073709551615:1", "1000000007:1000000009"}) {
        _pipe = {};
        _pipe.put(std::string("YUV4MPEG2 W3 H2 Cmono F") + rate + "\n");
        EXPECT_EQ(opened()->ownRate(), std::nullopt) << rate;
    }
}

}  // namespace
