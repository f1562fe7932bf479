#include "stl_utilities.h"

#include <cmath>
#include <cstdarg>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------- formatting

std::string innerFormat(const char* format, std::va_list arguments) { return stl_string_format_va(format, arguments); }

std::string outerFormat(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = innerFormat(format, arguments);
    va_end(arguments);
    return text;
}

TEST(StlStringFormat, FormatsAsPrintfDoes) {
    EXPECT_EQ(stl_string_format("%d-%s", 5, "x"), "5-x");
    EXPECT_EQ(stl_string_format("%s", ""), "");
    EXPECT_EQ(stl_string_format("100 %%"), "100 %");
    EXPECT_EQ(stl_string_format("%Iu", std::size_t{1} << 40), "1099511627776");
}

TEST(StlStringFormat, GivesTextsOfAnyLengthWhole) {
    for (const std::size_t length : {1022, 1023, 1024, 1025, 100000}) {
        std::string text(length - 1, 'a');
        text.push_back('z');
        EXPECT_EQ(stl_string_format("%s", text.c_str()), text) << length;
    }
}

TEST(StlStringFormat, TakesAnArgumentListThroughSeveralFunctions) {
    const std::string longText(3000, 'm');
    EXPECT_EQ(outerFormat("%d %s %g %Iu %c %s", -1, longText.c_str(), 2.5, std::size_t{7}, 'c', "end"),
              "-1 " + longText + " 2.5 7 c end");
}

// ------------------------------------------------------------------------------------------------------------- numbers

struct Conversion {
    const char* text;
    bool part;   // whether the text begins with a number
    bool whole;  // whether it is one
    double value;
};

TEST(StlStringToDouble, ReadsTheNumberThatATextBeginsWith) {
    // clang-format off
    const std::vector<Conversion> conversions = {
        {"1.5",   true,  true,  1.5                                    },
        {"1.5x",  true,  false, 1.5                                    },
        {" 2",    true,  true,  2.0                                    },
        {"2 ",    true,  false, 2.0                                    },
        {"-1e3",  true,  true,  -1000.0                                },
        {"1e999", true,  true,  std::numeric_limits<double>::infinity()},
        {"x",     false, false, 0.0                                    },
        {"",      false, true,  0.0                                    },
        {" ",     false, false, 0.0                                    },
    };
    // clang-format on
    for (const Conversion& expected : conversions) {
        double value = 7.25;
        EXPECT_EQ(stl_string_to_double(expected.text, value, false), expected.part) << expected.text;
        EXPECT_EQ(value, expected.part ? expected.value : 7.25) << expected.text;
        value = 7.25;
        EXPECT_EQ(stl_string_to_double(expected.text, value, true), expected.whole) << expected.text;
        EXPECT_EQ(value, expected.whole ? expected.value : 7.25) << expected.text;
    }
}

TEST(StlStringToInt, ReadsTheDecimalNumberThatATextBeginsWith) {
    // clang-format off
    const std::vector<Conversion> conversions = {
        {"42",           true,  true,  42           },
        {"42x",          true,  false, 42           },
        {"-7",           true,  true,  -7           },
        {" +7",          true,  true,  7            },
        {"12 ",          true,  false, 12           },
        {"0x10",         true,  false, 0            },
        {"010",          true,  true,  10           },
        {"2147483648",   true,  true,  2147483647   },
        {"99999999999",  true,  true,  2147483647   },
        {"-99999999999", true,  true,  -2147483648.0},
        {"x",            false, false, 0            },
        {"",             false, true,  0            },
        {" ",            false, false, 0            },
    };
    // clang-format on
    for (const Conversion& expected : conversions) {
        std::int32_t value = 77;
        EXPECT_EQ(stl_string_to_int(expected.text, value, false), expected.part) << expected.text;
        EXPECT_EQ(value, expected.part ? expected.value : 77) << expected.text;
        value = 77;
        EXPECT_EQ(stl_string_to_int(expected.text, value, true), expected.whole) << expected.text;
        EXPECT_EQ(value, expected.whole ? expected.value : 77) << expected.text;
    }
}

TEST(StlStringToNumber, AnEmptyTextIsWholeAndZero) {
    std::int32_t number = 77;
    double value = 7.25;
    EXPECT_TRUE(stl_string_to_int("", number, true));
    EXPECT_TRUE(stl_string_to_double("", value, true));
    EXPECT_EQ(number, 0);
    EXPECT_EQ(value, 0.0);
    number = 77;
    EXPECT_FALSE(stl_string_to_int("", number, false));
    EXPECT_EQ(number, 77);
}

TEST(StlStringToNumber, AWholeNumberHasNoZeroByteBehindIt) {
    const std::string text("12\0", 3);
    std::int32_t number = 0;
    double value = 0;
    EXPECT_FALSE(stl_string_to_int(text, number, true));
    EXPECT_FALSE(stl_string_to_double(text, value, true));
    EXPECT_TRUE(stl_string_to_int(text, number, false));
    EXPECT_EQ(number, 12);
}

