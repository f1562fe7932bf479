#include "machine_memory.h"

#include <gtest/gtest.h>

namespace {

TEST(MachineMemoryTest, MachineHasSomeMemory) {
    constexpr std::uint64_t kLeast = std::uint64_t{16} << 20;
    constexpr std::uint64_t kMost = std::uint64_t{1} << 50;
    EXPECT_GE(platform_machineMemoryBytes(), kLeast);
    EXPECT_LE(platform_machineMemoryBytes(), kMost) << "a limit that is none";
}

}  // namespace
