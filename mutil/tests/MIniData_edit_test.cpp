// Sections and entries added, removed and renamed.
#include <memory>
#include <string>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "no_memory.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MIniDataEditTest : public testing::Test {
protected:
    MIniData opened(const std::string& content) { return MIniData(_folder.file("a.ini", content).c_str()); }

    test::LogRecorder _recorder;
    test::TemporaryFolder _folder;
};

// -------------------------------------------------------------------------------------------------------------- adding

TEST_F(MIniDataEditTest, AddSectionAddsAHeader) {
    MIniData data = opened("[b]\nk=1");
    EXPECT_TRUE(data.Unchanged());
    EXPECT_TRUE(data.AddSection("a"));
    EXPECT_EQ(data.GetContentString(), "[a]\n[b]\nk=1\n");
    EXPECT_FALSE(data.Unchanged());
    EXPECT_TRUE(data.AddSection(""));
    EXPECT_TRUE(data.SectionExists(""));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataEditTest, AddSectionOfAnExistingOneFails) {
    MIniData data = opened("[a]\nk=1");
    EXPECT_FALSE(data.AddSection("a"));
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::AddSection(): add_new_section() failed"));
    EXPECT_EQ(data.GetContentString(), "[a]\nk=1\n");
    EXPECT_TRUE(data.Unchanged());
}

TEST_F(MIniDataEditTest, AddSectionFailsWithoutMemory) {
    MIniData data;
    test::failNothrowAllocation(1);
    EXPECT_FALSE(data.AddSection("a"));
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::AddSection(): add_new_section() failed"));
    EXPECT_EQ(data.GetSectionCount(), 0u);
}

TEST_F(MIniDataEditTest, AnEmptyContentDoesNotOpenTheDataByAdding) {
    MIniData data;
    EXPECT_TRUE(data.AddSection("a"));
    EXPECT_FALSE(data.IsOpen());
}

// ------------------------------------------------------------------------------------------------------------ renaming

TEST_F(MIniDataEditTest, RenameSectionMovesAllLinesUnderAPlainHeader) {
    MIniData data = opened("#top\n[c] rest\n#c\nk = 1\n \nj=2\n[b]\n");
    EXPECT_TRUE(data.RenameSection("c", "a"));
    EXPECT_EQ(data.GetContentString(), "#top\n[a]\n#c\nk = 1\n \nj=2\n[b]\n");
    EXPECT_FALSE(data.SectionExists("c"));
    EXPECT_THAT(data.GetEntryNames("a"), ElementsAre("j", "k"));
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataEditTest, ARenamedSectionCanBeChangedFurther) {
    MIniData data = opened("[a]\nk=1\nj=2");
    EXPECT_TRUE(data.RenameSection("a", "b"));
    EXPECT_TRUE(data.SetLongEntry("b", "k", 3));
    EXPECT_TRUE(data.DeleteEntry("b", "j"));
    EXPECT_TRUE(data.SetLongEntry("b", "new", 4));
    EXPECT_TRUE(data.AddSection("a"));
    EXPECT_EQ(data.GetContentString(), "[a]\n[b]\nk=3\nnew=4\n");
}

TEST_F(MIniDataEditTest, RenameSectionToAnExistingNameFails) {
    MIniData data = opened("[a]\nk=1\n[b]");
    const std::string name = "MIniDataT<struct MIniDataCaseSensitiveCompare>::RenameSection(): ";
    EXPECT_FALSE(data.RenameSection("a", "b"));
    EXPECT_FALSE(data.RenameSection("a", "a"));
    EXPECT_FALSE(data.RenameSection("missing", "b"));  // this is looked at first
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre(name + "section \"b\" already exists", name + "section \"a\" already exists",
                            name + "section \"b\" already exists"));
    EXPECT_EQ(data.GetContentString(), "[a]\nk=1\n[b]\n");
    EXPECT_TRUE(data.Unchanged());
}

TEST_F(MIniDataEditTest, RenameSectionOfAMissingOneFails) {
    MIniData data = opened("[a]");
    const std::string longName(100, 'x');
    EXPECT_FALSE(data.RenameSection(longName.c_str(), "b"));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniDataT<struct MIniDataCaseSensitiveCompare>::RenameSection(): the source section \"" +
                            longName + "\" doesn't exists"));
    EXPECT_FALSE(data.SectionExists("b"));
    EXPECT_TRUE(data.Unchanged());
}

TEST_F(MIniDataEditTest, RenameSectionFailsWithoutMemoryAndLeavesTheSection) {
    MIniData data = opened("[a] x\nk=1");
    test::failNothrowAllocation(1);
    EXPECT_FALSE(data.RenameSection("a", "b"));
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::RenameSection(): add_new_section() failed"));
    EXPECT_EQ(data.GetContentString(), "[a] x\nk=1\n");
    EXPECT_TRUE(data.Unchanged());
}

// ------------------------------------------------------------------------------------------------------------ removing

