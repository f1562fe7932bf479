#include "fileops.h"

#include <string>

#include <gmock/gmock.h>

#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileOperationsTest : public testing::Test {
protected:
    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
};

TEST_F(FileOperationsTest, TypeTellsFoldersFromFiles) {
    _folder.file("sub/f", "");
    EXPECT_EQ(file_type(_folder.path("sub").c_str()), 'd');
    EXPECT_EQ(file_type((_folder.path() + "/sub/f").c_str()), '-');
    EXPECT_EQ(file_type((_folder.path() + "\\sub\\f").c_str()), '-');
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(FileOperationsTest, TypeOfNothingIsReported) {
    const std::string name = _folder.path("missing");
    EXPECT_EQ(file_type(name.c_str()), -1);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("file_type(): _findfirst(\"" + name + "\") failed: No such file or directory"));
    EXPECT_EQ(_recorder.entries().front().file, "mfileio/src/fileops");
}

TEST_F(FileOperationsTest, TypeTakesASeparatorAtTheEndAsNothing) {
    EXPECT_EQ(file_type((_folder.path() + "/").c_str()), -1);
    EXPECT_EQ(file_type(""), -1);
}

TEST_F(FileOperationsTest, TypeTakesTheFirstMatchOfAPattern) {
    _folder.file("a.txt", "");
    EXPECT_EQ(file_type((_folder.path() + "/*").c_str()), 'd');
    EXPECT_EQ(file_type((_folder.path() + "/a.*").c_str()), '-');
    EXPECT_EQ(file_type((_folder.path() + "/b.*").c_str()), -1);
}

TEST_F(FileOperationsTest, SizeCountsTheBytesOfAFile) {
    EXPECT_EQ(file_size(_folder.file("f", std::string(70'000, 'x')).c_str()), 70'000);
    EXPECT_EQ(file_size(_folder.file("f", "").c_str()), 0);
    EXPECT_EQ(file_size(_folder.path().c_str()), 0);
    EXPECT_THAT(_recorder.entries(), IsEmpty());
    EXPECT_EQ(file_size(_folder.path("missing").c_str()), -1);
}

TEST_F(FileOperationsTest, RenameReplacesAnExistingFileAndAnswers1) {
    const std::string from = _folder.file("a", "new");
    const std::string to = _folder.file("b", "old");
    EXPECT_EQ(file_rename(from.c_str(), to.c_str()), 1);
    EXPECT_EQ(file_size(to.c_str()), 3);
    EXPECT_FALSE(file_access(from.c_str()));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(FileOperationsTest, RenameOfNothingIsReportedAndAnswers0) {
    const std::string from = _folder.path("a");
    const std::string to = _folder.path("b");
    EXPECT_EQ(file_rename(from.c_str(), to.c_str()), 0);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("file_rename(): MoveFileEx(" + from + "," + to + ") failed: 2"));
}

TEST_F(FileOperationsTest, UnlinkRemovesAFileOnce) {
    const std::string name = _folder.file("f", "x");
    EXPECT_TRUE(file_unlink(name.c_str()));
    EXPECT_FALSE(file_access(name.c_str()));
    EXPECT_FALSE(file_unlink(name.c_str()));
}

TEST_F(FileOperationsTest, UnlinkLeavesFolders) {
    EXPECT_FALSE(file_unlink(_folder.path().c_str()));
    EXPECT_TRUE(file_access(_folder.path().c_str()));
}

TEST(FileAccess, IsTrueForAFileAndForAFolder) {
    const test::TemporaryFolder folder;
    EXPECT_TRUE(file_access(folder.file("f", "content").c_str()));
    EXPECT_TRUE(file_access(folder.path().c_str()));
}

TEST(FileAccess, IsFalseForWhatDoesNotExist) {
    const test::TemporaryFolder folder;
    EXPECT_FALSE(file_access(folder.path("missing").c_str()));
    EXPECT_FALSE(file_access((folder.path() + "/no folder/missing").c_str()));
    EXPECT_FALSE(file_access(""));
}

TEST(FileAccess, TakesBothSeparatorsOfFolders) {
    const test::TemporaryFolder folder;
    folder.file("sub/f", "content");
    EXPECT_TRUE(file_access((folder.path() + "\\sub\\f").c_str()));
    EXPECT_TRUE(file_access((folder.path() + "/sub/f").c_str()));
}

}  // namespace
