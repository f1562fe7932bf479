// Opening, reloading and closing files.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(BOOL, ReadFile, (HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped),
               (file, buffer, size, bytesRead, overlapped))

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kGreatestFile = MIniData::kGreatestFile;

class MIniDataOpenTest : public testing::Test {
protected:
    std::string file(const std::string& content) { return _folder.file("a.ini", content); }

    // The content string after opening a file of these bytes.
    std::string opened(const std::string& content) {
        MIniData data(file(content).c_str());
        EXPECT_TRUE(data.IsOpen());
        return data.GetContentString();
    }

    test::LogRecorder _recorder;
    test::TemporaryFolder _folder;
};

TEST_F(MIniDataOpenTest, NewDataIsNotOpenAndItsFileAbsent) {
    const MIniData data;
    EXPECT_FALSE(data.IsOpen());
    EXPECT_TRUE(data.FileAbsent());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_EQ(data.GetSectionCount(), 0u);
    EXPECT_EQ(data.GetLastErrorText(), "");
    EXPECT_EQ(data.GetContentString(), "");
}

TEST_F(MIniDataOpenTest, OpenReadsAFileAndSetsTheFlags) {
    MIniData data;
    EXPECT_TRUE(data.Open(file("[a]\nk=v\n").c_str()));
    EXPECT_TRUE(data.IsOpen());
    EXPECT_FALSE(data.FileAbsent());
    EXPECT_TRUE(data.Unchanged());
    std::string value;
    EXPECT_TRUE(data.GetStringEntry("a", "k", value));
    EXPECT_EQ(value, "v");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataOpenTest, OpenReadsEveryKindOfLineEndAndALastLineWithout) {
    EXPECT_EQ(opened("[a]\r\nk=v\rj=w\nlast=x"), "[a]\nk=v\nj=w\nlast=x\n");
}

TEST_F(MIniDataOpenTest, OpenReadsALongFile) {
    std::string content = "[s]\n";
    for (int number = 0; number < 3000; ++number) content += "key" + std::to_string(number) + "=value\n";
    EXPECT_EQ(opened(content), content);
}

TEST_F(MIniDataOpenTest, OpenOfAnEmptyFileSucceeds) {
    const MIniData data(file("").c_str());
    EXPECT_TRUE(data.IsOpen());
    EXPECT_TRUE(data.Unchanged());
    EXPECT_FALSE(data.FileAbsent());
    EXPECT_EQ(data.GetSectionCount(), 0u);
}

TEST_F(MIniDataOpenTest, OpenOfAMissingFileIsANewEmptyOne) {
    for (const std::string& name : {_folder.path() + "/none.ini", _folder.path() + "/nodir/none.ini", ""s}) {
        MIniData data(file("[s]\nk=1").c_str());
        EXPECT_TRUE(data.Open(name.c_str()));
        EXPECT_TRUE(data.IsOpen());
        EXPECT_TRUE(data.FileAbsent());
        EXPECT_FALSE(data.Unchanged());
        EXPECT_EQ(data.GetSectionCount(), 0u);
    }
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MIniDataOpenTest, OpenWithoutANameIsAsWithAnEmptyOne) {
    MIniData data;
    EXPECT_TRUE(data.Open(nullptr));
    EXPECT_TRUE(data.FileAbsent());
}

TEST_F(MIniDataOpenTest, OpenOfAFolderFailsAndIsReported) {
    const std::string name = _folder.path();
    const MIniData data(name.c_str());
    EXPECT_FALSE(data.IsOpen());
    EXPECT_FALSE(data.FileAbsent());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFileReader::Open(): openfile(\"" + name + "\") failed: 5",
                            "MIniData::Open(): MFastFileReader::Open() failed",
                            "MIniData::MIniData(): Open(\"" + name.substr(0, 60) + "\") failed"));
}

TEST_F(MIniDataOpenTest, AFileOfMoreThan64MegabytesIsRefusedUnread) {
    const std::string name = file("[s]\nk=1\n");
    std::filesystem::resize_file(name, kGreatestFile + 1);
    const MIniData data(name.c_str());
    EXPECT_FALSE(data.IsOpen());
    EXPECT_FALSE(data.SectionExists("s"));
    EXPECT_EQ(data.GetLastErrorText(), "is larger than 64 MB");
    EXPECT_EQ(_recorder.errorTraces()[0], "MIniData::Open(\"" + name.substr(0, 80) + "\"): is larger than 64 MB");
}

