// Whole files read, written, replaced and copied.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class MFastFileTest : public testing::Test {
protected:
    MFastFileTest() : _name(_folder.path("f")) {}

    std::ptrdiff_t write(const std::string& bytes, int mode) {
        return MFastFile_WriteAtOnce(_name.c_str(), bytes.data(), bytes.size(), mode);
    }

    std::ptrdiff_t writeLines(const std::string& text, int mode = MFastFile::kTruncate) {
        return MFastFile_WriteLinesAtOnce(_name.c_str(), text.data(), text.size(), mode);
    }

    std::vector<std::string> filesInFolder() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(_folder.path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
    const std::string _name;
};

// ------------------------------------------------------------------------------------------------------------ reading

TEST_F(MFastFileTest, ReadAtOnceReadsUpToTheSize) {
    _folder.file("f", "abc");
    char bytes[6] = "#####";
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), bytes, 5), 3);
    EXPECT_EQ(std::string(bytes, 5), "abc##");
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), bytes, 2), 2);
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), nullptr, 0), 0);
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileTest, ReadAtOnceOfAMissingFileIsReported) {
    char byte = '#';
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), &byte, 1), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_ReadAtOnce(): openfile(\"" + _name + "\") failed."));
    EXPECT_EQ(_recorder.entries().front().file, "mfileio/src/fastfile");
}

TEST_F(MFastFileTest, ReadAtOnceIntoAStringReadsTheWholeFile) {
    std::string content = "old";
    for (const std::size_t size : {0, 1, 100'000}) {
        const std::string bytes(size, '\x80');
        _folder.file("f", bytes);
        EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content), static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(content, bytes);
    }
}

TEST_F(MFastFileTest, ReadAtOnceIntoAStringEmptiesItForAMissingFile) {
    std::string content = "old";
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content), -1);
    EXPECT_EQ(content, "");
    EXPECT_EQ(_recorder.errorTraces().back(), "MFastFile_ReadAtOnce(): file_size(\"" + _name + "\") returned -1");
}

TEST_F(MFastFileTest, ReadAtOnceIntoAStringEmptiesItForAFolder) {
    std::string content = "old";
    EXPECT_EQ(MFastFile_ReadAtOnce(_folder.path().c_str(), content), -1);
    EXPECT_EQ(content, "");
}

TEST_F(MFastFileTest, ReadLinesAtOnceMakesOneLfOfEachLineEnd) {
    for (const auto& [bytes, expected] : {std::pair{"a\r\nb\rc\nd", "a\nb\nc\nd"},
                                          {"", ""},
                                          {"\r", "\n"},
                                          {"\r\n", "\n"},
                                          {"\n\r", "\n\n"},
                                          {"\r\r\n", "\n\n"},
                                          {"a\r\n\r\nb\r", "a\n\nb\n"},
                                          {"plain", "plain"}}) {
        _folder.file("f", bytes);
        const auto length = static_cast<std::ptrdiff_t>(std::string(expected).size());
        std::string text = "old";
        EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), text), length);
        EXPECT_EQ(text, expected);
        char buffer[20];
        EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), buffer, sizeof buffer), length);
        EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(length)), expected);
    }
}

TEST_F(MFastFileTest, ReadLinesAtOnceSeesNothingBehindItsBuffer) {
    _folder.file("f", "a\r\nb");
    char buffer[2];
    EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), buffer, 2), 2);
    EXPECT_EQ(std::string(buffer, 2), "a\n");
}

TEST_F(MFastFileTest, ReadLinesAtOnceOfAMissingFileFails) {
    std::string text = "old";
    char buffer[2];
    EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), text), -1);
    EXPECT_EQ(text, "");
    EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), buffer, sizeof buffer), -1);
}

// ------------------------------------------------------------------------------------------------------------ writing

