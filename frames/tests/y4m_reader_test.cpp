#include "y4m_reader.h"

#include <algorithm>
#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frames::parseY4mHeader;
using frames::Y4mFormat;
using frames::Y4mReader;
using testing::ElementsAre;
using testing::HasSubstr;
using Result = Y4mReader::Result;

constexpr std::size_t kMaxBytes = 1'000'000;

Y4mFormat parsed(const std::string& line) {
    Y4mFormat format;
    std::string error;
    EXPECT_TRUE(parseY4mHeader(line, format, error)) << line << ": " << error;
    return format;
}

std::string refusal(const std::string& line) {
    Y4mFormat format;
    std::string error;
    EXPECT_FALSE(parseY4mHeader(line, format, error)) << line;
    EXPECT_EQ(format.width, 0u) << "a refused header leaves the format alone";
    return error;
}

/// Gives the bytes of a text in pieces; between them it has none.
class Pieces {
public:
    Pieces(std::string text, std::size_t piece) : _text(std::move(text)), _piece(piece) {}

    std::ptrdiff_t operator()(std::uint8_t* to, std::size_t size) {
        if (_at == _text.size()) return 0;
        if (_given >= _piece) {
            _given = 0;
            return -1;
        }
        const std::size_t count = std::min({size, _piece - _given, _text.size() - _at});
        std::memcpy(to, _text.data() + _at, count);
        _at += count;
        _given += count;
        return static_cast<std::ptrdiff_t>(count);
    }

private:
    std::string _text;
    std::size_t _piece;
    std::size_t _at = 0;
    std::size_t _given = 0;
};

Y4mReader readerOf(const std::string& text, std::size_t piece = kMaxBytes) {
    return Y4mReader(Pieces(text, piece), kMaxBytes, "--image-memory");
}

// Everything, however often the source has nothing meanwhile.
Result header(Y4mReader& reader) {
    Result result = reader.readHeader();
    while (result == Result::waiting) result = reader.readHeader();
    return result;
}
Result picture(Y4mReader& reader) {
    Result result = reader.readPicture();
    while (result == Result::waiting) result = reader.readPicture();
    return result;
}

TEST(Y4mHeaderTest, SizeRateAndBitsAreRead) {
    const Y4mFormat plain = parsed("YUV4MPEG2 W640 H480 F30000:1001 Ip A1:1 C420jpeg XYSCSS=420JPEG");
    EXPECT_EQ(plain.width, 640u);
    EXPECT_EQ(plain.height, 480u);
    EXPECT_EQ(plain.rateFrames, 30000u);
    EXPECT_EQ(plain.rateSeconds, 1001u);
    EXPECT_EQ(plain.bits, 8u);
    EXPECT_EQ(plain.lumaBytes(), 640u * 480);
    EXPECT_EQ(plain.chromaBytes, 640u * 480 / 2);
}

TEST(Y4mHeaderTest, EveryArrangementHasItsBytes) {
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3").chromaBytes, 2u * 3 * 2) << "420 when nothing is said, rounded up";
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C420mpeg2").chromaBytes, 12u);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C420paldv").chromaBytes, 12u);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C422").chromaBytes, 2u * 3 * 3);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C444").chromaBytes, 2u * 5 * 3);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C411").chromaBytes, 2u * 2 * 3);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C440").chromaBytes, 2u * 5 * 2);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 Cmono").chromaBytes, 0u);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C420p10").chromaBytes, 24u);
    EXPECT_EQ(parsed("YUV4MPEG2 W5 H3 C420p10").bits, 10u);
    for (const unsigned bits : {10u, 12u, 16u}) {
        const Y4mFormat mono = parsed("YUV4MPEG2 W5 H3 Cmono" + std::to_string(bits));
        EXPECT_EQ(mono.bits, bits);
        EXPECT_EQ(mono.lumaBytes(), 30u);
    }
}

