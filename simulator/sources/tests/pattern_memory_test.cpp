// Compares the memory that patterns really use, counted block by block, with what counts for --max-memory.
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counted_memory.h"
#include "pattern.h"

namespace {

using frames::ImageFormat;
using frames::PatternRow;

class PatternMemoryTest : public testing::TestWithParam<ImageFormat> {};

TEST_P(PatternMemoryTest, PatternsTakeNoMoreThanIsCounted) {
    const ImageFormat format = GetParam();
    std::vector<std::uint8_t> image(format.bytes());
    for (const PatternRow& row : frames::patterns()) {
        constexpr std::size_t kOwn = 4096;  // the object
        const test::MemoryPeak peak;
        const auto pattern = makePattern(row, format, {});
        for (std::uint64_t frame = 0; frame < 3; ++frame) pattern->draw(image.data(), frame, std::nullopt);
        EXPECT_LE(peak.bytes(), frames::patternBytes(row, format) + kOwn) << row.name;
        EXPECT_GE(10 * peak.bytes() + 2'000'000, frames::patternBytes(row, format))
            << row.name << ": counted in excess";
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, PatternMemoryTest,
                         testing::Values(ImageFormat{1280, 1024, 1}, ImageFormat{1024, 1280, 1},
                                         ImageFormat{300, 200, 16}, ImageFormat{1, 3000, 1}, ImageFormat{3000, 1, 4},
                                         ImageFormat{1, 1, 1}, ImageFormat{64, 20'000, 2}, ImageFormat{64, 65'536, 1}));

}  // namespace