TEST_F(MFastFileTest, WriteAtOnceAnswersTheCount) {
    EXPECT_EQ(write(std::string("a\0b", 3), 2), 3);
    EXPECT_EQ(contentOf(_name), std::string("a\0b", 3));
    EXPECT_EQ(write("", 2), 0);
    EXPECT_EQ(contentOf(_name), "");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileTest, WriteAtOnceKnowsTheModesOfTheWriter) {
    EXPECT_EQ(write("one", 0), 3);
    EXPECT_EQ(write("two", 1), 3);
    EXPECT_EQ(contentOf(_name), "onetwo");
    EXPECT_EQ(write("new", 2), 3);
    EXPECT_EQ(contentOf(_name), "new");
    EXPECT_EQ(write("x", 6), 1);
    EXPECT_EQ(write("y", 5), 1);
    EXPECT_EQ(contentOf(_name), "xy");
}

TEST_F(MFastFileTest, WriteAtOnceOfANewFileRefusesAnExistingOne) {
    _folder.file("f", "old");
    EXPECT_EQ(write("new", 0), -1);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFile_WriteAtOnce(): openwritefile(" + _name + ", 0) failed"));
    EXPECT_EQ(contentOf(_name), "old");
}

TEST_F(MFastFileTest, WriteAtOnceRefusesUnknownModes) {
    for (const auto& [mode, shown] : {std::pair{3, "3"}, {7, "3"}, {8, "8"}, {9, "9"}, {11, "11"}}) {
        _recorder.clear();
        EXPECT_EQ(write("x", mode), -1);
        EXPECT_THAT(_recorder.errorTraces(),
                    ElementsAre("openwritefile(): unknown mode " + std::string(shown) + " for " + _name,
                                "MFastFile_WriteAtOnce(): openwritefile(" + _name + ", " + shown + ") failed"));
    }
    EXPECT_THAT(filesInFolder(), IsEmpty());
}

TEST_F(MFastFileTest, SafeReplaceReplacesTheContentAndLeavesNoOtherFile) {
    _folder.file("f", "a longer old content");
    for (const int mode : {10, 14}) {
        EXPECT_EQ(write("new", mode), 3);
        EXPECT_EQ(contentOf(_name), "new");
        EXPECT_THAT(filesInFolder(), ElementsAre("f"));
    }
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileTest, SafeReplaceMakesAMissingFile) {
    EXPECT_EQ(write("new", 10), 3);
    EXPECT_EQ(contentOf(_name), "new");
}

TEST_F(MFastFileTest, SafeReplaceTakesBothSeparatorsOfFolders) {
    _folder.file("sub/other", "");
    for (const char* separator : {"/", "\\"}) {
        const std::string name = _folder.path() + separator + "sub" + separator + "f";
        EXPECT_EQ(MFastFile_WriteAtOnce(name.c_str(), separator, 1, 10), 1);
        EXPECT_EQ(contentOf(_folder.path() + "/sub/f"), separator);
    }
    EXPECT_THAT(filesInFolder(), ElementsAre("sub"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(_folder.path("sub")), {}), 2);
}

