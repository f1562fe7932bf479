// Links: different names for one file, and one name for files that lead to different ones.
#include <filesystem>

#include <gtest/gtest.h>

#include "config_chain.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using image_road::ConfigChain;
using image_road::ConfigFile;

std::string leadsTo(const std::string& value) { return "[Dorven]\ncamera_config=" + value + "\n"; }

class ConfigChainLinksTest : public testing::Test {
protected:
    ConfigFile endOf(const std::string& path) {
        ConfigChain chain(path);
        for (_steps = 1; chain.read() == ConfigFile::leadsOn; ++_steps) chain.follow();
        return chain.file();
    }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
    int _steps = 0;
};

TEST_F(ConfigChainLinksTest, FolderThatIsALinkToItselfIsNoDetour) {
    const std::string path = _folder.file("cfg/a.ini", leadsTo("again/a.ini"));
    std::filesystem::create_directory_symlink(_folder.path() + "/cfg", _folder.path() + "/cfg/again");
    EXPECT_EQ(endOf(path), ConfigFile::circle);
    EXPECT_EQ(_steps, 2);
}

TEST_F(ConfigChainLinksTest, OneFileUnderTwoFoldersLeadsToTwo) {
    _folder.file("shared.ini", leadsTo("sub/a.ini"));
    _folder.file("cfg/sub/sub/a.ini", "");
    for (const char* name : {"/cfg/a.ini", "/cfg/sub/a.ini"})
        std::filesystem::create_symlink(_folder.path() + "/shared.ini", _folder.path() + name);
    EXPECT_EQ(endOf(_folder.path() + "/cfg/a.ini"), ConfigFile::camera);
    EXPECT_EQ(_steps, 3);
}

TEST_F(ConfigChainLinksTest, TwoNamesOfOneFileInAFolderAreACircle) {
    const std::string path = _folder.file("a.ini", leadsTo("b.ini"));
    std::filesystem::create_hard_link(path, _folder.path() + "/b.ini");
    EXPECT_EQ(endOf(path), ConfigFile::circle);
    EXPECT_EQ(_steps, 2);
}

}  // namespace
