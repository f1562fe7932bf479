#include <gtest/gtest.h>

#include "surroundings.h"

namespace {

TEST(SurroundingsWin32Test, FolderIsTheUsersForApplications) {
    EXPECT_EQ(platform_configFolderIn({"APPDATA=C:\\Users\\a\\AppData\\Roaming"}),
              "C:\\Users\\a\\AppData\\Roaming\\dorven\\");
    EXPECT_EQ(platform_configFolderIn({"APPDATA=\\\\server\\a"}), "\\\\server\\a\\dorven\\");
}

TEST(SurroundingsWin32Test, RelativeFolderDoesNotCount) { EXPECT_EQ(platform_configFolderIn({"APPDATA=here"}), ""); }

}  // namespace