TEST_F(MIniDataOpenTest, AFileThatGrowsWhileItIsReadIsRefusedAfter64Megabytes) {
    const std::string name = file("[s]\nk=1\n");
    std::uint64_t taken = 0;
    const test::Fault fault(fault_ReadFile, [&](HANDLE, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED*) {
        std::memset(buffer, '#', size);
        *bytesRead = size;
        taken += size;
        return taken > 2 * kGreatestFile ? FALSE : TRUE;
    });
    MIniData data(MIniData::kAcceptBareLines);
    EXPECT_FALSE(data.Open(name.c_str()));
    EXPECT_FALSE(data.HoldsWholeFile());
    EXPECT_EQ(data.GetLastErrorText(), "is larger than 64 MB");
    EXPECT_LE(taken, kGreatestFile + 2 * 8192);
    EXPECT_EQ(_recorder.errorTraces().back(), "MIniData::Open(\"" + name.substr(0, 80) + "\"): is larger than 64 MB");
}

TEST_F(MIniDataOpenTest, AFileOf64MegabytesIsRead) {
    const std::string name = file("[s]\nk=1\n");
    std::filesystem::resize_file(name, kGreatestFile);  // one last line that begins with a byte 0
    const MIniData data(name.c_str());
    EXPECT_TRUE(data.IsOpen());
    EXPECT_TRUE(data.SectionExists("s"));
}

TEST_F(MIniDataOpenTest, TheConstructorCutsALongNameInItsReport) {
    const std::string name = _folder.path(std::string(80, 'n') + "/x");
    const std::string folder = name.substr(0, name.size() - 2);
    const MIniData data(folder.c_str());
    EXPECT_EQ(_recorder.errorTraces().back(), "MIniData::MIniData(): Open(\"" + folder.substr(0, 60) + "\") failed");
}

TEST_F(MIniDataOpenTest, EmptyLinesAndLinesThatBeginWithAByteZeroAreDropped) {
    EXPECT_EQ(opened("\n#top\n\n[a]\r\n\r\n \t\n\0k=1\nj=2\n\n"s), "#top\n[a]\n \t\nj=2\n");
}

TEST_F(MIniDataOpenTest, ALineThatIsRefusedFailsTheOpenAndLeavesTheLinesBefore) {
    MIniData data;
    EXPECT_FALSE(data.Open(file("[a]\nk=1\nbad\nj=2").c_str()));
    EXPECT_FALSE(data.IsOpen());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_EQ(data.GetLastErrorText(), "No '=' found in \"bad\" in section [a]");
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::parse_line(): No '=' found in \"bad\" in section [a]",
                                                     "MIniData::Open(): parse_line(bad) failed"));
    std::int32_t value = 0;
    EXPECT_TRUE(data.GetLongEntry("a", "k", value));
    EXPECT_EQ(value, 1);
    EXPECT_EQ(data.GetContentString(), "[a]\nk=1\n");
    EXPECT_TRUE(data.Close());
    EXPECT_EQ(data.GetContentString(), "");
}

TEST_F(MIniDataOpenTest, AFailedOpenIsNotUnchangedThoughTheOneBeforeWas) {
    MIniData data(file("[a]").c_str());
    EXPECT_TRUE(data.Unchanged());
    EXPECT_FALSE(data.Open(file("bad").c_str()));
    EXPECT_FALSE(data.Unchanged());
}

TEST_F(MIniDataOpenTest, ALongLineIsCutInTheReport) {
    const std::string line(100, 'x');
    const MIniData data(file("[" + line).c_str());
    EXPECT_EQ(_recorder.errorTraces().at(1), "MIniData::Open(): parse_line([" + line.substr(0, 59) + ") failed");
}

TEST_F(MIniDataOpenTest, OptionsStayForOpen) {
    MIniData data(MIniData::kReplaceEntries);
    const std::string name = file("[s]\nk=1\nk=2");
    EXPECT_TRUE(data.Open(name.c_str()));
    EXPECT_TRUE(data.Close());
    EXPECT_TRUE(data.Open(name.c_str()));
    EXPECT_TRUE(data.Reload());
    EXPECT_EQ(data.GetContentString(), "[s]\nk=2\n");
    EXPECT_FALSE(MIniData(name.c_str()).IsOpen());  // without options
}

// ---------------------------------------------------------------------------------------------------- byte-order marks

TEST_F(MIniDataOpenTest, TheMarkOfUtf8IsCutOff) {
    EXPECT_EQ(opened("\xEF\xBB\xBF[a]\nk=1"), "[a]\nk=1\n");
    EXPECT_EQ(opened("\xEF\xBB\xBF"), "");
    EXPECT_EQ(opened("\xEF\xBB\xBF\n[a]"), "[a]\n");
}

