#include "pattern.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <ostream>
#include <set>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "strip.h"

namespace frames {

void PrintTo(const PatternRow& row, std::ostream* stream) { *stream << row.name; }
void PrintTo(const PatternRow* row, std::ostream* stream) { *stream << (row ? row->name : "none"); }

}  // namespace frames

namespace {

using frames::crcOutsideStrip;
using frames::findPattern;
using frames::ImageFormat;
using frames::makePattern;
using frames::Motion;
using frames::Pattern;
using frames::PatternKind;
using frames::PatternRow;
using frames::patterns;
using frames::PatternSettings;
using frames::PixelWriter;
using frames::stripLines;
using testing::Each;

constexpr std::uint8_t kUntouched = 99;

std::vector<std::uint8_t> drawn(Pattern& pattern, const ImageFormat& format, std::uint64_t frame,
                                const frames::StripWish& strip = {}) {
    std::vector<std::uint8_t> bytes(format.bytes(), kUntouched);
    const std::uint32_t crc = pattern.draw(bytes.data(), frame, std::nullopt);
    EXPECT_EQ(crc, crcOutsideStrip({bytes.data(), format}, stripLayout(format, strip))) << frame;
    return bytes;
}

/// The default settings, with motion: measuring targets move too.
PatternSettings moving() {
    PatternSettings settings;
    settings.motion = {Motion::Kind::sine, 7.3, 50};
    return settings;
}

// clang-format off
const ImageFormat kFormats[] = {
    {1280, 1024, 1 },
    {640,  480,  2 },
    {320,  240,  3 },
    {320,  240,  4 },
    {300,  120,  5 },
    {16,   3,    1 },
    {3,    3,    7 },
    {2,    200,  1 },
    {200,  2,    2 },
    {500,  17,   1 },
    {1,    1,    1 },
    {1,    1,    16},
};
// clang-format on

class EveryPatternTest : public testing::TestWithParam<PatternRow> {};

TEST_P(EveryPatternTest, DrawingOnlyWhatDiffersGivesTheSameAsDrawingEverything) {
    for (const ImageFormat& format : kFormats) {
        const auto pattern = makePattern(GetParam(), format, moving());
        const auto other = makePattern(GetParam(), format, moving());
        std::vector<std::uint8_t> reused = drawn(*pattern, format, 0);
        std::uint64_t before = 0;
        for (const std::uint64_t frame : {1u, 2u, 9u, 10u, 300u, 299u, 4000u, 4000u}) {
            const std::uint32_t crc = pattern->draw(reused.data(), frame, before);
            before = frame;
            ASSERT_EQ(reused, drawn(*other, format, frame)) << format.width << " x " << format.height << ", " << frame;
            ASSERT_EQ(crc, crcOutsideStrip({reused.data(), format}));
        }
    }
}

TEST_P(EveryPatternTest, StripLinesAreLeftAloneAndAllOthersAreDrawn) {
    for (const ImageFormat& format : kFormats) {
        const auto pattern = makePattern(GetParam(), format, {});
        std::vector<std::uint8_t> once(format.bytes(), 99);
        std::vector<std::uint8_t> again(format.bytes(), 98);
        pattern->draw(once.data(), 7, std::nullopt);
        pattern->draw(again.data(), 7, std::nullopt);
        const auto body = static_cast<std::ptrdiff_t>(stripLines(format) * format.lineBytes());
        EXPECT_EQ(std::count(once.begin(), once.begin() + body, 99), body);
        EXPECT_TRUE(std::equal(once.begin() + body, once.end(), again.begin() + body)) << format.width;
    }
}

TEST_P(EveryPatternTest, AStripOfAnyFormAndPlaceIsLeftAloneAndTheRestIsDrawn) {
    using frames::StripForm;
    using frames::StripPlace;
    for (const frames::StripWish& wish : {frames::StripWish{StripForm::cells8, StripPlace::bottom},
                                          frames::StripWish{StripForm::cells4, StripPlace::top},
                                          frames::StripWish{StripForm::cells4, StripPlace::bottom},
                                          frames::StripWish{StripForm::line, StripPlace::bottom}}) {
        for (const ImageFormat& format : kFormats) {
            PatternSettings settings = moving();
            settings.strip = wish;
            const frames::StripLayout layout = stripLayout(format, wish);
            const auto pattern = makePattern(GetParam(), format, settings);
            std::vector<std::uint8_t> bytes(format.bytes(), 99);
            const std::uint32_t crc = pattern->draw(bytes.data(), 7, std::nullopt);
            ASSERT_EQ(crc, crcOutsideStrip({bytes.data(), format}, layout)) << format.width;
            const auto at = [&](std::size_t line) {
                return bytes.begin() + static_cast<std::ptrdiff_t>(line * format.lineBytes());
            };
            const auto stripEnd = at(layout.firstLine + layout.lines);
            ASSERT_TRUE(std::all_of(at(layout.firstLine), stripEnd, [](std::uint8_t byte) { return byte == 99; }));
            std::vector<std::uint8_t> again(format.bytes(), 98);
            makePattern(GetParam(), format, settings)->draw(again.data(), 7, std::nullopt);
            const auto body = static_cast<std::ptrdiff_t>(layout.bodyFirst * format.lineBytes());
            ASSERT_TRUE(
                std::equal(at(layout.bodyFirst), at(layout.bodyFirst + layout.bodyLines), again.begin() + body));
            const std::uint32_t moved = pattern->draw(bytes.data(), 9, 7);
            ASSERT_EQ(moved, crcOutsideStrip({bytes.data(), format}, layout)) << format.width;
        }
    }
}

TEST_P(EveryPatternTest, NeighbouringFramesDifferExactlyWhenItMoves) {
    const ImageFormat format{320, 240, 1};
    PatternSettings settings;
    settings.digits = false;
    const auto pattern = makePattern(GetParam(), format, settings);
    auto last = drawn(*pattern, format, 0);
    for (std::uint64_t frame = 1; frame < 700; ++frame) {
        auto next = drawn(*pattern, format, frame);
        ASSERT_EQ(next != last, GetParam().kind == PatternKind::moving) << frame;
        last = std::move(next);
    }
}

TEST_P(EveryPatternTest, DigitsTellTheFrameUnlessTheyWouldDisturbAMeasurement) {
    const ImageFormat format{640, 480, 1};
    PatternSettings without;
    without.digits = false;
    PatternSettings with;
    with.digits = true;
    const auto plain = drawn(*makePattern(GetParam(), format, without), format, 5);
    const auto numbered = drawn(*makePattern(GetParam(), format, with), format, 5);
    const auto byDefault = drawn(*makePattern(GetParam(), format, {}), format, 5);
    const bool hasOwn = std::string(GetParam().name) == "target";
    EXPECT_EQ(plain == numbered, hasOwn);
    EXPECT_EQ(byDefault, GetParam().digits ? numbered : plain);
    EXPECT_FALSE(GetParam().kind == PatternKind::measuring && GetParam().digits);
}

TEST_P(EveryPatternTest, TwoBytesUseTheBitsThatAreAskedFor) {
    const ImageFormat format{640, 480, 2};
    for (const unsigned bits : {10u, 12u, 16u}) {
        PatternSettings settings;
        settings.bits = bits;
        const PixelWriter writer(2, bits);
        const auto bytes = drawn(*makePattern(GetParam(), format, settings), format, 3);
        unsigned greatest = 0;
        for (std::size_t at = stripLines(format) * format.lineBytes(); at < bytes.size(); at += 2)
            greatest = std::max(greatest, writer.grey(&bytes[at]));
        EXPECT_LE(greatest, writer.whiteGrey()) << bits;
        EXPECT_GE(greatest, writer.whiteGrey() * 6 / 10) << bits;
    }
}

TEST_P(EveryPatternTest, NoImageCanBeTakenForAFakedOne) {
    const ImageFormat format{200, 100, 1};
    const auto bytes = drawn(*makePattern(GetParam(), format, {}), format, 0);
    EXPECT_LT(std::count(bytes.begin(), bytes.end(), 10), static_cast<std::ptrdiff_t>(format.bytes() / 10));
}

TEST_P(EveryPatternTest, IsFoundByBothNamesInAnySpelling) {
    const PatternRow& row = GetParam();
    for (std::string name : {std::string(row.name), std::string(row.standardName)}) {
        ASSERT_TRUE(findPattern(name)) << name;
        EXPECT_STREQ(findPattern(name)->name, row.name);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
        std::replace(name.begin(), name.end(), '-', '_');
        ASSERT_TRUE(findPattern(name)) << name;
        EXPECT_STREQ(findPattern(name)->name, row.name);
    }
}

TEST_P(EveryPatternTest, TruthIsKnownOfMeasuringTargetsOnly) {
    const auto pattern = makePattern(GetParam(), {320, 240, 1}, {});
    EXPECT_EQ(pattern->truth(3).empty(), GetParam().kind != PatternKind::measuring);
}

INSTANTIATE_TEST_SUITE_P(Patterns, EveryPatternTest, testing::ValuesIn(patterns().begin(), patterns().end()),
                         [](const auto& tested) { return std::string(tested.param.standardName); });

TEST(PatternTest, NamesAreAllDifferent) {
    std::set<std::string> names;
    for (const PatternRow& row : patterns()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_TRUE(names.insert(row.standardName).second) << row.standardName;
        EXPECT_STRNE(row.description, "");
    }
    EXPECT_STREQ(patterns().front().name, "target");
}

TEST(PatternTest, WrongNamesAreNotFound) {
    for (const char* name : {"", "blakc", "tartget", "ramp-horizontal", "no such thing at all"})
        EXPECT_FALSE(findPattern(name)) << name;
}

TEST(PatternTest, KindsHaveNames) {
    EXPECT_STREQ(patternKindName(PatternKind::still), "still");
    EXPECT_STREQ(patternKindName(PatternKind::moving), "moving");
    EXPECT_STREQ(patternKindName(PatternKind::measuring), "measuring");
}

/// The greys of a pattern without a strip, which each test knows.
class PatternLookTest : public testing::Test {
protected:
    static constexpr ImageFormat kSmall{200, 100, 1};

