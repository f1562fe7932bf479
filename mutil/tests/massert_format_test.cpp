// An assertion whose message cannot be formatted. Neither system's formatter can be made to fail on both, so the
// sources under test, which are compiled into this program, call refusableVformat under the name of platform_vformat.
#undef platform_vformat
#include <cstdarg>
#include <string>

#include <gmock/gmock.h>

#include "../src/format_string.h"
#include "log_recorder.h"
#include "massert.h"

namespace {

bool refusesToFormat = false;

}  // namespace

int refusableVformat(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    if (!refusesToFormat) return platform_vformat(buffer, size, format, arguments);
    buffer[0] = '\0';
    return -1;
}

namespace {

using testing::ElementsAre;

class FormatFailure : public testing::Test {
protected:
    FormatFailure() { refusesToFormat = true; }
    ~FormatFailure() override { refusesToFormat = false; }
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
    MAssert_Failed("c", "F", 7, "message");
    EXPECT_THAT(recorder.errors(), ElementsAre("Assertion failed: 'c', file F, line 7"));
}

TEST_F(FormatFailure, GivesFalseAndAnEmptyString) {
    std::string text = "old";
    EXPECT_FALSE(format(text, "text"));
    EXPECT_EQ(text, "");
    refusesToFormat = false;
    EXPECT_TRUE(format(text, "%d", 5));
    EXPECT_EQ(text, "5");
    EXPECT_TRUE(format(text, "%s", ""));
    EXPECT_EQ(text, "");
}

}  // namespace
