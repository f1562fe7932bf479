// How the setters change the lines, and which names they refuse.
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "no_memory.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kClass = "MIniDataT<struct MIniDataCaseSensitiveCompare>::";

// A setter with a value of its kind.
struct Setter {
    std::string name;
    std::string reportedName;
    std::string stored;
    std::string reported;
    std::function<bool(MIniData&, const char* section, const char* entry)> set;
};

const std::vector<Setter> kSetters = {
    {"SetStringEntry", "SetStringEntry", "text", "text",
     [](MIniData& data, const char* section, const char* entry) {
         return data.SetStringEntry(section, entry, "text");
     }},
    {"SetLongEntry", "SetLongEntry", "-5", "-5",
     [](MIniData& data, const char* section, const char* entry) { return data.SetLongEntry(section, entry, -5); }},
    {"SetLongLongEntry", "SetLongEntry", "1099511627776", "1099511627776",
     [](MIniData& data, const char* section, const char* entry) {
         return data.SetLongLongEntry(section, entry, std::int64_t{1} << 40);
     }},
    {"SetDoubleEntry", "SetDoubleEntry", "0.10000000000000001", "0.1",
     [](MIniData& data, const char* section, const char* entry) { return data.SetDoubleEntry(section, entry, 0.1); }},
};

void PrintTo(const Setter& setter, std::ostream* stream) { *stream << setter.name; }

class MIniDataSetTest : public testing::TestWithParam<Setter> {
protected:
    test::LogRecorder _recorder;
    MIniData _data;
};

