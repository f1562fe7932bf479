#include "config_chain.h"

#include <filesystem>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using image_road::ConfigChain;
using image_road::ConfigFile;
using testing::ElementsAre;
using testing::EndsWith;

std::string leadsTo(const std::string& value) { return "[Dorven]\ncamera_config=" + value + "\n"; }

class ConfigChainWalkTest : public testing::Test {
protected:
    /// Where a walk ends; _walked contains the files passed.
    ConfigChain walk(const std::string& path) {
        ConfigChain chain(path);
        _walked = {path};
        while (chain.read() == ConfigFile::leadsOn) {
            chain.follow();
            _walked.push_back(chain.path());
        }
        return chain;
    }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
    std::vector<std::string> _walked;
};

TEST_F(ConfigChainWalkTest, NamesAreMadeOfTheFolderOfTheFileThatHoldsThem) {
    _folder.file("b/c/camera.ini", "[image]\nimage_size_x=9\n");
    _folder.file("b/next.ini", leadsTo("c\\camera.ini"));
    const ConfigChain chain = walk(_folder.file("a.ini", leadsTo("b/next.ini")));
    const std::string folder = _walked[0].substr(0, _walked[0].size() - 5);
    EXPECT_THAT(_walked, ElementsAre(folder + "a.ini", folder + "b/next.ini", folder + "b/c\\camera.ini"));
    EXPECT_EQ(chain.file(), ConfigFile::camera);
    EXPECT_EQ(chain.reason(), "");
    std::string value;
    EXPECT_TRUE(chain.ini()->GetStringEntry("image", "image_size_x", value));
    EXPECT_EQ(value, "9");
}

TEST_F(ConfigChainWalkTest, AbsoluteNamesStandAsTheyAre) {
    for (const char* name : {"/nowhere/a.ini", "\\nowhere\\a.ini", "nowhere:a.ini"}) {
        walk(_folder.file("a.ini", leadsTo(name)));
        EXPECT_EQ(_walked.back(), name);
    }
}

TEST_F(ConfigChainWalkTest, FileWithoutFolderLeadsOnFromTheCurrentOne) {
    _folder.file("plugin.ini", leadsTo("camera.ini"));
    _folder.file("camera.ini", "");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(_folder.path());
    const ConfigChain chain = walk("plugin.ini");
    std::filesystem::current_path(before);
    EXPECT_EQ(chain.path(), "./camera.ini");
    EXPECT_EQ(chain.file(), ConfigFile::camera);
}

TEST_F(ConfigChainWalkTest, ManyFilesAreFollowedToTheLast) {
    constexpr int kFiles = 1000;
    for (int number = 0; number < kFiles; ++number)
        _folder.file(std::to_string(number) + ".ini", leadsTo(std::to_string(number + 1) + ".ini"));
    _folder.file(std::to_string(kFiles) + ".ini", "");
    EXPECT_EQ(walk(_folder.path("0.ini")).file(), ConfigFile::camera);
    EXPECT_EQ(_walked.size(), kFiles + 1u);
}

TEST_F(ConfigChainWalkTest, EndsAreToldApartWithTheirReasons) {
    _folder.file("sub/a.ini", leadsTo("../sub/a.ini"));
    struct Case {
        std::string target;
        ConfigFile end;
        std::string reason;
    };
    const std::string first = _folder.file("first.ini", "");
    for (const Case& row : {
             Case{"none.ini", ConfigFile::absent, "there is no such file"},
             Case{"sub", ConfigFile::unreadable, "it is a folder"},
             Case{"", ConfigFile::unreadable, "it is a folder, since camera_config in " + first + " is empty"},
             Case{"sub/a.ini", ConfigFile::circle, "it leads back to itself"},
         }) {
        _folder.file("first.ini", leadsTo(row.target));
        const ConfigChain chain = walk(first);
        EXPECT_EQ(chain.file(), row.end) << row.target;
        EXPECT_EQ(chain.reason(), row.reason);
    }
    EXPECT_EQ(walk(_folder.path("none.ini")).ini()->GetSectionCount(), 0u);
    EXPECT_EQ(walk(_folder.path()).reason(), "it is a folder");
}

TEST_F(ConfigChainWalkTest, CircleEndsAtTheFirstFileThatWasReadBefore) {
    _folder.file("cfg/a.ini", leadsTo("../cfg/b.ini"));
    _folder.file("cfg/b.ini", leadsTo("..\\cfg\\a.ini"));
    EXPECT_EQ(walk(_folder.path("cfg/a.ini")).file(), ConfigFile::circle);
    EXPECT_EQ(_walked.size(), 3u);
    EXPECT_THAT(_walked.back(), EndsWith("..\\cfg\\a.ini"));
}

}  // namespace