TEST(Y4mHeaderTest, WhatMakesNoSenseIsRefusedWithItsWord) {
    EXPECT_EQ(refusal(""), "is no Y4M stream: it does not begin with YUV4MPEG2");
    EXPECT_EQ(refusal("RIFF W5 H3"), "is no Y4M stream: it does not begin with YUV4MPEG2");
    EXPECT_EQ(refusal("YUV4MPEG2 W5"), "its header lacks width or height");
    for (const char* word : {"W0", "W65537", "W-5", "W5x", "W", "H99999999999999999999", "F30", "F:", "F30:x"})
        EXPECT_EQ(refusal(std::string("YUV4MPEG2 W5 H3 ") + word),
                  "its header has '" + std::string(word) + "', which makes no sense");
    for (const char* kind : {"410", "444alpha", "420p7", "420p17", "mono7", "mono17", "420x", "", "p10"})
        EXPECT_EQ(refusal(std::string("YUV4MPEG2 W5 H3 C") + kind),
                  "its pixels are of the kind 'C" + std::string(kind) +
                      "', which is not read: mono, 420, 422 and 444 of 8 to 16 bits are");
    EXPECT_THAT(refusal("YUV4MPEG2 W5 H3 C\x1B[31m"), testing::Not(HasSubstr("\x1B")));
}

TEST(Y4mReaderTest, PicturesComeInOrderHoweverTheirBytesCome) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, std::size_t{10}, kMaxBytes}) {
        Y4mReader reader = readerOf("YUV4MPEG2 W3 H2 F25:1 C420jpeg\nFRAME\nabcdefuuvvFRAME Ip\nghijkluuvv", piece);
        ASSERT_EQ(header(reader), Result::ready);
        ASSERT_EQ(reader.format().chromaBytes, 4u);
        ASSERT_EQ(picture(reader), Result::ready) << reader.error();
        EXPECT_THAT(reader.luma(), ElementsAre('a', 'b', 'c', 'd', 'e', 'f'));
        ASSERT_EQ(picture(reader), Result::ready) << reader.error();
        EXPECT_THAT(reader.luma(), ElementsAre('g', 'h', 'i', 'j', 'k', 'l'));
        EXPECT_EQ(picture(reader), Result::ended);
        EXPECT_EQ(picture(reader), Result::ended);
    }
}

TEST(Y4mReaderTest, AStreamThatBreaksOffSaysWhere) {
    const std::string stream = "YUV4MPEG2 W2 H1 Cmono\nFRAME\nab";
    for (std::size_t size = 0; size < stream.size(); ++size) {
        Y4mReader reader = readerOf(stream.substr(0, size));
        const Result first = header(reader);
        if (size < 22) {
            EXPECT_EQ(first, Result::failed) << size;
            EXPECT_EQ(reader.error(), size == 0 ? "is empty" : "ends within its header");
            continue;
        }
        ASSERT_EQ(first, Result::ready) << size;
        EXPECT_EQ(picture(reader), size == 22 ? Result::ended : Result::failed) << size;
        EXPECT_EQ(reader.error(), size == 22 ? "" : "ends within a picture");
    }
}

TEST(Y4mReaderTest, HostileStreamsAreRefusedBeforeTheyTakeMemory) {
    Y4mReader large = readerOf("YUV4MPEG2 W65536 H65536 Cmono16\nFRAME\n");
    EXPECT_EQ(header(large), Result::failed);
    EXPECT_EQ(large.error(), "has pictures of 65536 x 65536 pixels, more than --image-memory allows");
    Y4mReader endless = readerOf("YUV4MPEG2 " + std::string(10'000, ' '));
    EXPECT_EQ(header(endless), Result::failed);
    EXPECT_EQ(endless.error(), "has a line of more than 4096 bytes");
    Y4mReader other = readerOf("YUV4MPEG2 W2 H1 Cmono\nFRAMES\nab");
    EXPECT_EQ(header(other), Result::ready);
    EXPECT_EQ(picture(other), Result::failed);
    EXPECT_EQ(other.error(), "has 'FRAMES' where a picture has to begin");
    EXPECT_EQ(picture(other), Result::failed);
}

}  // namespace
