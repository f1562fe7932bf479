// What differs for files on Windows: some are hidden, and an open file is not replaced.
#include <string>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "fileops.h"
#include "log_recorder.h"
#include "platform.h"
#include "temporary_folder.h"

namespace {

using testing::HasSubstr;
using testing::SizeIs;

TEST(FileOperationsOfWindows, TypeSetsHiddenAndSystemFilesApart) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("f", "");
    for (const DWORD attribute : {FILE_ATTRIBUTE_HIDDEN, FILE_ATTRIBUTE_SYSTEM}) {
        ASSERT_TRUE(SetFileAttributesA(file.c_str(), attribute));
        EXPECT_EQ(file_type(file.c_str()), ' ');
        EXPECT_EQ(file_size(file.c_str()), 0);
    }
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(file_type(file.c_str()), '-');
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST(FileOperationsOfWindows, TypeOfAHiddenFolderIsAFolders) {
    const test::TemporaryFolder folder;
    folder.file("sub/f", "");
    const std::string sub = folder.path("sub");
    ASSERT_TRUE(SetFileAttributesA(sub.c_str(), FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(file_type(sub.c_str()), 'd');
    ASSERT_TRUE(SetFileAttributesA(sub.c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST(FileOperationsOfWindows, AnOpenFileIsNotReplaced) {
    const test::TemporaryFolder folder;
    const test::LogRecorder recorder;
    const std::string name = folder.file("f", "old");
    MFastFileReader reader(name.c_str());
    EXPECT_EQ(file_rename(folder.file("g", "new").c_str(), name.c_str()), 0);
    EXPECT_EQ(MFastFile_WriteAtOnce(name.c_str(), "new", 3, MFastFile::kSafeReplace), -1);
    EXPECT_THAT(recorder.errorTraces(), SizeIs(3));
    EXPECT_THAT(recorder.errorTraces().front(), HasSubstr("f) failed: 5"));
    std::string content;
    EXPECT_EQ(MFastFile_ReadAtOnce(name.c_str(), content), 3);
    EXPECT_EQ(content, "old");
    EXPECT_TRUE(reader.Close());
    EXPECT_EQ(MFastFile_WriteAtOnce(name.c_str(), "new", 3, MFastFile::kSafeReplace), 3);
}

}  // namespace