    std::vector<std::uint8_t> look(const char* name, std::uint64_t frame = 0, const ImageFormat& format = kSmall,
                                   std::uint64_t seed = 1) {
        PatternSettings settings;
        settings.digits = false;
        settings.seed = seed;
        settings.strip.form = frames::StripForm::cells8;  // for which most of these images are too narrow
        return drawn(*makePattern(*findPattern(name), format, settings), format, frame, settings.strip);
    }
};

TEST_F(PatternLookTest, BlackAndWhiteAreUniform) {
    EXPECT_THAT(look("black"), Each(0));
    EXPECT_THAT(look("white"), Each(255));
    EXPECT_THAT(look("white", 0, {20, 10, 2}), Each(255));
}

TEST_F(PatternLookTest, RampsRunFromBlackToWhite) {
    const auto across = look("ramp-h");
    EXPECT_EQ(across[0], 0);
    EXPECT_EQ(across[199], 255);
    EXPECT_TRUE(std::is_sorted(across.begin(), across.begin() + 200));
    EXPECT_EQ(across[50 * 200 + 100], 128);  // 100 / 199
    const auto down = look("ramp-v");
    EXPECT_EQ(down[199], 0);
    EXPECT_EQ(down[99 * 200], 255);
    EXPECT_EQ(down[33 * 200 + 17], 85);
}

TEST_F(PatternLookTest, RampOfSixteenBitsHasEveryGreyThatItsPixelsCanHold) {
    const ImageFormat format{65536, 1, 2};
    const auto bytes = look("ramp-h", 0, format);
    for (std::size_t x = 0; x < 65536; ++x) ASSERT_EQ(bytes[2 * x] + 256u * bytes[2 * x + 1], x);
}

TEST_F(PatternLookTest, MovingRampsAreTheStillOnesShifted) {
    const auto still = look("ramp-h");
    const auto moved = look("ramp-h-moving", 203);
    EXPECT_EQ(look("ramp-h-moving", 0), still);
    for (std::size_t x = 0; x < 200; ++x) ASSERT_EQ(moved[x], still[(x + 200 - 3) % 200]) << x;
    const auto stillDown = look("ramp-v");
    const auto movedDown = look("ramp-v-moving", 103);
    EXPECT_EQ(look("ramp-v-moving", 0), stillDown);
    for (std::size_t y = 0; y < 100; ++y) ASSERT_EQ(movedDown[y * 200], stillDown[(y + 97) % 100 * 200]) << y;
}

TEST_F(PatternLookTest, MovingLinesFollowTheFrameNumber) {
    const auto across = look("line-v-moving", 203);
    const auto down = look("line-h-moving", 105);
    for (std::size_t x = 0; x < 200; ++x) ASSERT_EQ(across[x], x == 3 ? 255 : 32) << x;
    for (std::size_t y = 0; y < 100; ++y) ASSERT_EQ(down[y * 200], y == 5 ? 255 : 32) << y;
}

TEST_F(PatternLookTest, CheckersAlternateBothWays) {
    const auto bytes = look("checkers");
    for (std::size_t y = 0; y < 100; ++y) {
        for (std::size_t x = 0; x < 200; ++x)
            ASSERT_EQ(bytes[y * 200 + x], (x / 32 + y / 32) % 2 == 0 ? 0 : 255) << x << ", " << y;
    }
}

TEST_F(PatternLookTest, BarsAreColouredWhereTheFormatHasColours) {
    const auto colour = look("bars", 0, {80, 2, 3});
    EXPECT_THAT(std::vector(colour.begin() + 15 * 3, colour.begin() + 16 * 3), testing::ElementsAre(255, 255, 0));
    EXPECT_THAT(std::vector(colour.begin() + 55 * 3, colour.begin() + 56 * 3), testing::ElementsAre(255, 0, 0));
    const auto grey = look("bars", 0, {80, 2, 1});
    const std::set<std::uint8_t, std::greater<>> levels(grey.begin(), grey.end());
    EXPECT_THAT(levels, testing::ElementsAre(255, 226, 179, 150, 105, 76, 29, 0));
}

TEST_F(PatternLookTest, BallBouncesWithinTheImage) {
    std::size_t lastLeft = 0;
    for (const std::uint64_t frame : {0u, 1u, 36u, 100u, 1000u}) {
        const auto bytes = look("ball", frame);
        std::size_t left = 200;
        std::size_t white = 0;
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            if (bytes[at] > 200) left = std::min(left, at % 200);
            if (bytes[at] == 255) ++white;
        }
        EXPECT_GT(white, 400u) << "radius 12.5: area 491";
        EXPECT_TRUE(frame != 1 || left == lastLeft + 5) << left;
        lastLeft = left;
    }
}

