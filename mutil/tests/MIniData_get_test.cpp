// Finding sections and entries, and the values that the getters read from them.
#include <cmath>
#include <limits>
#include <string>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

MIniData withContent(const std::string& content) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString(content));
    return data;
}

template <typename Value>
struct Got {
    bool found;
    Value value;
    bool operator==(const Got&) const = default;
};

template <typename Value>
void PrintTo(const Got<Value>& got, std::ostream* out) {
    *out << (got.found ? "true " : "false ") << got.value;
}

// Result of a getter for the entry "k=TEXT"; the output is 77 before.
Got<std::int32_t> getLong(const std::string& text) {
    Got<std::int32_t> got{false, 77};
    got.found = withContent("[s]\nk=" + text).GetLongEntry("s", "k", got.value);
    return got;
}

Got<std::int64_t> getLongLong(const std::string& text) {
    Got<std::int64_t> got{false, 77};
    got.found = withContent("[s]\nk=" + text).GetLongLongEntry("s", "k", got.value);
    return got;
}

Got<double> getDouble(const std::string& text) {
    Got<double> got{false, 77};
    got.found = withContent("[s]\nk=" + text).GetDoubleEntry("s", "k", got.value);
    return got;
}

using Long = Got<std::int32_t>;
using LongLong = Got<std::int64_t>;
using Double = Got<double>;

TEST(MIniDataGet, LongReadsADecimalNumberAtTheValuesStart) {
    EXPECT_EQ(getLong("12"), (Long{true, 12}));
    EXPECT_EQ(getLong(" 12abc"), (Long{true, 12}));
    EXPECT_EQ(getLong("\t+7"), (Long{true, 7}));
    EXPECT_EQ(getLong("-5 "), (Long{true, -5}));
    EXPECT_EQ(getLong("0x1F"), (Long{true, 0}));
    EXPECT_EQ(getLong("010"), (Long{true, 10}));
    EXPECT_EQ(getLong("1.9"), (Long{true, 1}));
}

TEST(MIniDataGet, LongIsLimitedTo32Bits) {
    EXPECT_EQ(getLong("2147483647"), (Long{true, 2147483647}));
    EXPECT_EQ(getLong("2147483648"), (Long{true, 2147483647}));
    EXPECT_EQ(getLong("99999999999"), (Long{true, 2147483647}));
    EXPECT_EQ(getLong("99999999999999999999999"), (Long{true, 2147483647}));
    EXPECT_EQ(getLong("-99999999999"), (Long{true, std::numeric_limits<std::int32_t>::min()}));
}

TEST(MIniDataGet, AValueThatIsNoNumberGives0AndFalse) {
    for (const std::string text : {"abc", "", "  ", "-", "=1"}) {
        EXPECT_EQ(getLong(text), (Long{false, 0})) << text;
        EXPECT_EQ(getLongLong(text), (LongLong{false, 0})) << text;
        EXPECT_EQ(getDouble(text), (Double{false, 0})) << text;
    }
}

TEST(MIniDataGet, LongLongReads64BitsAndIsLimitedToThem) {
    EXPECT_EQ(getLongLong(" 99999999999x"), (LongLong{true, 99999999999}));
    EXPECT_EQ(getLongLong("-99999999999"), (LongLong{true, -99999999999}));
    EXPECT_EQ(getLongLong("9223372036854775808"), (LongLong{true, 9223372036854775807}));
    EXPECT_EQ(getLongLong("-9223372036854775809"), (LongLong{true, std::numeric_limits<std::int64_t>::min()}));
    EXPECT_EQ(getLongLong("0x1F"), (LongLong{true, 0}));
}

