// The strip's three forms, at the top and at the bottom, over all small sizes.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "inspection.h"
#include "print_format.h"
#include "strip.h"

namespace {

using frames::Canvas;
using frames::ImageFormat;
using frames::ImageInspector;
using frames::ImageKind;
using frames::inspectImage;
using frames::readStrip;
using frames::Strip;
using frames::StripForm;
using frames::StripLayout;
using frames::stripLayout;
using frames::stripLines;
using frames::StripPlace;
using frames::StripWish;

constexpr StripWish kWishes[] = {
    {StripForm::cells8, StripPlace::top},    {StripForm::cells4, StripPlace::top},
    {StripForm::line, StripPlace::top},      {StripForm::cells8, StripPlace::bottom},
    {StripForm::cells4, StripPlace::bottom}, {StripForm::line, StripPlace::bottom},
};

std::string text(const ImageFormat& format, const StripWish& wish) {
    return std::to_string(format.width) + "x" + std::to_string(format.height) + "x" +
           std::to_string(format.bytesPerPixel) + " --strip-cell " +
           frames::kStripForms[static_cast<std::size_t>(*wish.form)].name +
           (wish.place == StripPlace::bottom ? " at the bottom" : " at the top");
}

// Pixels without a repetition; each seed has others.
std::vector<std::uint8_t> scene(const ImageFormat& format, std::size_t seed = 0) {
    static const std::vector<std::uint8_t> all = [] {
        std::vector<std::uint8_t> bytes(400'000);
        std::uint32_t state = 1;
        for (std::uint8_t& byte : bytes) {
            state = state * 1664525u + 1013904223u;
            byte = static_cast<std::uint8_t>(state >> 24);
        }
        return bytes;
    }();
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(seed * 101);
    return {begin, begin + static_cast<std::ptrdiff_t>(format.bytes())};
}

constexpr std::uint64_t kNumber = 0x0123456789ABCDEFu;

void stamp(std::vector<std::uint8_t>& bytes, const ImageFormat& format, const StripWish& wish,
           std::uint64_t number = kNumber) {
    const Canvas canvas{bytes.data(), format};
    const StripLayout layout = stripLayout(format, wish);
    stampStrip(canvas, {frames::kStripReplayed, number, 5000, crcOutsideStrip(canvas, layout)}, layout);
}

/// Calls check for the lowest image of each width and byte depth that carries a form, and for a higher one.
template <typename Check>
void forEveryForm(Check check) {
    for (std::size_t bytes = 1; bytes <= 4; ++bytes) {
        for (std::size_t width = 1; width <= 300; ++width) {
            for (const StripWish& wish : kWishes) {
                const std::size_t lines = stripLines({width, 100, bytes}, wish);
                if (lines == 0) continue;
                for (const std::size_t height : {lines + 1, std::size_t{60}}) {
                    const ImageFormat format{width, height, bytes};
                    if (height <= lines) continue;
                    ASSERT_NO_FATAL_FAILURE(check(format, wish)) << text(format, wish);
                }
            }
        }
    }
}

TEST(StripFormsTest, EveryFormFitsFromItsNarrowestLineOnWithALineLeftOutside) {
    for (std::size_t bytes = 1; bytes <= 4; ++bytes) {
        for (std::size_t width = 1; width <= 300; ++width) {
            for (std::size_t height = 1; height <= 60; ++height) {
                for (const StripWish& wish : kWishes) {
                    const ImageFormat format{width, height, bytes};
                    const auto& row = frames::kStripForms[static_cast<std::size_t>(*wish.form)];
                    const std::size_t columns = format.lineBytes() / row.cell;
                    const bool wide = format.lineBytes() >= row.minLineBytes;
                    const std::size_t needed = wide ? std::max((223 + columns) / columns * row.cell, row.minLines) : 0;
                    const StripLayout layout = stripLayout(format, wish);
                    ASSERT_EQ(layout.lines, wide && needed < height ? needed : 0) << text(format, wish);
                    ASSERT_EQ(layout.lines + layout.bodyLines, height) << text(format, wish);
                    const bool top = wish.place == StripPlace::top;
                    ASSERT_EQ(top ? layout.bodyFirst : layout.firstLine, top ? layout.lines : layout.bodyLines);
                    ASSERT_EQ(top ? layout.firstLine : layout.bodyFirst, 0u) << text(format, wish);
                }
            }
        }
    }
}

TEST(StripFormsTest, WhatIsWrittenIsFoundInEveryFormAndNoFormIsTakenForAnother) {
    forEveryForm([](const ImageFormat& format, const StripWish& wish) {
        std::vector<std::uint8_t> bytes = scene(format);
        stamp(bytes, format, wish);
        const auto found = inspectImage({bytes.data(), format});
        ASSERT_EQ(found.kind, ImageKind::simulated);
        ASSERT_EQ(found.strip->frameNumber, kNumber);
        ASSERT_EQ(found.strip->flags, frames::kStripReplayed);
        ASSERT_EQ(found.layout, stripLayout(format, wish));
        for (const StripWish& other : kWishes) {
            ASSERT_EQ(readStrip({bytes.data(), format}, stripLayout(format, other)).has_value(), other == wish);
        }
    });
}

TEST(StripFormsTest, AWrongByteOutsideTheStripIsTornWhereverItIs) {
    forEveryForm([](const ImageFormat& format, const StripWish& wish) {
        std::vector<std::uint8_t> bytes = scene(format);
        stamp(bytes, format, wish);
        const StripLayout layout = stripLayout(format, wish);
        const std::size_t begin = layout.bodyFirst * format.lineBytes();
        const std::size_t end = begin + layout.bodyLines * format.lineBytes();
        for (const std::size_t place : {begin, (begin + end) / 2, end - 1}) {
            bytes[place] ^= 1;
            ASSERT_EQ(inspectImage({bytes.data(), format}).kind, ImageKind::torn);
            bytes[place] ^= 1;
        }
    });
}

TEST(StripFormsTest, StampingTouchesTheStripsLinesAloneAndLeavesThemBlackAndWhite) {
    forEveryForm([](const ImageFormat& format, const StripWish& wish) {
        const std::vector<std::uint8_t> before = scene(format);
        std::vector<std::uint8_t> bytes = before;
        stamp(bytes, format, wish);
        const StripLayout layout = stripLayout(format, wish);
        const auto at = [&](std::size_t line) { return static_cast<std::ptrdiff_t>(line * format.lineBytes()); };
        const auto first = layout.bodyFirst;
        ASSERT_TRUE(std::equal(bytes.begin() + at(first), bytes.begin() + at(first + layout.bodyLines),
                               before.begin() + at(first)));
        ASSERT_TRUE(std::all_of(bytes.begin() + at(layout.firstLine),
                                bytes.begin() + at(layout.firstLine + layout.lines),
                                [](std::uint8_t byte) { return byte == 0 || byte == 255; }));
    });
}

TEST(StripFormsTest, ADamagedFieldIsToldInEveryForm) {
    for (const StripWish& wish : kWishes) {
        const ImageFormat format{512, 64, 1};
        std::vector<std::uint8_t> bytes = scene(format);
        stamp(bytes, format, wish);
        const StripLayout layout = stripLayout(format, wish);
        const std::size_t size = frames::kStripForms[static_cast<std::size_t>(layout.form)].cell;
        for (std::size_t line = 0; line < size; ++line) {
            std::uint8_t* const cell = bytes.data() + (layout.firstLine + line) * 512 + 40 * size;
            std::for_each(cell, cell + size, [](std::uint8_t& byte) { byte = static_cast<std::uint8_t>(~byte); });
        }
        const auto found = inspectImage({bytes.data(), format});
        EXPECT_EQ(found.kind, ImageKind::unverified) << text(format, wish);
        EXPECT_EQ(found.unverified, frames::Unverified::damagedStrip) << text(format, wish);
    }
}

TEST(StripFormsTest, WhereTheFirstVersionFitsItIsTakenAndElseTheFirstThatFits) {
    const auto formOf = [](const ImageFormat& format) { return stripLayout(format).form; };
    EXPECT_EQ(formOf({640, 480, 1}), StripForm::cells8);
    EXPECT_EQ(formOf({256, 57, 1}), StripForm::cells8);
    EXPECT_EQ(formOf({256, 56, 1}), StripForm::cells4);
    EXPECT_EQ(formOf({255, 100, 1}), StripForm::cells4);
    EXPECT_EQ(formOf({512, 16, 1}), StripForm::cells4);
    EXPECT_EQ(stripLines({512, 16, 1}), 8u);
    EXPECT_EQ(formOf({200, 100, 1}), StripForm::cells4);
    EXPECT_EQ(stripLines({200, 100, 1}), 20u);
    EXPECT_EQ(formOf({512, 8, 1}), StripForm::line);
    EXPECT_EQ(formOf({224, 2, 1}), StripForm::line);
    EXPECT_EQ(stripLines({224, 1, 1}), 0u);
    EXPECT_EQ(stripLines({127, 1000, 1}), 0u);
    EXPECT_EQ(stripLines({128, 29, 1}), 28u);
    EXPECT_EQ(stripLines({128, 28, 1}), 0u);
}

TEST(StripFormsTest, AFormThatDoesNotFitIsNotReplacedByAnother) {
    EXPECT_EQ(stripLines({200, 100, 1}, {StripForm::cells8, StripPlace::top}), 0u);
    EXPECT_EQ(stripLines({200, 100, 1}, {StripForm::line, StripPlace::top}), 0u);
    EXPECT_EQ(stripLines({512, 8, 1}, {StripForm::cells4, StripPlace::bottom}), 0u);
}

// Pictures that were saved with a strip of their own, shown with another one at the other end.
TEST(StripFormsTest, OfTwoStripsTheOneIsFoundWhoseImageIsWhole) {
    const ImageFormat format{640, 480, 1};
    for (const StripWish& wish : kWishes) {
        std::vector<std::uint8_t> bytes = scene(format);
        for (const StripWish& older : kWishes)
            if (older.place != wish.place || older.form < wish.form) stamp(bytes, format, older, 3);
        stamp(bytes, format, wish, 4);
        const auto found = inspectImage({bytes.data(), format});
        EXPECT_EQ(found.kind, ImageKind::simulated) << text(format, wish);
        EXPECT_EQ(found.strip->frameNumber, 4u) << text(format, wish);
    }
}

TEST(StripFormsTest, OfTwoStripsInATornImageTheOneCountsThatVerifiedBefore) {
    const ImageFormat format{640, 480, 1};
    std::vector<std::uint8_t> bytes = scene(format);
    stamp(bytes, format, {StripForm::cells8, StripPlace::top}, 3);
    stamp(bytes, format, {StripForm::cells4, StripPlace::bottom}, 4);
    ImageInspector inspector;
    EXPECT_EQ(inspector.inspect({bytes.data(), format}).strip->frameNumber, 4u);
    bytes[240 * 640] ^= 1;
    const auto torn = inspector.inspect({bytes.data(), format});
    EXPECT_EQ(torn.kind, ImageKind::torn);
    EXPECT_EQ(torn.strip->frameNumber, 4u);
}

TEST(StripFormsTest, AnInspectorFollowsFromOneFormToAnother) {
    ImageInspector inspector;
    for (const StripWish& wish : kWishes) {
        for (const ImageFormat& format : {ImageFormat{640, 480, 1}, ImageFormat{320, 100, 2}}) {
            std::vector<std::uint8_t> bytes = scene(format);
            stamp(bytes, format, wish);
            EXPECT_EQ(inspector.inspect({bytes.data(), format}).kind, ImageKind::simulated) << text(format, wish);
        }
    }
    const std::vector<std::uint8_t> faked(640 * 480, frames::kFakeGrey);
    EXPECT_EQ(inspector.inspect({faked.data(), {640, 480, 1}}).kind, ImageKind::faked);
}

TEST(StripFormsTest, ScenesWithoutAStripAreTakenForNone) {
    for (std::size_t seed = 0; seed < 200; ++seed) {
        const ImageFormat format{640, 60, 1};
        const std::vector<std::uint8_t> bytes = scene(format, seed);
        const auto found = inspectImage({bytes.data(), format});
        ASSERT_EQ(found.kind, ImageKind::unverified);
        ASSERT_EQ(found.unverified, frames::Unverified::withoutStrip);
    }
}

}  // namespace