// Runs in its own working folder, and restores the old one at the end.
class CurrentFolder {
public:
    explicit CurrentFolder(const std::string& folder) : _former(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    ~CurrentFolder() { std::filesystem::current_path(_former); }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;

private:
    std::filesystem::path _former;
};

TEST_F(MFastFileTest, SafeReplaceOfANameWithoutFolderStaysInTheCurrentOne) {
    const CurrentFolder here(_folder.path());
    for (const char* name : {"x", "x", "a rather long name of a file.ini"})
        EXPECT_EQ(MFastFile_WriteAtOnce(name, "abc", 3, 10), 3);
    EXPECT_EQ(contentOf(_folder.path("x")), "abc");
    EXPECT_THAT(filesInFolder(), UnorderedElementsAre("x", "a rather long name of a file.ini"));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileTest, SafeReplaceInAMissingFolderIsReported) {
    EXPECT_EQ(MFastFile_WriteAtOnce((_folder.path() + "/missing/f").c_str(), "x", 1, 10), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteAtOnce(): GetTempFileName() failed:267"));
    EXPECT_THAT(filesInFolder(), IsEmpty());
}

TEST_F(MFastFileTest, SafeReplaceOfAFolderIsReportedAndNothingStaysBeside) {
    _folder.file("sub/f", "");
    EXPECT_EQ(MFastFile_WriteAtOnce(_folder.path("sub").c_str(), "x", 1, 10), -1);
    const auto errors = _recorder.errorTraces();
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_THAT(errors[0], HasSubstr("file_rename(): MoveFileEx("));
    EXPECT_THAT(errors[0], HasSubstr("sub) failed: 5"));
    EXPECT_THAT(errors[1], HasSubstr("MFastFile_WriteAtOnce(): file_rename("));
    EXPECT_EQ(filesInFolder().size(), 1u);
}

TEST_F(MFastFileTest, WriteLinesAtOnceMakesCrLfOfEachLineEndAndCountsIt) {
    for (const auto& [text, expected] : {std::pair{"x\ny", "x\r\ny"},
                                         {"a\rb", "a\r\nb"},
                                         {"a\r\nb", "a\r\nb"},
                                         {"", ""},
                                         {"\n\n", "\r\n\r\n"},
                                         {"\r", "\r\n"},
                                         {"\r\r\n\n\r", "\r\n\r\n\r\n\r\n"},
                                         {"plain", "plain"}}) {
        EXPECT_EQ(writeLines(text), static_cast<std::ptrdiff_t>(std::string(expected).size()));
        EXPECT_EQ(contentOf(_name), expected);
    }
}

TEST_F(MFastFileTest, WriteLinesAtOnceSeesNothingBehindItsText) {
    EXPECT_EQ(MFastFile_WriteLinesAtOnce(_name.c_str(), "a\r\nb", 2, 2), 3);
    EXPECT_EQ(contentOf(_name), "a\r\n");
}

TEST_F(MFastFileTest, WriteLinesAtOnceKnowsTheModesOfWriteAtOnce) {
    EXPECT_EQ(writeLines("a\n", 0), 3);
    EXPECT_EQ(writeLines("b\n", 1), 3);
    EXPECT_EQ(contentOf(_name), "a\r\nb\r\n");
    EXPECT_EQ(writeLines("c\n", 14), 3);
    EXPECT_EQ(contentOf(_name), "c\r\n");
    EXPECT_THAT(filesInFolder(), ElementsAre("f"));
}

TEST_F(MFastFileTest, WriteLinesAtOnceReportsTheConvertedSizeAndTheModeAsGiven) {
    _folder.file("f", "old");
    EXPECT_EQ(writeLines("x\ny", 4), -1);
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MFastFile_WriteLinesAtOnce(): MFastFile_WriteAtOnce(\"" + _name + "\",..,4,4) failed");
}

// ------------------------------------------------------------------------------------------------------------ copying

TEST_F(MFastFileTest, CopyFileCopiesEveryByte) {
    for (const std::string& bytes : {std::string(), std::string("a\r\0\n", 4), std::string(100'000, '\xFF')}) {
        const std::string to = _folder.path("to");
        EXPECT_EQ(MFastFile_CopyFile(_folder.file("f", bytes).c_str(), to.c_str(), 2),
                  static_cast<std::ptrdiff_t>(bytes.size()));
        EXPECT_EQ(contentOf(to), bytes);
    }
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileTest, CopyFileKnowsTheModesOfWriteAtOnce) {
    _folder.file("f", "abc");
    const std::string to = _folder.file("to", "old");
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), to.c_str(), 0), -1);
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MFastFile_CopyFile(): MFastFile_WriteAtOnce(\"" + to + "\",..,3,0) failed");
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), to.c_str(), 1), 3);
    EXPECT_EQ(contentOf(to), "oldabc");
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), to.c_str(), 10), 3);
    EXPECT_EQ(contentOf(to), "abc");
}

TEST_F(MFastFileTest, CopyFileOfAMissingFileIsReported) {
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), _folder.path("to").c_str(), 2), -1);
    EXPECT_EQ(_recorder.errorTraces().back(), "MFastFile_CopyFile(): file_size(\"" + _name + "\") failed");
    EXPECT_THAT(filesInFolder(), IsEmpty());
}

TEST_F(MFastFileTest, CopyFileOfAFolderFailsAsItIsRead) {
    EXPECT_EQ(MFastFile_CopyFile(_folder.path().c_str(), _name.c_str(), 2), -1);
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MFastFile_CopyFile(): MFastFile_ReadAtOnce(\"" + _folder.path() + "\",..,0) failed");
}

}  // namespace
