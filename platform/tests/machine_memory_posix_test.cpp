// Limits of containers, read from files of control groups.
#include "machine_memory_posix.h"

#include <optional>

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

class ControlGroupsTest : public testing::Test {
protected:
    std::optional<std::uint64_t> limit(const std::string& membership) {
        return ControlGroups_MemoryLimit(_folder.file("membership", membership), _folder.path("mount"));
    }
    void file(const std::string& name, const std::string& content) { _folder.file("mount/" + name, content); }

    test::TemporaryFolder _folder;
};

TEST_F(ControlGroupsTest, GroupsWithoutALimitLimitNothing) {
    EXPECT_EQ(limit("0::/\n"), std::nullopt);
    file("user/memory.max", "max\n");
    EXPECT_EQ(limit("0::/user\n"), std::nullopt);
    EXPECT_EQ(limit(""), std::nullopt);
    EXPECT_EQ(limit("nonsense\n:\n::\n"), std::nullopt);
    EXPECT_EQ(ControlGroups_MemoryLimit(_folder.path("none"), _folder.path("none")), std::nullopt);
}

TEST_F(ControlGroupsTest, SmallestLimitOnTheWayUpCounts) {
    file("a/memory.max", "3000\n");
    file("a/b/memory.max", "5000\n");
    file("a/b/c/memory.max", "max\n");
    EXPECT_EQ(limit("0::/a/b/c\n"), 3000u);
    file("a/b/c/memory.max", "2000\n");
    EXPECT_EQ(limit("0::/a/b/c\n"), 2000u);
}

TEST_F(ControlGroupsTest, ContainerThatSeesItsOwnGroupAsTheMountIsLimitedByIt) {
    file("memory.max", "64000000\n");
    EXPECT_EQ(limit("0::/\n"), 64'000'000u);
    EXPECT_EQ(limit("0::/docker/0123abcd\n"), 64'000'000u) << "a path that only the machine outside has";
}

TEST_F(ControlGroupsTest, VersionOneIsReadWhereItHasTheMemory) {
    file("memory/docker/memory.limit_in_bytes", "7000\n");
    file("memory/memory.limit_in_bytes", "9223372036854771712\n");
    file("cpu/docker/memory.limit_in_bytes", "1\n");
    EXPECT_EQ(limit("12:cpu,cpuacct:/docker\n7:memory:/docker\n0::/docker\n"), 7000u);
    EXPECT_EQ(limit("7:hugetlb,memory:/docker\n"), 7000u);
    EXPECT_EQ(limit("12:cpu:/docker\n"), std::nullopt);
}

}  // namespace