TEST(StlToString, WritesNumbersAsAStreamDoes) {
    EXPECT_EQ(stl_to_string(42), "42");
    EXPECT_EQ(stl_to_string(-1), "-1");
    EXPECT_EQ(stl_to_string(std::uint64_t{18446744073709551615U}), "18446744073709551615");
    EXPECT_EQ(stl_to_string(0.1), "0.1");
    EXPECT_EQ(stl_to_string(1234567.0), "1.23457e+06");
}

TEST(StlDoubleToString, WritesSoManyDigitsBehindThePoint) {
    EXPECT_EQ(stl_double_to_string(3.14159, 2), "3.14");
    EXPECT_EQ(stl_double_to_string(2.75, 0), "3");
    EXPECT_EQ(stl_double_to_string(-0.5, 3), "-0.500");
    EXPECT_EQ(stl_double_to_string(1e300, 1).size(), 303U);
}

// ----------------------------------------------------------------------------------------------------------- unquoting

TEST(StlStringUnquoteSpace, RemovesQuoting) {
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> unquoted = {
        {R"()",             R"()"       },
        {R"(plain)",        R"(plain)"  },
        {R"("")",           R"()"       },
        {R"("a b")",        R"(a b)"    },
        {R"(a"b c"d)",      R"(ab cd)"  },
        {R"(a"b"c d)",      R"(abc d)"  },
        {R"(a\\b)",         R"(a\b)"    },
        {R"(a\"b)",         R"(a"b)"    },
        {R"("a \"b\" \\")", R"(a "b" \)"},
        {R"(a\"b c)",       R"(a"b c)"  },
        {R"(""a"")",        R"(a)"      },
    };
    // clang-format on
    const test::LogRecorder recorder;
    for (const auto& [quoted, expected] : unquoted) {
        std::string text = quoted;
        EXPECT_TRUE(stl_string_unquote_space(text)) << quoted;
        EXPECT_EQ(text, expected) << quoted;
    }
    EXPECT_THAT(recorder.entries(), IsEmpty());
}

TEST(StlStringUnquoteSpace, RefusesWhatIsNotQuotedAsItShouldBe) {
    const std::string space = "stl_string_unquote_space(): found unquoted space";
    const std::string backslash = "stl_string_unquote_space(): can't unquote a lonely backslash";
    const std::string open = "stl_string_unquote_space(): no closing quote found";
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> refused = {
        {"ab cd",      space    },
        {" ",          space    },
        {R"(a "b")",   space    },
        {R"(a\nb)",    backslash},
        {R"(a\)",      backslash},
        {R"(a\ b)",    backslash},
        {R"("a\)",     backslash},
        {R"("abc)",    open     },
        {R"(a"b"c"d)", open     },
        {R"(")",       open     },
        {R"("a\")",    open     },
    };
    // clang-format on
    for (const auto& [quoted, message] : refused) {
        const test::LogRecorder recorder;
        std::string text = quoted;
        EXPECT_FALSE(stl_string_unquote_space(text)) << quoted;
        EXPECT_EQ(text, quoted);
        EXPECT_THAT(recorder.errorTraces(), ElementsAre(message)) << quoted;
        EXPECT_THAT(recorder.errors(), IsEmpty());
    }
}

// -------------------------------------------------------------------------------------------------------------- base64

TEST(StlBase64, EncodesAStringsBytesInPlace) {
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> texts = {
        {"",      ""    },
        {"f",     "Zg=="},
        {"fo",    "Zm8="},
        {"foo",   "Zm9v"},
        {"\0\0"s, "AAA="},
    };
    // clang-format on
    for (const auto& [bytes, encoded] : texts) {
        std::string text = bytes;
        EXPECT_TRUE(stl_encode_base64(text));
        EXPECT_EQ(text, encoded);
        EXPECT_TRUE(stl_decode_base64(text));
        EXPECT_EQ(text, bytes);
    }
}

TEST(StlBase64, DecodingDropsZeroBytesAtTheEndButNotTheDigit) {
    std::string text("Zg==\0\0\0", 7);
    EXPECT_TRUE(stl_decode_base64(text));
    EXPECT_EQ(text, "f");
    text = std::string("MDA=\0\0", 6);
    EXPECT_TRUE(stl_decode_base64(text));
    EXPECT_EQ(text, "00");
    text = std::string(3, '\0');
    EXPECT_TRUE(stl_decode_base64(text));
    EXPECT_EQ(text, "");
}

TEST(StlBase64, DecodingEmptiesAStringThatIsNoSuchText) {
    const test::LogRecorder recorder;
    std::string text = "abcde";
    EXPECT_FALSE(stl_decode_base64(text));
    EXPECT_EQ(text, "");
    EXPECT_THAT(recorder.errorTraces(),
                ElementsAre("MBase64_Decode(): source_len has to be multiple of 4, not 5",
                            "stl_decode_base64(): MBase64_Decode(5) failed (18446744073709551615)"));
    EXPECT_THAT(recorder.errors(), IsEmpty());
}

}  // namespace
