#include "massert.h"

#include <string>

#include <gmock/gmock.h>

#include "log_recorder.h"
#include "no_memory.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const char kFile[] = "folder/source";

TEST(MAssert, AConditionThatHoldsDoesNothing) {
    const test::LogRecorder recorder;
    bool evaluated = false;
    EXPECT_TRUE(M_ASSERT(1 < 2, "1 < 2", "message %d", (evaluated = true) ? 1 : 0));
    EXPECT_FALSE(evaluated);
    EXPECT_THAT(recorder.entries(), IsEmpty());
}

TEST(MAssert, AFailureIsOneEntryOfTheErrorLogFromTheFacilitysOwnLocation) {
    const test::LogRecorder recorder;
    MAssert_Failed("a > b", "F", 7, "msg %d", 5);
    const auto entries = recorder.entries();
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_EQ(entries[0].sink, LogSink::errorLog);
    EXPECT_EQ(entries[0].file, "mutil/src/massert");
    EXPECT_EQ(entries[0].line, 61);
    EXPECT_EQ(entries[0].text, "Assertion failed: 'a > b', file F, line 7: msg 5");
}

TEST(MAssert, ExecutionGoesOnBehindAFailure) {
    const test::LogRecorder recorder;
    const void* const memory = nullptr;
    const bool held = M_ASSERT_AT(57, memory, "mem", "image fifo not initialized");
    EXPECT_FALSE(held);
    EXPECT_THAT(recorder.errors(),
                ElementsAre("Assertion failed: 'mem', file folder/source, line 57: image fifo not initialized"));
}

TEST(MAssert, NamesTheCallingLineAndTheGivenText) {
    const test::LogRecorder recorder;
    const double f = 0.0;
    const int line = __LINE__ + 1;
    M_ASSERT(f > 0.0, "f > 0.0", "invalid frame rate: %f", f);
    EXPECT_THAT(recorder.errors(), ElementsAre("Assertion failed: 'f > 0.0', file folder/source, line " +
                                               std::to_string(line) + ": invalid frame rate: 0.000000"));
}

TEST(MAssert, AnEmptyMessageLeavesNoColon) {
    const test::LogRecorder recorder;
    MAssert_Failed("c", "F", 7, "%s", "");
    EXPECT_THAT(recorder.errors(), ElementsAre("Assertion failed: 'c', file F, line 7"));
}

TEST(MAssert, AMessageOfAnyLengthIsWhole) {
    for (const std::size_t length : {1022, 1023, 1024, 1025, 100000}) {
        const test::LogRecorder recorder;
        const std::string message(length - 1, 'x');
        // Several arguments, so that reading the list twice would show.
        MAssert_Failed("c", "F", 7, "%s%d %d %d %d %d %d %.1f", message.c_str(), 1, 2, 3, 4, 5, 6, 7.5);
        EXPECT_THAT(recorder.errors(),
                    ElementsAre("Assertion failed: 'c', file F, line 7: " + message + "1 2 3 4 5 6 7.5"));
        MAssert_Failed("c", "F", 7, "%s%d", message.c_str(), 1);
        EXPECT_EQ(recorder.errors().back(), "Assertion failed: 'c', file F, line 7: " + message + "1");
    }
}

TEST(MAssert, PercentSignsOfTheFinishedTextAreKept) {
    const test::LogRecorder recorder;
    MAssert_Failed("a % b", "F", 7, "%s", "100%s %d");
    EXPECT_THAT(recorder.errors(), ElementsAre("Assertion failed: 'a % b', file F, line 7: 100%s %d"));
}

TEST(MAssert, SizesArePrintedInFull) {
    const test::LogRecorder recorder;
    MAssert_Failed("c", "F", 7, "%Iu", static_cast<std::size_t>(81985529216486895));
    EXPECT_THAT(recorder.errors(), ElementsAre("Assertion failed: 'c', file F, line 7: 81985529216486895"));
}

TEST(MAssert, WithoutMemoryTheFailureIsReportedWithoutItsMessage) {
    const test::LogRecorder recorder;
    test::failAllocation(1);
    MAssert_Failed("c", "F", 7, "%s", "message");
    EXPECT_TRUE(test::allocationHasFailed());
    const auto entries = recorder.entries();
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_EQ(entries[0].file, "mutil/src/massert");
    EXPECT_EQ(entries[0].line, 61);
    EXPECT_EQ(entries[0].text, "Assertion failed: 'c', file F, line 7");
}

TEST(MAssertException, OwnsItsMessage) {
    const MAssertException failure("text");
    const std::exception& base = failure;
    EXPECT_STREQ(base.what(), "text");
    EXPECT_EQ(failure.message(), "text");
    const MAssertException copy = failure;
    EXPECT_STREQ(copy.what(), "text");
    EXPECT_NE(static_cast<const void*>(copy.what()), static_cast<const void*>(failure.what()));
}

}  // namespace