TEST_F(PatternLookTest, ZonePlateIsBrightInTheMiddleAndFineAtTheSides) {
    const auto bytes = look("zone-plate", 0, {101, 101, 1});
    EXPECT_EQ(bytes[50 * 101 + 50], 255);
    EXPECT_EQ(bytes[50 * 101 + 51], bytes[50 * 101 + 49]);
    EXPECT_EQ(bytes[50 * 101 + 51], bytes[51 * 101 + 50]);
    const int step = std::abs(bytes[50 * 101 + 100] - bytes[50 * 101 + 99]);
    EXPECT_GT(step, 150) << "nearly half a period per pixel";
}

TEST_F(PatternLookTest, NoiseRepeatsForTheSameSeed) {
    const auto bytes = look("noise", 5);
    EXPECT_EQ(look("noise", 5), bytes);
    EXPECT_NE(look("noise", 5, kSmall, 2), bytes);
}

TEST_F(PatternLookTest, NoiseHasEveryGreyEquallyOften) {
    const ImageFormat format{640, 480, 5};  // each of a pixel's bytes has its grey
    std::vector<int> counts(256);
    for (std::uint64_t frame = 0; frame < 4; ++frame) {
        const auto bytes = look("noise", frame, format);
        for (std::size_t at = 16 * format.lineBytes(); at < bytes.size(); ++at) ++counts[bytes[at]];
    }
    constexpr double kExpected = 640 * (480 - 16) * 5 * 4 / 256.0;
    for (std::size_t grey = 0; grey < counts.size(); ++grey)
        EXPECT_NEAR(counts[grey], kExpected, kExpected / 20) << grey;
}