TEST_F(MIniDataEditTest, DeleteSectionRemovesAllItsLines) {
    const std::string file = _folder.file("a.ini", "#top\n[a]\nk=1\n#c\n[b]");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.Unchanged());
    EXPECT_TRUE(data.DeleteSection("a"));
    EXPECT_EQ(data.GetContentString(), "#top\n[b]\n");
    EXPECT_FALSE(data.SectionExists("a"));
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataEditTest, DeleteSectionOfAMissingOneIsReported) {
    const std::string file = _folder.file("a.ini", "[a]");
    MIniData data(file.c_str());
    EXPECT_FALSE(data.DeleteSection(std::string(50, 'x').c_str()));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniData::DeleteSection(): section \"" + std::string(40, 'x') + "\" not found"));
    EXPECT_TRUE(data.Unchanged());
}

TEST_F(MIniDataEditTest, DeleteEntryRemovesItsLineAndKeepsTheOthers) {
    const std::string file = _folder.file("a.ini", "[s]\n#c\n \nkey = 1\nk=2\n#d\n");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.DeleteEntry("s", "k"));
    EXPECT_EQ(data.GetContentString(), "[s]\n#c\n \nkey = 1\n#d\n");
    EXPECT_TRUE(data.DeleteEntry("s", "key"));
    EXPECT_EQ(data.GetContentString(), "[s]\n#c\n \n#d\n");
    EXPECT_THAT(data.GetEntryNames("s"), IsEmpty());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataEditTest, DeleteEntryOfANameWithABlankBehindForgetsTheEntryAndLeavesItsLine) {
    MIniData data = opened("[s]\nkey = 1\nother=2");
    EXPECT_FALSE(data.DeleteEntry("s", "key "));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MIniDataSectionT::DeleteEntry(): entry \"key \" not found in line_vec",
                            "MIniData::DeleteEntry(): MIniDataSectionT::DeleteEntry() failed (\"s\",\"key \")"));
    EXPECT_FALSE(data.EntryExists("s", "key"));
    EXPECT_EQ(data.GetContentString(), "[s]\nkey = 1\nother=2\n");
    // The line that stayed belongs to no entry: a new entry gets its own line, and deleting that entry removes the
    // first one.
    EXPECT_TRUE(data.SetLongEntry("s", "key", 3));
    EXPECT_EQ(data.GetContentString(), "[s]\nkey = 1\nother=2\nkey=3\n");
    EXPECT_TRUE(data.DeleteEntry("s", "key"));
    EXPECT_EQ(data.GetContentString(), "[s]\nother=2\nkey=3\n");
    EXPECT_TRUE(data.SetLongEntry("s", "key", 4));
    EXPECT_EQ(data.GetContentString(), "[s]\nother=2\nkey=3\nkey=4\n");
}

TEST_F(MIniDataEditTest, DeleteEntryOfAMissingOneIsReported) {
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
    _recorder.clear();
    MIniData named;
    EXPECT_TRUE(named.AddSection(longName.c_str()));
    EXPECT_FALSE(named.DeleteEntry(longName.c_str(), "k"));
    EXPECT_EQ(_recorder.errorTraces().back(), "MIniData::DeleteEntry(): MIniDataSectionT::DeleteEntry() failed (\"" +
                                                  longName.substr(0, 30) + "\",\"k\")");
    EXPECT_TRUE(data.Unchanged());
}

// The entry is removed but its line stays: kept as it is.
TEST_F(MIniDataEditTest, DeleteEntryStopsAtALineWithoutNameOrEqualsSign) {
    const std::string rest(60, 'x');
    for (const auto& [line, cause] : {std::pair{"word" + rest, "no '=' found"}, {" =" + rest, "no entry name"}}) {
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
        EXPECT_TRUE(data.DeleteEntry("s", "a"));  // is above the line
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

TEST_F(MIniDataEditTest, ASectionReportsAnEntryWithoutALine) {
    const std::string name(50, 'k');
    Section section("[s]");
    MIniDataEntry stray(name + "=1", name.size() + 1);
    section.entry_map.emplace(name, &stray);
    addLine(section, "other=1", 6);
    EXPECT_FALSE(section.DeleteEntry(name));
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniDataSectionT::DeleteEntry(): entry \"" + name.substr(0, 40) +
                                                     "\" not found in line_vec"));
    EXPECT_THAT(section.entry_map, IsEmpty());
}

TEST_F(MIniDataEditTest, ASectionForgetsEveryNameOfALineThatItRemoves) {
    Section section("[s]");
    section.entry_map.emplace("word", addLine(section, "k=1", 0));  // a bare line whose value was set to "k=1"
    section.entry_map.emplace("k", addLine(section, "k=2", 2));
    EXPECT_TRUE(section.DeleteEntry("k"));
    EXPECT_THAT(section.entry_map, IsEmpty());
    EXPECT_EQ(section.line_vec.size(), 1u);
}

}  // namespace
