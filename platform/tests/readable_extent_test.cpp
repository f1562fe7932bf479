#include "readable_extent.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "platform.h"

namespace {

TEST(ReadableExtentTest, HeapMemoryIsReadableToItsEnd) {
    const std::vector<unsigned char> large(std::size_t{64} << 20, 1);
    const auto small = std::make_unique<int>(1);
    EXPECT_GE(platform_readableBytes(large.data()), large.size());
    EXPECT_GE(platform_readableBytes(small.get()), sizeof(int));
}

TEST(ReadableExtentTest, ViewEndsWhereItsPagesEnd) {
    constexpr std::size_t kBytes = 100'000;
    constexpr std::size_t kPage = 4096;
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBytes, nullptr);
    ASSERT_TRUE(mapping);
    // Two views of the same memory are not one run of bytes, even side by side.
    auto* const first = static_cast<unsigned char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    auto* const second = static_cast<unsigned char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_TRUE(first && second);
    for (const unsigned char* const view : {first, second}) {
        EXPECT_GE(platform_readableBytes(view), kBytes);
        EXPECT_LT(platform_readableBytes(view), kBytes + kPage);
        EXPECT_EQ(platform_readableBytes(view + 70'000), platform_readableBytes(view) - 70'000);
    }
    UnmapViewOfFile(first);
    EXPECT_EQ(platform_readableBytes(first), 0u);
    UnmapViewOfFile(second);
    CloseHandle(mapping);
}

TEST(ReadableExtentTest, NothingIsReadableAtNull) { EXPECT_EQ(platform_readableBytes(nullptr), 0u); }

}  // namespace