TEST_F(MIniDataOpenTest, OtherMarksAreRefused) {
    for (const std::string& mark : {"\xFF\xFE"s, "\xFE\xFF"s, "\0\0\xFE\xFF"s, "\xFF\xFE\0\0"s}) {
        for (const std::string& rest : {"[a]\0"s, ""s, "\n"s}) {
            _recorder.clear();
            const std::string name = file(mark + rest);
            MIniData data;
            EXPECT_FALSE(data.Open(name.c_str()));
            EXPECT_FALSE(data.IsOpen());
            EXPECT_EQ(data.GetLastErrorText(), "UTF16/32 Unicode format not supported.");
            EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::Open(\"" + name.substr(0, 80) +
                                                             "\"): UTF16/32 Unicode format not supported"));
        }
    }
}

TEST_F(MIniDataOpenTest, ALongNameIsCutInTheReportOfAMark) {
    const std::string name = _folder.file(std::string(100, 'n'), "\xFF\xFE");
    const MIniData data(name.c_str());
    EXPECT_EQ(_recorder.errorTraces().front(),
              "MIniData::Open(\"" + name.substr(0, 80) + "\"): UTF16/32 Unicode format not supported");
}

TEST_F(MIniDataOpenTest, PartsOfMarksAreNone) {
    EXPECT_EQ(opened("\0\0\xFE"s), "");  // begins with a byte 0
    MIniData data;
    EXPECT_FALSE(data.Open(file("\xFF").c_str()));
    EXPECT_EQ(data.GetLastErrorText(), "Possible entry \"\xFF\" found before first section");
    EXPECT_FALSE(data.Open(file("\xEF\xBB").c_str()));
    EXPECT_EQ(data.GetLastErrorText(), "Possible entry \"\xEF\xBB\" found before first section");
}

TEST_F(MIniDataOpenTest, AMarkCountsOnTheFirstLineAlone) {
    EXPECT_EQ(opened("[a]\n\xFF\xFE=1\n\xEF\xBB\xBFk=2"), "[a]\n\xFF\xFE=1\n\xEF\xBB\xBFk=2\n");
    MIniData data;
    EXPECT_FALSE(data.Open(file("\n\xEF\xBB\xBF[a]").c_str()));  // an empty line is the first one, too
}

// ---------------------------------------------------------------------------------------------------- reload and close

TEST_F(MIniDataOpenTest, ReloadReadsTheFileAgain) {
    MIniData data(file("[s]\nk=1").c_str());
    file("[s]\nk=2");
    EXPECT_TRUE(data.Reload());
    EXPECT_EQ(data.GetContentString(), "[s]\nk=2\n");
    EXPECT_FALSE(data.FileAbsent());
}

TEST_F(MIniDataOpenTest, ReloadOfDataThatIsNotOpenFails) {
    MIniData data;
    EXPECT_FALSE(data.Reload());
    EXPECT_FALSE(data.Open(file("bad").c_str()));
    file("[s]");
    EXPECT_FALSE(data.Reload());
}

TEST_F(MIniDataOpenTest, CloseForgetsContentAndFileName) {
    MIniData data(file("#c\n[s]\nk=1").c_str());
    EXPECT_TRUE(data.Close());
    EXPECT_FALSE(data.IsOpen());
    EXPECT_TRUE(data.FileAbsent());
    EXPECT_EQ(data.GetSectionCount(), 0u);
    EXPECT_EQ(data.GetContentString(), "");
    EXPECT_FALSE(data.Reload());
    EXPECT_TRUE(data.SetContentString("[t]"));
    EXPECT_TRUE(data.Reload());  // of no name: a new, empty file
    EXPECT_EQ(data.GetContentString(), "");
    EXPECT_TRUE(data.Close());
    EXPECT_TRUE(data.Close());
}

TEST_F(MIniDataOpenTest, AReadErrorFailsTheOpen) {
    const std::string name = file("[s]\nk=1");
    const test::Fault fault(fault_ReadFile, [](HANDLE, LPVOID, DWORD, DWORD*, OVERLAPPED*) {
        SetLastError(ERROR_IO_DEVICE);
        return FALSE;
    });
    MIniData data;
    EXPECT_FALSE(data.Open(name.c_str()));
    EXPECT_FALSE(data.IsOpen());
    EXPECT_EQ(_recorder.errorTraces().back(), "MIniData::Open(): MFastFileReader::ReadLine() failed");
}

}  // namespace
