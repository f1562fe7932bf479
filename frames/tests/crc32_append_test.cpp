#include "crc32_append.h"

#include <vector>

#include <gtest/gtest.h>

#include "crc32.h"

namespace {

using frames::crc32;
using frames::Crc32Append;

std::vector<std::uint8_t> someBytes(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::uint32_t state = 12345;
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
    return bytes;
}

class Crc32AppendTest : public testing::TestWithParam<std::size_t> {};

TEST_P(Crc32AppendTest, AppendedBlockGivesTheCrcOfBoth) {
    const std::size_t size = GetParam();
    const Crc32Append append(size);
    const auto bytes = someBytes(777 + size);
    const std::uint32_t before = crc32(bytes.data(), 777);
    const std::uint32_t block = crc32(bytes.data() + 777, size);
    EXPECT_EQ(append(before, block), crc32(bytes.data(), bytes.size()));
    EXPECT_EQ(append(0, block), block) << "nothing before it";
}

TEST_P(Crc32AppendTest, BlockIsFoundBehindItsPredecessor) {
    const std::size_t size = GetParam();
    const auto bytes = someBytes(50 + size);
    const std::uint32_t both = crc32(bytes.data(), bytes.size());
    EXPECT_EQ(Crc32Append(size).blockOf(crc32(bytes.data(), 50), both), crc32(bytes.data() + 50, size));
}

INSTANTIATE_TEST_SUITE_P(Sizes, Crc32AppendTest, testing::Values(0u, 1u, 2u, 7u, 8u, 1280u, 65535u, 1u << 20));

// zlib takes the size in 63 bits on Linux and in 31 on Windows.
TEST(Crc32AppendLargeTest, BlockThatIsTooLargeForTheLibraryCountsAsItsTwoParts) {
    constexpr std::uint32_t kBefore = 0x12345678;
    for (const std::size_t large : {std::size_t{1} << 31, (std::size_t{1} << 32) + 7, std::size_t{1} << 63}) {
        for (const std::size_t rest : {0u, 1u, 1280u}) {
            const std::uint32_t inTwo = Crc32Append(rest)(Crc32Append(large - 5)(kBefore, 0), 0);
            EXPECT_EQ(Crc32Append(large - 5 + rest)(kBefore, 0), inTwo) << large << " + " << rest;
        }
    }
}

TEST(Crc32AppendLinesTest, LinesOneByOneGiveTheCrcOfTheImage) {
    const auto bytes = someBytes(100 * 320);
    const Crc32Append append(320);
    std::uint32_t crc = 0;
    for (std::size_t line = 0; line < 100; ++line) crc = append(crc, crc32(bytes.data() + line * 320, 320));
    EXPECT_EQ(crc, crc32(bytes.data(), bytes.size()));
}

}  // namespace
