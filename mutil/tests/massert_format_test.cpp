// An assertion whose message cannot be formatted, and the formatting under it.
#include <cstdarg>
#include <string>

#include <gmock/gmock.h>

#include "format_string.h"
#include "log_recorder.h"
#include "massert.h"
#include "refusals.h"

namespace {

using testing::ElementsAre;

class FormatFailure : public testing::Test {
protected:
    ~FormatFailure() override { test::formatsRefused = 0; }
};

bool format(std::string& text, const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    const bool formatted = formatString(text, pattern, arguments);
    va_end(arguments);
    return formatted;
}

TEST_F(FormatFailure, LeavesAnAssertionsMessageEmpty) {
    const test::LogRecorder recorder;
    test::formatsRefused = 2;
    MAssert_Failed("c", "F", 7, "message");
    EXPECT_THAT(recorder.errors(), ElementsAre("Assertion failed: 'c', file F, line 7"));
}

TEST_F(FormatFailure, GivesFalseAndAnEmptyString) {
    std::string text = "old";
    test::formatsRefused = 2;
    EXPECT_FALSE(format(text, "text"));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(format(text, "%d", 5));
    EXPECT_EQ(text, "5");
    EXPECT_TRUE(format(text, "%s", ""));
    EXPECT_EQ(text, "");
}

TEST_F(FormatFailure, OfTheFirstAttemptAloneIsMadeGood) {
    std::string text = "old";
    test::formatsRefused = 1;
    EXPECT_TRUE(format(text, "%s %d %s", "one", 2, "three"));
    EXPECT_EQ(text, "one 2 three");
}

}  // namespace