TEST(MIniDataGet, DoubleReadsWhatTheCLibraryReads) {
    EXPECT_EQ(getDouble(" 1.5e3mm"), (Double{true, 1500}));
    EXPECT_EQ(getDouble("-0.25"), (Double{true, -0.25}));
    EXPECT_EQ(getDouble("0x10"), (Double{true, 16}));
    EXPECT_EQ(getDouble("inf"), (Double{true, std::numeric_limits<double>::infinity()}));
    EXPECT_EQ(getDouble("1e999"), (Double{true, HUGE_VAL}));
    const Double nan = getDouble("nan");
    EXPECT_TRUE(nan.found && std::isnan(nan.value));
}

TEST(MIniDataGet, StringIsTheValueVerbatim) {
    const MIniData data = withContent("[s]\nkey = value \nempty=");
    std::string value = "old";
    EXPECT_TRUE(data.GetStringEntry("s", "key", value));
    EXPECT_EQ(value, " value ");
    EXPECT_TRUE(data.GetStringEntry("s", "empty", value));
    EXPECT_EQ(value, "");
}

TEST(MIniDataGet, WhatIsMissingLeavesTheOutputAndIsNotReported) {
    const MIniData data = withContent("[s]\nk=1");
    const test::LogRecorder recorder;
    for (const auto& [section, entry] : {std::pair{"s", "missing"}, {"missing", "k"}, {"S", "k"}, {"s", "K"}}) {
        std::string text = "old";
        std::int32_t number = 77;
        std::int64_t longNumber = 77;
        double real = 77;
        EXPECT_FALSE(data.GetStringEntry(section, entry, text));
        EXPECT_FALSE(data.GetLongEntry(section, entry, number));
        EXPECT_FALSE(data.GetLongLongEntry(section, entry, longNumber));
        EXPECT_FALSE(data.GetDoubleEntry(section, entry, real));
        EXPECT_EQ(text, "old");
        EXPECT_EQ(number, 77);
        EXPECT_EQ(longNumber, 77);
        EXPECT_EQ(real, 77);
    }
    EXPECT_THAT(recorder.entries(), IsEmpty());
}

TEST(MIniDataGet, TrailingBlanksOfTheEntrysNameDoNotCountForGettersAlone) {
    const MIniData data = withContent("[s]\nkey=1");
    std::int32_t value = 0;
    EXPECT_TRUE(data.GetLongEntry("s", "key \t", value));
    EXPECT_FALSE(data.GetLongEntry("s", " key", value));
    EXPECT_TRUE(data.EntryExists("s", "key"));
    EXPECT_FALSE(data.EntryExists("s", "key "));
}

TEST(MIniDataGet, SectionNamesMatchAsTheyAre) {
    const MIniData data = withContent("[ a]\nk=1");
    EXPECT_TRUE(data.SectionExists(" a"));
    EXPECT_FALSE(data.SectionExists("a"));
    EXPECT_FALSE(data.SectionExists(" a "));
    EXPECT_TRUE(data.EntryExists(" a", "k"));
    EXPECT_FALSE(data.EntryExists("a", "k"));
}

TEST(MIniDataGet, NamesComeInByteOrder) {
    const MIniData data = withContent("[b]\nz=1\nab=2\na=3\n\xC3\xA4=4\nZ=5\n[a]\n[B]");
    EXPECT_EQ(data.GetSectionCount(), 3u);
    EXPECT_THAT(data.GetSectionNames(), ElementsAre("B", "a", "b"));
    EXPECT_THAT(data.GetEntryNames("b"), ElementsAre("Z", "a", "ab", "z", "\xC3\xA4"));
    EXPECT_THAT(data.GetEntryNames("a"), IsEmpty());
    EXPECT_THAT(data.GetEntryNames("missing"), IsEmpty());
}

TEST(MIniDataGet, ComparesByBytesAndThenByLength) {
    const MIniDataCaseSensitiveCompare before;
    EXPECT_TRUE(before("a", "ab"));
    EXPECT_FALSE(before("ab", "a"));
    EXPECT_FALSE(before("a", "a"));
    EXPECT_TRUE(before("", "a"));
    EXPECT_TRUE(before("B", "a"));
    EXPECT_TRUE(before("z", "\xC3"));  // bytes are unsigned
}

}  // namespace