TEST_F(PatternLookTest, NoiseOfTwelveBitsHasEveryGreyEquallyOften) {
    PatternSettings settings;
    settings.bits = 12;
    settings.digits = false;
    const ImageFormat format{640, 480, 2};
    const PixelWriter writer(2, 12);
    std::vector<int> counts(4096);
    const auto pattern = makePattern(*findPattern("noise"), format, settings);
    for (std::uint64_t frame = 0; frame < 16; ++frame) {
        const auto bytes = drawn(*pattern, format, frame);
        for (std::size_t at = 16 * format.lineBytes(); at < bytes.size(); at += 2) ++counts[writer.grey(&bytes[at])];
    }
    constexpr double kExpected = 640 * (480 - 16) * 16 / 4096.0;
    for (std::size_t grey = 0; grey < counts.size(); ++grey)
        EXPECT_NEAR(counts[grey], kExpected, kExpected / 4) << grey;
}

TEST_F(PatternLookTest, NoiseIsOpaqueWhereItHasAnOpacity) {
    const auto bytes = look("noise", 5, {50, 20, 4});
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
        ASSERT_EQ(bytes[at + 3], 255);
        ASSERT_TRUE(bytes[at] == bytes[at + 1] && bytes[at] == bytes[at + 2]) << at;
    }
}

