#include <gtest/gtest.h>

#include "surroundings.h"

namespace {

using options::configFolderIn;

TEST(SurroundingsWin32Test, FolderIsTheUsersForApplications) {
    EXPECT_EQ(configFolderIn({"APPDATA=C:\\Users\\a\\AppData\\Roaming"}), "C:\\Users\\a\\AppData\\Roaming\\dorven\\");
    EXPECT_EQ(configFolderIn({"APPDATA=\\\\server\\a"}), "\\\\server\\a\\dorven\\");
}

TEST(SurroundingsWin32Test, RelativeFolderDoesNotCount) { EXPECT_EQ(configFolderIn({"APPDATA=here"}), ""); }

}  // namespace
