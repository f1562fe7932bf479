// The content as a whole: as a string, copied, and with sections and entries removed.
#include <memory>
#include <string>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MIniDataContentTest : public testing::Test {
protected:
    test::LogRecorder _recorder;
    test::TemporaryFolder _folder;
};

// ----------------------------------------------------------------------------------------------------- content string

TEST_F(MIniDataContentTest, TheContentStringHasSectionsInByteOrderAndTheirLinesInPlace) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("#top\n[b]x\nz=1\n#c\na=2\n[a]\n[B]\nk=v"));
    EXPECT_EQ(data.GetContentString(), "#top\n[B]\nk=v\n[a]\n[b]x\nz=1\n#c\na=2\n");
}

TEST_F(MIniDataContentTest, LinesEndAtLfAndCrAndCrLf) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]\r\nk=1\rj=2\n\n\r\r\n"));
    EXPECT_EQ(data.GetContentString(), "[s]\nk=1\nj=2\n\n\n\n");
    EXPECT_TRUE(data.SetContentString("[s]\r"));
    EXPECT_EQ(data.GetContentString(), "[s]\n");
}

TEST_F(MIniDataContentTest, EmptyLinesAreKeptAndNoneIsAddedBehindTheLastLineEnd) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("\n[s]\n\n\nk=1\n"));
    EXPECT_EQ(data.GetContentString(), "\n[s]\n\n\nk=1\n");
    EXPECT_TRUE(data.SetContentString("[s]\n\n\nk=1"));
    EXPECT_EQ(data.GetContentString(), "[s]\n\n\nk=1\n");
}

TEST_F(MIniDataContentTest, AnEmptyContentIsOpenAndEmpty) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString(""));
    EXPECT_TRUE(data.IsOpen());
    EXPECT_EQ(data.GetContentString(), "");
}

TEST_F(MIniDataContentTest, SetContentStringReplacesTheContentAndKeepsFileNameAndOptions) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1");
    MIniData data(MIniData::kReplaceEntries);
    ASSERT_TRUE(data.Open(file.c_str()));
    EXPECT_TRUE(data.SetContentString("[t]\nk=1\nk=2"));
    EXPECT_TRUE(data.IsOpen());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_FALSE(data.FileAbsent());
    EXPECT_EQ(data.GetContentString(), "[t]\nk=2\n");
    EXPECT_TRUE(data.Reload());
    EXPECT_EQ(data.GetContentString(), "[s]\nk=1\n");
}

TEST_F(MIniDataContentTest, SetContentStringThatFailsLeavesTheLinesBeforeAndIsNotOpen) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]"));
    EXPECT_FALSE(data.SetContentString("[t]\nk=1\nword\nm=2"));
    EXPECT_FALSE(data.IsOpen());
    EXPECT_EQ(data.GetContentString(), "[t]\nk=1\n");
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::parse_line(): No '=' found in \"word\" in section [t]",
                                                     "MIniData::SetContentString(): parse_line() failed"));
}

TEST_F(MIniDataContentTest, SetContentStringKeepsALineThatBeginsWithAByteZero) {
    const std::string content("[s]\n\0k=1\n", 9);
    MIniData data;
    EXPECT_TRUE(data.SetContentString(content));
    EXPECT_EQ(data.GetContentString(), content);
}

// ------------------------------------------------------------------------------------------------------------- copying

TEST_F(MIniDataContentTest, ACopyHasContentFlagsOptionsLastErrorAndFileName) {
    const std::string file = _folder.file("a.ini", "#top\n[s]\nk=1\nk=2\n");
    MIniData data(MIniData::kReplaceEntries);
    EXPECT_FALSE(data.SetContentString("word"));
    ASSERT_TRUE(data.Open(file.c_str()));
    MIniData copy;
    copy = data;
    EXPECT_EQ(copy.GetContentString(), "#top\n[s]\nk=2\n");
    EXPECT_TRUE(copy.IsOpen());
    EXPECT_TRUE(copy.Unchanged());
    EXPECT_FALSE(copy.FileAbsent());
    EXPECT_EQ(copy.GetLastErrorText(), "Possible entry \"word\" found before first section");
    EXPECT_TRUE(copy.Reload());  // needs file name and options
    EXPECT_EQ(copy.GetContentString(), "#top\n[s]\nk=2\n");
}

TEST_F(MIniDataContentTest, ACopyOfDataThatIsNotOpenIsNotOpen) {
    MIniData data;
    EXPECT_FALSE(data.SetContentString("[s]\nword"));
    const MIniData copy(data);
    EXPECT_FALSE(copy.IsOpen());
    EXPECT_TRUE(copy.FileAbsent());
    EXPECT_FALSE(copy.Unchanged());
    EXPECT_EQ(copy.GetContentString(), "[s]\n");
}

TEST_F(MIniDataContentTest, ChangingACopyLeavesTheOriginal) {
    auto original = std::make_unique<MIniData>();
    EXPECT_TRUE(original->SetContentString("[s]\nk=1\n[t]"));
    MIniData copy(*original);
    EXPECT_TRUE(copy.DeleteSection("t"));
    EXPECT_EQ(original->GetContentString(), "[s]\nk=1\n[t]\n");
    original.reset();
    EXPECT_EQ(copy.GetContentString(), "[s]\nk=1\n");
}