// Neither a line nor a part of one repeats, wherever it is: eight equal bytes in a row are no accident.
TEST_F(PatternLookTest, NothingOfNoiseComesTwiceWithinAnImage) {
    const ImageFormat format{640, 480, 1};
    const std::size_t top = stripLines(format);
    for (const std::uint64_t frame : {0u, 5u}) {
        const auto bytes = look("noise", frame, format);
        std::vector<std::uint64_t> stretches;
        for (std::size_t at = top * 640; at + 8 <= bytes.size(); ++at) {
            if (at % 640 <= 640 - 8) std::memcpy(&stretches.emplace_back(), &bytes[at], 8);
        }
        std::sort(stretches.begin(), stretches.end());
        EXPECT_EQ(std::adjacent_find(stretches.begin(), stretches.end()), stretches.end()) << frame;
    }
}

// More lines than any table of whole ones has.
TEST_F(PatternLookTest, NoLineOfATallNoiseIsAnothers) {
    const ImageFormat format{16, 65536, 1};
    const auto bytes = look("noise", 3, format);
    std::set<std::string_view> lines;
    for (std::size_t y = 0; y < format.height; ++y)
        lines.insert({reinterpret_cast<const char*>(&bytes[y * format.width]), format.width});
    EXPECT_EQ(lines.size(), format.height);
}

TEST_F(PatternLookTest, NoiseOfNeighbouringFramesAndLinesIsUnrelated) {
    const auto one = look("noise", 5);
    const auto other = look("noise", 6);
    std::size_t equal = 0;
    std::size_t equalLines = 0;
    for (std::size_t at = 0; at < one.size(); ++at) equal += one[at] == other[at] ? 1 : 0;
    for (std::size_t at = 200; at < one.size(); ++at) equalLines += one[at] == one[at - 200] ? 1 : 0;
    EXPECT_LT(equal, one.size() / 50);
    EXPECT_LT(equalLines, one.size() / 50);
}

TEST_F(PatternLookTest, CounterShowsTheNumberOfTheFrame) {
    // 49 columns of 4 pixels; the last digit's cells begin at (200 - 196) / 2 + (1 + 7 * 6) * 4.
    const auto bytes = look("counter", 12345671);
    const std::size_t left = 2 + 43 * 4;
    const std::size_t top = 32 + 4;
    const char* const rows[] = {"..#..", ".##..", "..#..", "..#..", "..#..", "..#..", ".###."};
    for (std::size_t row = 0; row < 7; ++row) {
        for (std::size_t column = 0; column < 5; ++column) {
            const std::uint8_t level = bytes[(top + row * 4 + 1) * 200 + left + column * 4 + 1];
            ASSERT_EQ(level, rows[row][column] == '#' ? 255 : 32) << row << ", " << column;
        }
    }
    EXPECT_NE(look("counter", 112345671), look("counter", 112345670));
}

}  // namespace
