// The functions for callers that hold ini data by a plain pointer.
#include <cstdlib>
#include <memory>
#include <string>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MIniDataFunctionsTest : public testing::Test {
protected:
    MIniDataFunctionsTest() { EXPECT_TRUE(MIniData_SetContentString(&_data, "[s]\nk=value\nn= 12x\nd=1.5\n")); }

    // Result of the string getter for a target of that size that is filled with '#'.
    std::string got(const char* entry, std::size_t size, bool expected) {
        std::string target(8, '#');
        EXPECT_EQ(MIniData_GetStringEntry(&_data, "s", entry, target.data(), size), expected);
        return target;
    }

    test::LogRecorder _recorder;
    MIniData _data;
};

TEST_F(MIniDataFunctionsTest, GetStringEntryCopiesAValueThatFits) {
    EXPECT_EQ(got("k", 8, true), std::string("value\0##", 8));
    EXPECT_EQ(got("k", 6, true), std::string("value\0##", 8));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataFunctionsTest, GetStringEntryCutsAValueThatIsTooLong) {
    EXPECT_EQ(got("k", 5, false), std::string("valu\0###", 8));
    EXPECT_EQ(got("k", 1, false), std::string("\0#######", 8));
    EXPECT_EQ(got("k", 0, false), "########");
    const std::string text = "MIniData_GetStringEntry(): returned string too long for target ";
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre(text + "(5)", text + "(1)", text + "(0)"));
    EXPECT_EQ(_recorder.entries()[0].file, "mutil/src/MIniData");
}

TEST_F(MIniDataFunctionsTest, GetStringEntryOfAnEmptyValueNeedsOneByte) {
    EXPECT_TRUE(_data.SetStringEntry("s", "k", ""));
    EXPECT_EQ(got("k", 1, true), std::string("\0#######", 8));
    EXPECT_EQ(got("k", 0, false), "########");
}

TEST_F(MIniDataFunctionsTest, GetStringEntryOfAMissingOneLeavesTheTargetAndIsNotReported) {
    EXPECT_EQ(got("missing", 8, false), "########");
    char target = '#';
    EXPECT_FALSE(MIniData_GetStringEntry(&_data, "missing", "k", &target, 1));
    EXPECT_EQ(target, '#');
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataFunctionsTest, GetContentStringGivesABlockToFree) {
    const std::unique_ptr<char, decltype(&std::free)> block(MIniData_GetContentString(&_data), &std::free);
    EXPECT_STREQ(block.get(), "[s]\nk=value\nn= 12x\nd=1.5\n");
}

TEST_F(MIniDataFunctionsTest, SetContentStringAnswersAsTheMemberDoes) {
    EXPECT_FALSE(MIniData_SetContentString(&_data, "[t]\nword"));
    EXPECT_TRUE(_data.SectionExists("t"));
    EXPECT_FALSE(_data.SectionExists("s"));
}

TEST_F(MIniDataFunctionsTest, GettersAnswerAsTheMembersDo) {
    std::int32_t number = 77;
    std::int64_t longNumber = 77;
    double real = 77;
    EXPECT_TRUE(MIniData_GetLongEntry(&_data, "s", "n", number));
    EXPECT_TRUE(MIniData_GetLongLongEntry(&_data, "s", "n", longNumber));
    EXPECT_TRUE(MIniData_GetDoubleEntry(&_data, "s", "d", real));
    EXPECT_EQ(number, 12);
    EXPECT_EQ(longNumber, 12);
    EXPECT_EQ(real, 1.5);
    EXPECT_FALSE(MIniData_GetLongEntry(&_data, "s", "k", number));
    EXPECT_FALSE(MIniData_GetLongLongEntry(&_data, "t", "n", longNumber));
    EXPECT_FALSE(MIniData_GetDoubleEntry(&_data, "s", "missing", real));
    EXPECT_EQ(number, 0);
    EXPECT_EQ(longNumber, 12);
    EXPECT_EQ(real, 1.5);
}

TEST_F(MIniDataFunctionsTest, DeletingAnswersAsTheMembersDo) {
    EXPECT_TRUE(MIniData_DeleteEntry(&_data, "s", "k"));
    EXPECT_FALSE(MIniData_DeleteEntry(&_data, "s", "k"));
    EXPECT_TRUE(MIniData_DeleteSection(&_data, "s"));
    EXPECT_FALSE(MIniData_DeleteSection(&_data, "s"));
    EXPECT_EQ(_data.GetContentString(), "");
}

}  // namespace
