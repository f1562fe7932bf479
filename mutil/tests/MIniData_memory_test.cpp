// Ini data while memory runs out at any allocation: later answers agree with the content.
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "no_memory.h"
#include "temporary_folder.h"

namespace {

using testing::AnyOf;
using testing::IsEmpty;

constexpr int kUsualLines = 10;  // the next one makes a section's list grow

// Longer than the internal buffer of a string.
std::string nameOf(int number) { return "a name of some length " + std::to_string(number); }

std::string lines(int count) {
    std::string text = "[s]\n";
    for (int number = 0; number < count; ++number) text += nameOf(number) + "=" + std::to_string(number) + "\n";
    return text;
}

// The count-th allocation fails in a call. @return whether the call got that far.
template <typename Call>
bool runsOut(int count, Call call) {
    bool threw = false;
    test::failAllocation(count);
    try {
        call();
    } catch (const std::bad_alloc&) {
        threw = true;
    }
    const bool failed = test::allocationHasFailed();
    test::failAllocation(0);
    EXPECT_EQ(threw, failed);
    return failed;
}

// Each entry of the content is found and can be removed; no other entry is.
void expectConsistent(MIniData& data, int most) {
    for (int number = 0; number < most; ++number) {
        const std::string name = nameOf(number);
        const bool stands = data.GetContentString().find(name + "=") != std::string::npos;
        std::int32_t value = -1;
        ASSERT_EQ(data.GetLongEntry("s", name.c_str(), value), stands) << name;
        EXPECT_EQ(value, stands ? number : -1);
        EXPECT_EQ(data.DeleteEntry("s", name.c_str()), stands);
    }
    EXPECT_THAT(data.GetEntryNames("s"), IsEmpty());
    EXPECT_THAT(data.GetContentString(), AnyOf("", "[s]\n"));
}

TEST(MIniDataMemory, ASetterThatRunsOutOfMemoryLeavesTheSectionAsItWas) {
    int failures = 0;
    for (bool failed = true; failed;) {
        MIniData data;
        ASSERT_TRUE(data.SetContentString(lines(kUsualLines)));
        const std::string name = nameOf(kUsualLines);
        failed = runsOut(failures + 1, [&] { data.SetLongEntry("s", name.c_str(), kUsualLines); });
        failures += failed;
        EXPECT_EQ(data.GetContentString(), lines(failed ? kUsualLines : kUsualLines + 1));
        EXPECT_EQ(data.EntryExists("s", name.c_str()), !failed);
        EXPECT_TRUE(data.SetLongEntry("s", name.c_str(), kUsualLines));
        EXPECT_EQ(data.GetContentString(), lines(kUsualLines + 1));
        expectConsistent(data, kUsualLines + 1);
    }
    EXPECT_GE(failures, 3);  // the line's text, the list of lines, the name's place
}

TEST(MIniDataMemory, AParserThatRunsOutOfMemoryKeepsWholeLinesOnly) {
    const std::string content = lines(kUsualLines + 1);
    int failures = 0;
    for (bool failed = true; failed;) {
        MIniData data;
        failed = runsOut(failures + 1, [&] { data.SetContentString(content); });
        failures += failed;
        EXPECT_EQ(data.IsOpen(), !failed);
        EXPECT_TRUE(content.starts_with(data.GetContentString()));
        expectConsistent(data, kUsualLines + 1);
    }
    EXPECT_GE(failures, 3 * (kUsualLines + 1));
}

// Longer than the internal buffer of a string, so that the layer needs memory to examine the name.
TEST(MIniDataMemory, AFileThatCouldNotBeLookedAtIsNotHeldSoThatSavingCannotEmptyItUnawares) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("a file of some length.ini", lines(kUsualLines));
    int failures = 0;
    for (bool failed = true; failed; failures += failed) {
        MIniData data;
        test::failAllocation(failures + 1);
        try {
            data.Open(file.c_str());
        } catch (const std::bad_alloc&) {
            // Some allocations let the exception out.
        }
        failed = test::allocationHasFailed();
        test::failAllocation(0);
        EXPECT_TRUE(!data.HoldsWholeFile() || data.GetContentString() == lines(kUsualLines)) << failures;
    }
    EXPECT_GE(failures, 3);
}

// The C-style functions throw nothing.
TEST(MIniDataMemory, FunctionsAnswerWithoutMemoryAsForAnyOtherFailure) {
    const test::LogRecorder recorder;
    const std::string value(100, 'v');
    MIniData data;
    ASSERT_TRUE(data.SetContentString("[s]\nk=" + value + "\n"));
    char target[200] = "#";
    test::failAllocation(1);
    EXPECT_FALSE(MIniData_GetStringEntry(&data, "s", "k", target, sizeof target));
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_STREQ(target, "#");
    test::failAllocation(1);
    EXPECT_EQ(MIniData_GetContentString(&data), nullptr);
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_EQ(recorder.errorTraces(), (std::vector<std::string>{"MIniData_GetStringEntry(): no memory for the value",
                                                                "MIniData_GetContentString(): malloc() failed: " +
                                                                    std::string(std::strerror(ENOMEM))}));
    const std::string content = "[t]\nk=" + value;
    for (int count = 1; count <= 3; ++count) {
        test::failAllocation(count);
        EXPECT_FALSE(MIniData_SetContentString(&data, content.c_str())) << count;
        EXPECT_TRUE(test::allocationHasFailed());
    }
    EXPECT_TRUE(MIniData_SetContentString(&data, "[s]\nk=1"));
}

TEST(MIniDataMemory, ASectionThatWasAddedEndsUnchangedThoughMemoryRanOutForItsEntry) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("a.ini", lines(1));
    int added = 0;
    int failures = 0;
    for (bool failed = true; failed;) {
        MIniData data(file.c_str());
        ASSERT_TRUE(data.Unchanged());
        failed = runsOut(failures + 1, [&] { data.SetLongEntry("t", nameOf(0).c_str(), 1); });
        failures += failed;
        added += failed && data.SectionExists("t");
        EXPECT_EQ(data.Unchanged(), data.GetContentString() == lines(1));
    }
    EXPECT_GT(added, 0);
}

}  // namespace
