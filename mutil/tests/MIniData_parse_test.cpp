// Which lines are accepted, as what, and why the others are refused.
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "no_memory.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kSetFailed = "MIniData::SetContentString(): parse_line() failed";

class MIniDataParseTest : public testing::Test {
protected:
    static std::string valueOf(const MIniData& data, const char* section, const char* entry) {
        std::string value = "(missing)";
        data.GetStringEntry(section, entry, value);
        return value;
    }

    // The content is refused with this last error, and with these entries of the error trace before the usual two.
    void expectRefused(MIniData& data, const std::string& content, const std::string& lastError,
                       std::vector<std::string> traces = {}) {
        _recorder.clear();
        EXPECT_FALSE(data.SetContentString(content)) << content;
        EXPECT_FALSE(data.IsOpen());
        EXPECT_EQ(data.GetLastErrorText(), lastError);
        traces.push_back("MIniData::parse_line(): " + lastError.substr(0, 70));
        traces.push_back(kSetFailed);
        EXPECT_EQ(_recorder.errorTraces(), traces);
    }

    void expectRefused(const std::string& content, const std::string& lastError) {
        MIniData data;
        expectRefused(data, content, lastError);
    }

    test::LogRecorder _recorder;
};

TEST_F(MIniDataParseTest, OptionsMayBeAnyNumberAlsoAPlain0) {
    MIniData none(0);
    MIniData number(0x01);
    MIniData wide(std::uint64_t{MIniData::kAcceptBareLines});
    EXPECT_FALSE(none.SetContentString("[s]\nword"));
    EXPECT_TRUE(number.SetContentString("[s]\nword"));
    EXPECT_TRUE(wide.SetContentString("[s]\nword"));
    EXPECT_TRUE(MIniData(nullptr).IsOpen());  // a file without a name: a new one
}

// ------------------------------------------------------------------------------------------------------------ headers

TEST_F(MIniDataParseTest, AHeaderOpensASection) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[a]\nk=v\n[b]\nk=w"));
    EXPECT_EQ(valueOf(data, "a", "k"), "v");
    EXPECT_EQ(valueOf(data, "b", "k"), "w");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataParseTest, AHeadersNameGoesVerbatimToTheFirstBracket) {
    for (const auto& [header, name] :
         {std::pair{"[a]x", "a"}, {"[ a ]", " a "}, {"[]", ""}, {"[a]b]", "a"}, {"[[a]", "[a"}}) {
        MIniData data;
        EXPECT_TRUE(data.SetContentString(header));
        EXPECT_THAT(data.GetSectionNames(), ElementsAre(name));
        EXPECT_EQ(data.GetContentString(), header + "\n"s);
    }
}

TEST_F(MIniDataParseTest, AHeaderWithoutBracketIsRefused) {
    expectRefused("[", "no matching ']' found in \"[\"");
    expectRefused("[abc", "no matching ']' found in \"[abc\"");
    expectRefused("[s]\n[abc", "no matching ']' found in \"[abc\"");
}

TEST_F(MIniDataParseTest, AnIndentedHeaderIsNone) {
    expectRefused("  [a]", "Possible entry \"  [a]\" found before first section");
    expectRefused("[s]\n  [a]", "No '=' found in \"  [a]\" in section [s]");
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]\n  [a]=1"));
    EXPECT_EQ(valueOf(data, "s", "[a]"), "1");
}

TEST_F(MIniDataParseTest, ARepeatedHeaderIsRefused) {
    expectRefused("[image]\n[b]\n[image]", "Section [image] seen twice");
    expectRefused("[image]\n[image] again", "Section [image] seen twice");
    MIniData bareLines(MIniData::kAcceptBareLines);
    expectRefused(bareLines, "[a]\n[a]", "Section [a] seen twice");
}

TEST_F(MIniDataParseTest, SectionsThatDifferInCaseAreTwo) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[a]\n[A]"));
    EXPECT_EQ(data.GetSectionCount(), 2u);
}

