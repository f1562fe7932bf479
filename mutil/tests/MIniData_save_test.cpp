// Writing into files, and reading them back.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string bytesOf(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class MIniDataSaveTest : public testing::Test {
protected:
    test::LogRecorder _recorder;
    test::TemporaryFolder _folder;
};

TEST_F(MIniDataSaveTest, SaveWritesSortedSectionsWithCrLf) {
    const std::string file = _folder.file("a.ini", "#top\n\n[a]\nk=v\n \t\n[B]\n#end");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.Save());
    EXPECT_EQ(bytesOf(file), "#top\r\n[B]\r\n#end\r\n[a]\r\nk=v\r\n \t\r\n");
    EXPECT_EQ(data.GetContentString(), "#top\n[B]\n#end\n[a]\nk=v\n \t\n");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataSaveTest, SaveEndsTheChange) {
    MIniData data(_folder.file("a.ini", "[s]\nk=1").c_str());
    EXPECT_TRUE(data.SetLongEntry("s", "k", 2));
    EXPECT_FALSE(data.Unchanged());
    EXPECT_TRUE(data.Save());
    EXPECT_TRUE(data.Unchanged());
    EXPECT_TRUE(data.IsOpen());
}

TEST_F(MIniDataSaveTest, SaveMakesAnAbsentFile) {
    const std::string file = _folder.path("new.ini");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.FileAbsent());
    EXPECT_TRUE(data.SetStringEntry("s", "k", "v"));
    EXPECT_TRUE(data.Save());
    EXPECT_FALSE(data.FileAbsent());
    EXPECT_TRUE(data.Unchanged());
    EXPECT_EQ(bytesOf(file), "[s]\r\nk=v\r\n");
}

TEST_F(MIniDataSaveTest, WhatWasSavedIsReadBack) {
    const std::string file = _folder.file("a.ini", "#c\n[b] x\n  key = value ; \n[a]\n \n*c\nq==\n[]\n");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.Save());
    const MIniData again(file.c_str());
    EXPECT_TRUE(again.IsOpen());
    EXPECT_EQ(again.GetContentString(), data.GetContentString());
    const std::string bytes = bytesOf(file);
    EXPECT_TRUE(MIniData(again).Save());
    EXPECT_EQ(bytesOf(file), bytes);
}

TEST_F(MIniDataSaveTest, SaveAfterAFailedOpenLeavesTheLinesBeforeTheFailure) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1\nbad\nj=2\n");
    MIniData data(file.c_str());
    EXPECT_FALSE(data.IsOpen());
    EXPECT_TRUE(data.Save());
    EXPECT_EQ(bytesOf(file), "[s]\r\nk=1\r\n");
    EXPECT_TRUE(data.Unchanged());
}

TEST_F(MIniDataSaveTest, WhoAsksBeforeSavingDoesNotLoseTheLinesBehindARefusedOne) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1\nrefused\n[t]\nlost=1\n");
    const MIniData data(file.c_str());
    ASSERT_FALSE(data.IsOpen());
    EXPECT_EQ(data.GetContentString(), "[s]\nk=1\n");
    EXPECT_FALSE(data.HoldsWholeFile());
}

TEST_F(MIniDataSaveTest, TheWholeFileIsHeldFromOpenOnWhateverIsChangedThen) {
    MIniData data;
    EXPECT_FALSE(data.HoldsWholeFile());
    EXPECT_TRUE(data.Open(_folder.file("a.ini", "\xEF\xBB\xBF[s]\n\n#c\nk=1\n").c_str()));
    EXPECT_TRUE(data.HoldsWholeFile());
    EXPECT_TRUE(data.SetLongEntry("s", "k", 2));
    EXPECT_TRUE(data.DeleteSection("s"));
    EXPECT_TRUE(data.HoldsWholeFile());
    EXPECT_TRUE(data.Save());
    EXPECT_TRUE(data.Reload());
    EXPECT_TRUE(data.HoldsWholeFile());
    EXPECT_TRUE(data.Open(_folder.path("none.ini").c_str()));
    EXPECT_TRUE(data.HoldsWholeFile());  // there is nothing in it
    data.Close();
    EXPECT_FALSE(data.HoldsWholeFile());
}

