#include <gtest/gtest.h>

#include "surroundings.h"

namespace {

using options::configFolderIn;

TEST(SurroundingsPosixTest, FolderIsTheOneForConfigurationElseInTheHome) {
    EXPECT_EQ(configFolderIn({"HOME=/home/a", "XDG_CONFIG_HOME=/elsewhere"}), "/elsewhere/dorven/");
    EXPECT_EQ(configFolderIn({"HOME=/home/a", "XDG_CONFIG_HOME="}), "/home/a/.config/dorven/");
    EXPECT_EQ(configFolderIn({"HOME=/home/a"}), "/home/a/.config/dorven/");
}

TEST(SurroundingsPosixTest, RelativeFolderDoesNotCount) {
    EXPECT_EQ(configFolderIn({"HOME=/home/a", "XDG_CONFIG_HOME=here"}), "/home/a/.config/dorven/");
    EXPECT_EQ(configFolderIn({"HOME=here"}), "");
}

}  // namespace