TEST_F(MIniDataParseTest, ARepeatedHeaderReplacesTheSectionOnRequest) {
    MIniData data(MIniData::kReplaceSections);
    EXPECT_TRUE(data.SetContentString("[a]\nx=1\n[a] new\ny=2"));  // the section that lines are just added to
    EXPECT_EQ(data.GetContentString(), "[a] new\ny=2\n");
    EXPECT_FALSE(data.EntryExists("a", "x"));
    EXPECT_TRUE(data.SetContentString("[a]\nx=1\n[b]\n[a]\ny=2"));
    EXPECT_EQ(data.GetContentString(), "[a]\ny=2\n[b]\n");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

// Sections are deleted by zero-terminated names, so one whose name contains a byte 0 cannot be replaced.
TEST_F(MIniDataParseTest, ASectionThatCannotBeReplacedIsRefused) {
    MIniData data(MIniData::kReplaceSections);
    expectRefused(data, "[a]\nk=1\n[a\0b]\n[a\0b]"s, "Section [a] deleting previous version failed",
                  {"MIniData::parse_line(): DeleteSection() failed"});
    EXPECT_TRUE(data.EntryExists("a", "k"));  // a reader of the other one sees only this name
}

// ------------------------------------------------------------------------------------------------- blanks and comments

TEST_F(MIniDataParseTest, BlankLinesAndCommentsMayStandAboveTheFirstSection) {
    const std::string content = "#c\n \t\n\n ;c\n\t*c\n/c\n";
    MIniData data;
    EXPECT_TRUE(data.SetContentString(content + "[s]"));
    EXPECT_EQ(data.GetContentString(), content + "[s]\n");
}

TEST_F(MIniDataParseTest, BlankLinesAndCommentsStayInTheirSection) {
    const std::string content = "[s]\n#x=1\n ;x=2\nk=v\n\t*x=3\n/x=4\n  \n\n";
    MIniData data;
    EXPECT_TRUE(data.SetContentString(content));
    EXPECT_THAT(data.GetEntryNames("s"), ElementsAre("k"));
    EXPECT_EQ(data.GetContentString(), content);
}

TEST_F(MIniDataParseTest, NothingBehindAValueIsAComment) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]\nk=v ;c\nq=\"a\" # b"));
    EXPECT_EQ(valueOf(data, "s", "k"), "v ;c");
    EXPECT_EQ(valueOf(data, "s", "q"), "\"a\" # b");
}

// ------------------------------------------------------------------------------------------------------------ entries

TEST_F(MIniDataParseTest, AnEntrysNameIsTrimmedAndItsValueVerbatim) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]\nkey = value\n  tab\t =x\nempty=\na b=c=d\n"));
    EXPECT_THAT(data.GetEntryNames("s"), ElementsAre("a b", "empty", "key", "tab"));
    EXPECT_EQ(valueOf(data, "s", "key"), " value");
    EXPECT_EQ(valueOf(data, "s", "tab"), "x");
    EXPECT_EQ(valueOf(data, "s", "empty"), "");
    EXPECT_EQ(valueOf(data, "s", "a b"), "c=d");
}

TEST_F(MIniDataParseTest, AnEntryAboveTheFirstSectionIsRefused) {
    expectRefused("k=1", "Possible entry \"k=1\" found before first section");
    expectRefused("word", "Possible entry \"word\" found before first section");
    MIniData data(MIniData::kAcceptBareLines | MIniData::kReplaceSections);
    expectRefused(data, "k=1", "Possible entry \"k=1\" found before first section");
}

TEST_F(MIniDataParseTest, ALineWithoutNameOrEqualsSignIsRefused) {
    expectRefused("[s] x\nword", "No '=' found in \"word\" in section [s] x");
    expectRefused("[s]\n =v", "No entry name found before '=' in \" =v\" in section [s]");
    MIniData data(MIniData::kReplaceEntries);
    expectRefused(data, "[s]\nword", "No '=' found in \"word\" in section [s]");
}

TEST_F(MIniDataParseTest, ALineWithoutNameOrEqualsSignIsAnEntryOnRequest) {
    for (const std::uint32_t options : {MIniData::kAcceptBareLines, MIniData::kReplaceSections}) {
        MIniData data(options);
        EXPECT_TRUE(data.SetContentString("[s]\n  word\n =v\n"));
        EXPECT_THAT(data.GetEntryNames("s"), ElementsAre("", "word"));
        EXPECT_EQ(valueOf(data, "s", "word"), "  word");
        EXPECT_EQ(valueOf(data, "s", ""), "v");
        EXPECT_EQ(data.GetContentString(), "[s]\n  word\n =v\n");
    }
}

TEST_F(MIniDataParseTest, ALineWithoutEqualsSignKeepsTheBlanksAtItsEndInItsName) {
    for (const std::uint32_t options : {MIniData::kAcceptBareLines, MIniData::kReplaceSections}) {
        MIniData data(options);
        EXPECT_TRUE(data.SetContentString("[s]\nword\n word \n\tword\t\nword2 = 1\n"));
        EXPECT_THAT(data.GetEntryNames("s"), ElementsAre("word", "word\t", "word ", "word2"));
        EXPECT_TRUE(data.EntryExists("s", "word "));
        EXPECT_EQ(valueOf(data, "s", "word "), "word");  // the requested name is trimmed, and finds the first
    }
    MIniData data(MIniData::kAcceptBareLines);
    EXPECT_TRUE(data.SetContentString("[s]\nword \n"));
    EXPECT_EQ(valueOf(data, "s", "word "), "(missing)");
    EXPECT_EQ(valueOf(data, "s", "word"), "(missing)");
}

TEST_F(MIniDataParseTest, ALineWithoutEqualsSignAndItsTwinWithABlankBehindAreTwoEntries) {
    MIniData data(MIniData::kAcceptBareLines);
    EXPECT_TRUE(data.SetContentString("[s]\nword\nword \n"));
    EXPECT_THAT(data.GetEntryNames("s"), ElementsAre("word", "word "));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
    expectRefused(data, "[s]\nword \nword ", "Entry \"word \" seen twice in section [s]");
}