TEST_F(MIniDataSaveTest, TheWholeFileIsNotHeldWhenALineOfItWasDropped) {
    using namespace std::string_literals;
    for (const auto& [options, content, whole] : {
             std::tuple{0u, "[s]\n\n \nk=1\n"s, true},
             {0u, "[s]\n\0k=1\n"s, false},
             {MIniData::kReplaceEntries, "[s]\nk=1\nj=2\n"s, true},
             {MIniData::kReplaceEntries, "[s]\nk=1\nk=2\n"s, false},
             {MIniData::kReplaceSections, "[s]\nk=1\n[t]\n"s, true},
             {MIniData::kReplaceSections, "[s]\nk=1\n[s]\n"s, false},
         }) {
        MIniData data(options);
        EXPECT_TRUE(data.Open(_folder.file("a.ini", content).c_str()));
        EXPECT_EQ(data.HoldsWholeFile(), whole) << content;
        EXPECT_EQ(MIniData(data).HoldsWholeFile(), whole) << content;
    }
}

TEST_F(MIniDataSaveTest, ATextThatTookTheFilesPlaceIsNotTheFile) {
    MIniData data(_folder.file("a.ini", "[s]\nk=1\n").c_str());
    EXPECT_TRUE(data.SetContentString("[s]\nk=1\n"));
    EXPECT_FALSE(data.HoldsWholeFile());
    // A copy reads the lines; if it cannot, it does not hold them.
    MIniData broken(_folder.file("a.ini", "[s]\nk=1\n[t]\n").c_str());
    EXPECT_TRUE(broken.SetStringEntry("s", "k", "1\nno entry"));
    EXPECT_TRUE(broken.HoldsWholeFile());
    EXPECT_FALSE(MIniData(broken).HoldsWholeFile());
}

TEST_F(MIniDataSaveTest, SaveOfAnEmptyContentEmptiesTheFile) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1");
    MIniData data(file.c_str());
    EXPECT_TRUE(data.SetContentString(""));
    EXPECT_TRUE(data.Save());
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(bytesOf(file), "");
}

TEST_F(MIniDataSaveTest, ACopySavesIntoTheFileOfItsOriginal) {
    const std::string file = _folder.file("a.ini", "[s]\nk=1");
    const MIniData data(file.c_str());
    MIniData copy;
    copy = data;
    EXPECT_TRUE(copy.SetLongEntry("s", "k", 2));
    EXPECT_TRUE(copy.Save());
    EXPECT_EQ(bytesOf(file), "[s]\r\nk=2\r\n");
}

TEST_F(MIniDataSaveTest, SaveThatFailsIsReportedAndChangesNoFlag) {
    const std::string file = _folder.path() + "/no such folder/" + std::string(40, 'x') + ".ini";
    MIniData data(file.c_str());
    EXPECT_TRUE(data.AddSection("s"));
    EXPECT_FALSE(data.Save());
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MIniData::Save(): MFastFile_WriteLinesAtOnce(\"" + file.substr(0, 40) + "\") failed");
    EXPECT_EQ(_recorder.entries().back().file, "mutil/src/MIniData_template_core");
    EXPECT_TRUE(data.FileAbsent());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_TRUE(data.IsOpen());
}

TEST_F(MIniDataSaveTest, SaveWithoutAFileNameFails) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]"));
    EXPECT_FALSE(data.Save());
    EXPECT_EQ(_recorder.errorTraces().back(), "MIniData::Save(): MFastFile_WriteLinesAtOnce(\"\") failed");
    EXPECT_FALSE(data.Unchanged());
}

// With and without replacement of the whole file; the folder contains nothing else afterwards.
TEST_F(MIniDataSaveTest, EveryWayOfSavingWritesTheSameBytes) {
    for (const std::uint32_t options : {std::uint32_t{0}, MIniData::kFlushOnSave, MIniData::kReplaceOnSave,
                                        MIniData::kFlushOnSave | MIniData::kReplaceOnSave}) {
        const std::string file = _folder.file("a.ini", "[s]\nk=1\nand=more\n");
        MIniData data(options);
        ASSERT_TRUE(data.Open(file.c_str()));
        EXPECT_TRUE(data.DeleteEntry("s", "and"));
        EXPECT_TRUE(data.Save()) << options;
        EXPECT_EQ(bytesOf(file), "[s]\r\nk=1\r\n") << options;
        const std::filesystem::directory_iterator entries(_folder.path());
        EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << options;
    }
}

}  // namespace