INSTANTIATE_TEST_SUITE_P(Every, MIniDataSetTest, testing::ValuesIn(kSetters),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(MIniDataSetTest, AddsASectionAndAnEntryThatAreMissing) {
    EXPECT_TRUE(GetParam().set(_data, "s", "k"));
    EXPECT_EQ(_data.GetContentString(), "[s]\nk=" + GetParam().stored + "\n");
    std::string value;
    EXPECT_TRUE(_data.GetStringEntry("s", "k", value));
    EXPECT_EQ(value, GetParam().stored);
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_P(MIniDataSetTest, ReplacesTheValueAlone) {
    EXPECT_TRUE(_data.SetContentString("#top\n[s]\n#c\n  key \t=  1;x\nlast=2\n"));
    EXPECT_TRUE(GetParam().set(_data, "s", "key"));
    EXPECT_EQ(_data.GetContentString(), "#top\n[s]\n#c\n  key \t=" + GetParam().stored + "\nlast=2\n");
    EXPECT_THAT(_data.GetEntryNames("s"), ElementsAre("key", "last"));
}

TEST_P(MIniDataSetTest, AppendsANewEntryBehindTheSectionsLastLine) {
    EXPECT_TRUE(_data.SetContentString("[s]\na=1\n#end\n\n[t]\n"));
    EXPECT_TRUE(GetParam().set(_data, "s", "b"));
    EXPECT_EQ(_data.GetContentString(), "[s]\na=1\n#end\n\nb=" + GetParam().stored + "\n[t]\n");
}

TEST_P(MIniDataSetTest, TrailingBlanksOfTheNameDoNotCount) {
    EXPECT_TRUE(GetParam().set(_data, "s", "key \t"));
    EXPECT_TRUE(_data.EntryExists("s", "key"));
    EXPECT_TRUE(_data.SetContentString("[s]\nkey=1"));
    EXPECT_TRUE(GetParam().set(_data, "s", "key \t"));
    EXPECT_EQ(_data.GetContentString(), "[s]\nkey=" + GetParam().stored + "\n");
}

TEST_P(MIniDataSetTest, EndsUnchanged) {
    const test::TemporaryFolder folder;
    MIniData data(folder.file("a.ini", "[s]\nk=1").c_str());
    ASSERT_TRUE(data.Unchanged());
    EXPECT_FALSE(GetParam().set(data, "s", "#k"));
    EXPECT_TRUE(data.Unchanged());
    EXPECT_TRUE(GetParam().set(data, "s", "k"));
    EXPECT_FALSE(data.Unchanged());
}

TEST_P(MIniDataSetTest, RefusesANameThatBeginsAComment) {
    for (const std::string name : {"#x", " ;x", "\t*x", " \t /x"}) {
        _recorder.clear();
        EXPECT_FALSE(GetParam().set(_data, "s", name.c_str()));
        const std::string reason = "cannot add comment as an entry: \"" + name + "=" + GetParam().reported + "\"";
        EXPECT_EQ(_data.GetLastErrorText(), reason);
        EXPECT_THAT(_recorder.errorTraces(), ElementsAre(kClass + GetParam().reportedName + "(): " + reason));
        EXPECT_EQ(_recorder.entries()[0].file, "mutil/src/MIniData_template_core");
        EXPECT_GT(_recorder.entries()[0].line, 0);
    }
    EXPECT_EQ(_data.GetSectionCount(), 0u);
}

TEST_P(MIniDataSetTest, CutsTheLastErrorTo1023Characters) {
    const std::string name = "#" + std::string(2000, 'x');
    EXPECT_FALSE(GetParam().set(_data, "s", name.c_str()));
    EXPECT_EQ(_data.GetLastErrorText(), ("cannot add comment as an entry: \"" + name).substr(0, 1023));
}

TEST_P(MIniDataSetTest, FailsWithoutMemoryForASection) {
    test::failNothrowAllocation(1);
    EXPECT_FALSE(GetParam().set(_data, "s", "k"));
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::" + GetParam().name + "(): add_new_section() failed"));
    EXPECT_EQ(_data.GetSectionCount(), 0u);
}

TEST_P(MIniDataSetTest, FailsWithoutMemoryForAnEntry) {
    const test::TemporaryFolder folder;
    MIniData data(folder.file("a.ini", "[s]\nk=1").c_str());
    test::failNothrowAllocation(1);
    EXPECT_FALSE(GetParam().set(data, "s", "new"));
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniDataSectionT::" + GetParam().name + "(): add_new_entry() failed"));
    EXPECT_FALSE(data.EntryExists("s", "new"));
    EXPECT_EQ(data.GetContentString(), "[s]\nk=1\n");
    EXPECT_TRUE(data.Unchanged());
}

TEST_P(MIniDataSetTest, ASectionThatWasAddedEndsUnchangedThoughItsEntryFails) {
    const test::TemporaryFolder folder;
    MIniData data(folder.file("a.ini", "[s]\nk=1").c_str());
    ASSERT_TRUE(data.Unchanged());
    test::failNothrowAllocation(2);
    EXPECT_FALSE(GetParam().set(data, "new", "k"));
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_EQ(data.GetContentString(), "[new]\n[s]\nk=1\n");
    EXPECT_FALSE(data.Unchanged());
}

// ------------------------------------------------------------------------------------------------------ single setters

std::string storedDouble(double value) {
    MIniData data;
    EXPECT_TRUE(data.SetDoubleEntry("s", "k", value));
    std::string text;
    EXPECT_TRUE(data.GetStringEntry("s", "k", text));
    double read = 0;
    EXPECT_TRUE(data.GetDoubleEntry("s", "k", read));
    EXPECT_EQ(read, value);
    return text;
}

TEST(MIniDataSet, DoublesComeBackExactly) {
    EXPECT_EQ(storedDouble(0.1), "0.10000000000000001");
    EXPECT_EQ(storedDouble(5.0), "5");
    EXPECT_EQ(storedDouble(-1.0 / 3.0), "-0.33333333333333331");
    EXPECT_EQ(storedDouble(1e300), "1.0000000000000001e+300");
    EXPECT_EQ(storedDouble(std::numeric_limits<double>::infinity()), "inf");
}

TEST(MIniDataSet, IntegersAreStoredToTheirLimits) {
    MIniData data;
    EXPECT_TRUE(data.SetLongEntry("s", "a", std::numeric_limits<std::int32_t>::min()));
    EXPECT_TRUE(data.SetLongEntry("s", "b", std::numeric_limits<std::int32_t>::max()));
    EXPECT_TRUE(data.SetLongLongEntry("s", "c", std::numeric_limits<std::int64_t>::min()));
    EXPECT_TRUE(data.SetLongLongEntry("s", "d", std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(data.GetContentString(),
              "[s]\na=-2147483648\nb=2147483647\nc=-9223372036854775808\nd=9223372036854775807\n");
}

TEST(MIniDataSet, StringsAreStoredVerbatim) {
    MIniData data;
    EXPECT_TRUE(data.SetStringEntry("s", "k", " %s \"a\" # b "));
    EXPECT_TRUE(data.SetStringEntry("s", "empty", ""));
    EXPECT_EQ(data.GetContentString(), "[s]\nk= %s \"a\" # b \nempty=\n");
    EXPECT_TRUE(data.SetStringEntry("s", "k", ""));
    EXPECT_EQ(data.GetContentString(), "[s]\nk=\nempty=\n");
}

TEST(MIniDataSet, PercentSignsOfARefusedNameAreNoFormats) {
    const test::LogRecorder recorder;
    MIniData data;
    EXPECT_FALSE(data.SetStringEntry("s", "#%s%n", "%d"));
    EXPECT_EQ(data.GetLastErrorText(), "cannot add comment as an entry: \"#%s%n=%d\"");
    EXPECT_THAT(recorder.errorTraces(),
                ElementsAre(kClass + "SetStringEntry(): cannot add comment as an entry: \"#%s%n=%d\""));
}

TEST(MIniDataSet, ALongRefusedTextIsReportedWhole) {
    const test::LogRecorder recorder;
    const std::string text(3000, 'x');
    MIniData data;
    EXPECT_FALSE(data.SetStringEntry("s", "#k", text.c_str()));
    EXPECT_THAT(recorder.errorTraces(),
                ElementsAre(kClass + "SetStringEntry(): cannot add comment as an entry: \"#k=" + text + "\""));
}

// Names that read back differently are stored unchanged: kept as it is.
TEST(MIniDataSet, NamesThatBreakTheFormatAreTaken) {
    const test::LogRecorder recorder;
    MIniData data;
    EXPECT_TRUE(data.SetStringEntry("s", "a=b", "c"));
    EXPECT_TRUE(data.SetStringEntry("s", "  k", "1"));
    EXPECT_TRUE(data.SetStringEntry("s", "[x", "2\n#3"));
    EXPECT_TRUE(data.SetStringEntry("t]u", "k", "4"));
    EXPECT_EQ(data.GetContentString(), "[s]\na=b=c\n  k=1\n[x=2\n#3\n[t]u]\nk=4\n");
    std::string value;
    EXPECT_TRUE(data.GetStringEntry("s", "a=b", value));
    EXPECT_EQ(value, "c");
    EXPECT_TRUE(data.EntryExists("s", "  k"));
    EXPECT_TRUE(data.SectionExists("t]u"));
    EXPECT_THAT(recorder.entries(), IsEmpty());
    EXPECT_FALSE(MIniData(data).SectionExists("t]u"));  // a copy reads the lines
}

// A bare line is its own value, so a new value replaces it; the entry keeps its name: kept as it is.
TEST(MIniDataSet, ABareLineIsReplacedAsAWhole) {
    MIniData data(MIniData::kAcceptBareLines);
    EXPECT_TRUE(data.SetContentString("[s]\n word\n"));
    EXPECT_TRUE(data.SetStringEntry("s", "word", "other=1"));
    EXPECT_EQ(data.GetContentString(), "[s]\nother=1\n");
    EXPECT_TRUE(data.EntryExists("s", "word"));
    EXPECT_FALSE(data.EntryExists("s", "other"));
    EXPECT_TRUE(data.SetLongEntry("s", "word", 7));
    EXPECT_EQ(data.GetContentString(), "[s]\n7\n");
}

}  // namespace