TEST_F(MIniDataContentTest, AssigningToItselfChangesNothing) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1");
    MIniData data(file.c_str());
    const MIniData& same = data;
    data = same;
    EXPECT_EQ(data.GetContentString(), "[s]\nk=1\n");
    EXPECT_TRUE(data.IsOpen());
    EXPECT_TRUE(data.Unchanged());
}

// -------------------------------------------------------------------------------------------------------------
// removing

TEST_F(MIniDataContentTest, DeleteSectionRemovesAllItsLines) {
    const std::string file = _folder.file("a.ini", "#top\n[a]\nk=1\n#c\n[b]");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.Unchanged());
    EXPECT_TRUE(data.DeleteSection("a"));
    EXPECT_EQ(data.GetContentString(), "#top\n[b]\n");
    EXPECT_FALSE(data.SectionExists("a"));
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataContentTest, DeleteSectionOfAMissingOneIsReported) {
    const std::string file = _folder.file("a.ini", "[a]");
    MIniData data(file.c_str());
    EXPECT_FALSE(data.DeleteSection(std::string(50, 'x').c_str()));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniData::DeleteSection(): section \"" + std::string(40, 'x') + "\" not found"));
    EXPECT_TRUE(data.Unchanged());
}

TEST_F(MIniDataContentTest, DeleteEntryRemovesItsLineAndKeepsTheOthers) {
    const std::string file = _folder.file("a.ini", "[s]\n#c\n \nkey = 1\nk=2\n#d\n");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.DeleteEntry("s", "k"));
    EXPECT_EQ(data.GetContentString(), "[s]\n#c\n \nkey = 1\n#d\n");
    EXPECT_TRUE(data.DeleteEntry("s", "key \t"));  // trailing blanks do not count
    EXPECT_EQ(data.GetContentString(), "[s]\n#c\n \n#d\n");
    EXPECT_THAT(data.GetEntryNames("s"), IsEmpty());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataContentTest, DeleteEntryOfAMissingOneIsReported) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1");
    MIniData data(file.c_str());
    const std::string longName(50, 'x');
    EXPECT_FALSE(data.DeleteEntry(longName.c_str(), "k"));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniData::DeleteEntry(): section \"" + longName.substr(0, 40) + "\" not found"));
    _recorder.clear();
    EXPECT_FALSE(data.DeleteEntry("s", longName.c_str()));
    EXPECT_THAT(
        _recorder.errorTraces(),
        ElementsAre("MIniDataSectionT::DeleteEntry(): entry \"" + longName.substr(0, 40) + "\" not found in entry_map",
                    "MIniData::DeleteEntry(): MIniDataSectionT::DeleteEntry() failed (\"s\",\"" +
                        longName.substr(0, 30) + "\")"));
    EXPECT_TRUE(data.Unchanged());
}

// The entry is forgotten and its line stays: kept as it is.
TEST_F(MIniDataContentTest, DeleteEntryStopsAtALineWithoutNameOrEqualsSign) {
    const std::string rest(60, 'x');
    for (const auto& [line, cause] : {
             std::pair{"word" + rest, "no '=' found" },
             {" =" + rest,   "no entry name"}
    }) {
        _recorder.clear();
        MIniData data(MIniData::kAcceptBareLines);
        EXPECT_TRUE(data.SetContentString("[s]\na=0\n" + line + "\nk=1"));
        EXPECT_FALSE(data.DeleteEntry("s", "k"));
        EXPECT_THAT(
            _recorder.errorTraces(),
            ElementsAre(std::string("MIniDataSectionT::DeleteEntry(): ") + cause + " in \"" + line.substr(0, 50) + "\"",
                        "MIniData::DeleteEntry(): MIniDataSectionT::DeleteEntry() failed (\"s\",\"k\")"));
        EXPECT_FALSE(data.EntryExists("s", "k"));
        EXPECT_EQ(data.GetContentString(), "[s]\na=0\n" + line + "\nk=1\n");
        EXPECT_TRUE(data.DeleteEntry("s", "a"));  // stands above the line
    }
}

// -------------------------------------------------------------------------------------------------------- the section

using Section = MIniDataSectionT<MIniDataCaseSensitiveCompare>;

MIniDataEntry* addLine(Section& section, const std::string& text, std::size_t valuePosition) {
    auto entry = std::make_unique<MIniDataEntry>(text, valuePosition);
    MIniDataEntry* const known = entry.get();
    section.line_vec.push_back(std::move(entry));
    return known;
}

TEST_F(MIniDataContentTest, ASectionReportsAnEntryWithoutALine) {
    Section section("[s]");
    MIniDataEntry stray("k=1", 2);
    section.entry_map.emplace("k", &stray);
    addLine(section, "other=1", 6);
    EXPECT_FALSE(section.DeleteEntry("k"));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniDataSectionT::DeleteEntry(): entry \"k\" not found in line_vec"));
    EXPECT_THAT(section.entry_map, IsEmpty());
}

TEST_F(MIniDataContentTest, ASectionForgetsEveryNameOfALineThatItRemoves) {
    Section section("[s]");
    section.entry_map.emplace("word", addLine(section, "k=1", 0));  // a bare line whose value was set to "k=1"
    section.entry_map.emplace("k", addLine(section, "k=2", 2));
    EXPECT_TRUE(section.DeleteEntry("k"));
    EXPECT_THAT(section.entry_map, IsEmpty());
    EXPECT_EQ(section.line_vec.size(), 1u);
}

}  // namespace
