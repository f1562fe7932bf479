#include "fileops.h"

#include <gmock/gmock.h>

#include "temporary_folder.h"

namespace {

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
