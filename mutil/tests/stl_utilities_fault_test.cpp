// What the string helpers report when the formatter or the coder below them fails.
#include <cstdarg>
#include <string>

#include <gmock/gmock.h>

#include "log_recorder.h"
#include "refusals.h"
#include "stl_utilities.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StlUtilitiesFailure : public testing::Test {
protected:
    ~StlUtilitiesFailure() override {
        test::formatsRefused = 0;
        test::encodesShort = false;
    }

    test::LogRecorder _recorder;
};

std::string formatThroughList(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = stl_string_format_va(format, arguments);
    va_end(arguments);
    return text;
}

TEST_F(StlUtilitiesFailure, OfFormattingGivesAnEmptyStringAndAnErrorEntry) {
    test::formatsRefused = 2;
    EXPECT_EQ(stl_string_format("%d of %s", 5, "x"), "");
    EXPECT_EQ(test::formatsRefused, 0);
    test::formatsRefused = 2;
    EXPECT_EQ(formatThroughList("%d", 5), "");
    EXPECT_THAT(_recorder.errors(), ElementsAre("stl_string_format(): stl_string_format() failed: %d of %s",
                                                "stl_string_format_va(): stl_string_format_va() failed: %d"));
    EXPECT_THAT(_recorder.errorTraces(), IsEmpty());
    EXPECT_EQ(_recorder.entries()[0].file, "mutil/src/stl_utilities");
}

TEST_F(StlUtilitiesFailure, OfEncodingEmptiesTheString) {
    test::encodesShort = true;
    std::string text = "foob";
    EXPECT_FALSE(stl_encode_base64(text));
    EXPECT_EQ(text, "");
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("stl_encode_base64(): MBase64_Encode() returned 6 instead of 8"));
    EXPECT_THAT(_recorder.errors(), IsEmpty());
}

}  // namespace
