// The reasons given for refused objects, on both systems.
#include "object_refusal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "object_handles.h"

namespace {

using test::ObjectHandle;
using testing::HasSubstr;

TEST(ObjectRefusalTest, ObjectOfAnotherKindUnderTheNameIsTold) {
    const std::string name = test::uniqueName("taken");
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, name.c_str()));
    ASSERT_TRUE(event.get());
    ASSERT_FALSE(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.c_str()));
    const ObjectRefusal refusal = platform_explainRefusal(name.c_str(), GetLastError(), 100);
    EXPECT_EQ(refusal.reason, '"' + name + "\" is the name of an object of another kind already");
    EXPECT_EQ(refusal.remedy, "end the program that made it");
    EXPECT_FALSE(refusal.isAboutRoom);
}

TEST(ObjectRefusalTest, MemoryThatDoesNotFitIsToldWithWhatIsFreeAndWhatIsNeeded) {
    const ObjectRoom room = platform_lookAtRoom();
    ASSERT_GT(room.totalBytes, 0u);
    const std::uint64_t bytes = std::uint64_t{1} << 60;
    const ObjectRefusal refusal = platform_explainRefusal("any", ERROR_COMMITMENT_LIMIT, bytes);
    EXPECT_THAT(refusal.reason, HasSubstr(std::to_string(platform_roomFor(bytes)) + " are needed"));
    EXPECT_TRUE(refusal.isAboutRoom);
    EXPECT_NE(refusal.remedy, "");
}

TEST(ObjectRefusalTest, RoomIsThatOfAPlace) {
    const ObjectRoom room = platform_lookAtRoom();
    EXPECT_NE(room.place, "");
    EXPECT_LE(room.freeBytes, room.totalBytes);
    EXPECT_GE(platform_roomFor(10), 10u);
}

TEST(ObjectRefusalTest, EachCodeHasAReasonAndARemedy) {
    for (DWORD error = 0; error < 2000; ++error) {
        const ObjectRefusal refusal = platform_explainRefusal("any", error, 0);
        ASSERT_NE(refusal.reason, "") << error;
        ASSERT_NE(refusal.remedy, "") << error;
    }
    EXPECT_THAT(platform_explainRefusal("any", 31, 0).reason, HasSubstr("error 31"));
}

}  // namespace
