// The content as a whole: as a string, and copied.
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

}  // namespace
