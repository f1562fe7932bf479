#include "object_look.h"

#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "platform.h"

namespace {

using testing::ElementsAre;
using Kind = ObjectSight::Kind;

constexpr const char* kNobody = "nobody has made this";

TEST(ObjectLookTest, NameThatNobodyHoldsIsAbsent) {
    EXPECT_EQ(platform_lookAtObject(kNobody, 8).kind, Kind::absent);
    EXPECT_EQ(platform_lookAtObject(kNobody, 8).kind, Kind::absent) << "looking makes nothing";
}

TEST(ObjectLookTest, EventIsSeenAndNotTaken) {
    const std::string name = test::uniqueName("event");
    const HANDLE event = CreateEventA(nullptr, FALSE, TRUE, name.c_str());
    ASSERT_TRUE(event);
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 8).kind, Kind::event);
    EXPECT_EQ(WaitForMultipleObjects(1, &event, FALSE, 0), WAIT_OBJECT_0) << "the signal is still there";
    CloseHandle(event);
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 8).kind, Kind::absent);
}

TEST(ObjectLookTest, MemoryTellsItsSizeAndFirstBytes) {
    const std::string name = test::uniqueName("memory");
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8192, name.c_str());
    ASSERT_TRUE(mapping);
    auto* view = static_cast<std::uint8_t*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_TRUE(view);
    std::iota(view, view + 4, std::uint8_t{7});
    const ObjectSight sight = platform_lookAtObject(name.c_str(), 4);
    EXPECT_EQ(sight.kind, Kind::memory);
    EXPECT_EQ(sight.bytes, 8192u);
    EXPECT_THAT(sight.content, ElementsAre(7, 8, 9, 10));
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 100'000).content.size(), 8192u);
    EXPECT_THAT(platform_lookAtObject(name.c_str(), 0).content, ElementsAre());
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 4).kind, Kind::absent) << "looking holds nothing";
}

}  // namespace
