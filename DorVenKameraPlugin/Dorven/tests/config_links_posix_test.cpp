// Redirection through folders that are links: their parent folder is not the one that the path suggests.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImages.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

class LinkedFolderTest : public testing::Test {
protected:
    LinkedFolderTest() {
        _folder.path("cfg/x");
        _folder.path("other/deep/x");
        std::filesystem::create_directory_symlink(_folder.path() + "/other/deep", _folder.path() + "/cfg/link");
    }
    std::string redirectThroughTheLink() {
        return _folder.file("cfg/plugin.ini", "[Dorven]\ncamera_config=link/../plugin.ini\n[image]\nimage_size_x=9\n");
    }
    static std::uint64_t widthOf(const std::string& path) {
        return kest::dorven::TeskImages::create(path.c_str())->imageMemory()->width;
    }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
};

TEST_F(LinkedFolderTest, FileBesideTheLinkedFolderIsAnotherOne) {
    _folder.file("other/plugin.ini", "[image]\nimage_size_x=41\n");
    EXPECT_EQ(widthOf(redirectThroughTheLink()), 41u);
    EXPECT_THAT(_log.errors(), testing::IsEmpty());
}

TEST_F(LinkedFolderTest, CircleThroughALinkIsFound) {
    const std::string path = redirectThroughTheLink();
    _folder.file("other/plugin.ini", "[Dorven]\ncamera_config=" + path + "\n");
    EXPECT_EQ(widthOf(path), 1280u);
    EXPECT_THAT(_log.errors(),
                testing::ElementsAre("kest::dorven::openIniFile  - could not open camera config file: " + path));
}

TEST_F(LinkedFolderTest, CircleThroughALinkToItselfEnds) {
    std::filesystem::create_directory_symlink(_folder.path() + "/cfg", _folder.path() + "/cfg/again");
    EXPECT_EQ(widthOf(_folder.file("cfg/plugin.ini", "[Dorven]\ncamera_config=again/plugin.ini\n")), 1280u);
}

}  // namespace
