#include "crc32.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

// Bit by bit, directly from the definition.
std::uint32_t slowCrc32(const std::vector<unsigned char>& bytes) {
    std::uint32_t value = 0xFFFFFFFFu;
    for (const unsigned char byte : bytes) {
        value ^= byte;
        for (int bit = 0; bit < 8; ++bit) value = (value & 1u) != 0 ? (value >> 1) ^ 0xEDB88320u : value >> 1;
    }
    return ~value;
}

std::vector<unsigned char> someBytes(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    std::uint32_t state = 12345;
    for (unsigned char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<unsigned char>(state >> 24);
    }
    return bytes;
}

TEST(Crc32Test, GivesTheStandardCheckValue) { EXPECT_EQ(frames::crc32("123456789", 9), 0xCBF43926u); }

TEST(Crc32Test, GivesZeroForNothing) { EXPECT_EQ(frames::crc32(nullptr, 0), 0u); }

TEST(Crc32Test, AgreesWithTheDefinitionForEveryShortLengthAndOffset) {
    const auto bytes = someBytes(100);
    for (std::size_t offset = 0; offset < 9; ++offset) {
        for (std::size_t size = 0; size + offset <= bytes.size(); ++size) {
            const std::vector<unsigned char> part(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                                                  bytes.begin() + static_cast<std::ptrdiff_t>(offset + size));
            ASSERT_EQ(frames::crc32(bytes.data() + offset, size), slowCrc32(part)) << offset << " " << size;
        }
    }
}

TEST(Crc32Test, ContinuesWhereAnEarlierPartEnded) {
    const auto bytes = someBytes(1000);
    const std::uint32_t first = frames::crc32(bytes.data(), 333);
    EXPECT_EQ(frames::crc32(bytes.data() + 333, 667, first), frames::crc32(bytes.data(), 1000));
}

TEST(Crc32Test, ChangesWithEverySingleBit) {
    auto bytes = someBytes(40);
    const std::uint32_t before = frames::crc32(bytes.data(), bytes.size());
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] ^ (1u << bit % 8));
        ASSERT_NE(frames::crc32(bytes.data(), bytes.size()), before) << bit;
        bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] ^ (1u << bit % 8));
    }
}

}  // namespace