TEST_F(MIniDataParseTest, ARepeatedEntryIsRefused) {
    expectRefused("[s]x\nk=1\nk =2", "Entry \"k\" seen twice in section [s]x");
    MIniData data(MIniData::kReplaceSections);
    expectRefused(data, "[s]\nk=1\nk=2", "Entry \"k\" seen twice in section [s]");
}

TEST_F(MIniDataParseTest, EntriesOfOneNameInTwoSectionsAreTwo) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[a]\nk=1\n[b]\nk=2"));
    EXPECT_EQ(valueOf(data, "b", "k"), "2");
}

TEST_F(MIniDataParseTest, ARepeatedEntryReplacesTheEarlierOneAtItsLaterPlaceOnRequest) {
    MIniData data(MIniData::kReplaceEntries);
    EXPECT_TRUE(data.SetContentString("[s]\n#c\n \nk=1\nm=5\nk = 2"));
    EXPECT_EQ(valueOf(data, "s", "k"), " 2");
    EXPECT_EQ(data.GetContentString(), "[s]\n#c\n \nm=5\nk = 2\n");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataParseTest, AnEntryWithAByte0InItsNameReplacesNoOther) {
    MIniData data(MIniData::kReplaceEntries);
    EXPECT_TRUE(data.SetContentString("[s]\nk=1\nk\0=2\nk\0=3\n"s));
    EXPECT_EQ(data.GetContentString(), "[s]\nk=1\nk\0=3\n"s);
    EXPECT_EQ(valueOf(data, "s", "k"), "1");
}

TEST_F(MIniDataParseTest, AnEntryThatCannotBeReplacedIsRefused) {
    MIniData data(MIniData::kReplaceEntries | MIniData::kAcceptBareLines);
    expectRefused(
        data, "[s]\nword\nk=1\nk=2", "Entry \"k\" deleting previous version failed",
        {"MIniDataSectionT::DeleteEntry(): no '=' found in \"word\"", "MIniData::parse_line(): DeleteEntry() failed"});
}

// ---------------------------------------------------------------------------------------------------- texts and memory

TEST_F(MIniDataParseTest, ReportsComeFromTheTemplatesSourceFile) {
    expectRefused("k=1", "Possible entry \"k=1\" found before first section");
    for (const test::LogEntry& entry : _recorder.entries()) {
        EXPECT_EQ(entry.sink, LogSink::errorTrace);
        EXPECT_EQ(entry.file, "mutil/src/MIniData_template_core");
        EXPECT_GT(entry.line, 0);
    }
}

TEST_F(MIniDataParseTest, LongLinesAreCutInReports) {
    const std::string line(100, 'x');
    expectRefused("[" + line, "no matching ']' found in \"[" + line.substr(0, 49) + "\"");
    expectRefused("[s]\n" + line, "No '=' found in \"" + line.substr(0, 50) + "\" in section [s]");
    expectRefused("[s]\n=" + line, "No entry name found before '=' in \"=" + line + "\" in section [s]");
    expectRefused(line + "=", "Possible entry \"" + line + "=\" found before first section");
}

TEST_F(MIniDataParseTest, TheLastErrorIsCutTo1023Characters) {
    const std::string line(2000, 'x');
    MIniData data;
    EXPECT_FALSE(data.SetContentString(line));
    EXPECT_EQ(data.GetLastErrorText(), ("Possible entry \"" + line).substr(0, 1023));
}

TEST_F(MIniDataParseTest, PercentSignsOfALineAreNoFormats) {
    expectRefused("%s%n", "Possible entry \"%s%n\" found before first section");
}

TEST_F(MIniDataParseTest, WithoutMemoryForASectionTheHeaderIsRefused) {
    MIniData data;
    test::failNothrowAllocation(1);
    expectRefused(data, "[s]", "out of memory ("s + std::strerror(ENOMEM) + ")",
                  {"MIniData::parse_line(): new MIniDataSectionT() failed: "s + std::strerror(ENOMEM)});
    EXPECT_EQ(data.GetSectionCount(), 0u);
    EXPECT_TRUE(test::allocationHasFailed());
}

TEST_F(MIniDataParseTest, WithoutMemoryForAnEntryTheLineIsRefused) {
    MIniData data;
    test::failNothrowAllocation(2);
    expectRefused(data, "[s]\nk=1", "out of memory ("s + std::strerror(ENOMEM) + ")",
                  {"MIniData::parse_line(): new MIniDataEntry() failed: "s + std::strerror(ENOMEM)});
    EXPECT_FALSE(data.EntryExists("s", "k"));
    EXPECT_EQ(data.GetContentString(), "[s]\n");
    EXPECT_TRUE(test::allocationHasFailed());
}

}  // namespace
