// Hidden and system files, which Windows alone has.
#include <string>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "fileops.h"
#include "log_recorder.h"
#include "platform.h"
#include "temporary_folder.h"

namespace {

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

}  // namespace
