// The camera's configuration file: names in any code page, and names that lead back.
#include <cstdio>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImages.h"
#include "TeskImagesConfig.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using kest::dorven::TeskImages;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// Writes a file whose name may have any bytes; std::filesystem would convert the name on Windows.
void write(const std::string& path, const std::string& content) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    EXPECT_EQ(std::fwrite(content.data(), 1, content.size(), file), content.size());
    std::fclose(file);
}

class ConfigTest : public testing::Test {
protected:
    std::uint64_t widthOf(const std::string& path) { return TeskImages::create(path.c_str())->imageMemory()->width; }
    /// Text of the error for a file that cannot be followed.
    static std::string refused(const std::string& path) {
        return "kest::dorven::openIniFile  - could not open camera config file: " + path;
    }
    /// The folder of a file, with the separator that the file's path has.
    static std::string beside(const std::string& path) { return path.substr(0, path.find_last_of("\\/") + 1); }
    std::string folder() const { return _folder.path() + "/"; }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
};

// ---- names beyond ASCII: an a-umlaut in a single-byte code page (no valid UTF-8), and in UTF-8

class UmlautTest : public ConfigTest, public testing::WithParamInterface<const char*> {};

TEST_P(UmlautTest, FileIsOpenedByItsBytes) {
    const std::string path = folder() + "k" + GetParam() + "mera.ini";
    ASSERT_NO_FATAL_FAILURE(write(path, "[image]\nimage_size_x=21\n"));
    EXPECT_EQ(widthOf(path), 21u);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - " + path));
    EXPECT_THAT(_log.errors(), IsEmpty());
    std::remove(path.c_str());
}

TEST_P(UmlautTest, RedirectionIsFollowedByItsBytes) {
    const std::string target = folder() + "k" + GetParam() + "mera.ini";
    ASSERT_NO_FATAL_FAILURE(write(target, "[image]\nimage_size_x=22\n"));
    const std::string path =
        _folder.file("plugin.ini", "[Dorven]\ncamera_config=k" + std::string(GetParam()) + "mera.ini\n");
    EXPECT_EQ(widthOf(path), 22u);
    EXPECT_THAT(_log.errors(), IsEmpty());
    std::remove(target.c_str());
}

TEST_P(UmlautTest, CircleIsFound) {
    const std::string target = folder() + "k" + GetParam() + "mera.ini";
    ASSERT_NO_FATAL_FAILURE(write(target, "[Dorven]\ncamera_config=.\\plugin.ini\n"));
    const std::string path =
        _folder.file("plugin.ini", "[Dorven]\ncamera_config=k" + std::string(GetParam()) + "mera.ini\n");
    EXPECT_EQ(widthOf(path), 1280u);
    EXPECT_THAT(_log.errors(), ElementsAre(refused(beside(path) + ".\\plugin.ini")));
    std::remove(target.c_str());
}

INSTANTIATE_TEST_SUITE_P(Names, UmlautTest, testing::Values("\xE4", "\xC3\xA4"));

// ---- names that lead back

class CircleTest : public ConfigTest, public testing::WithParamInterface<const char*> {};

TEST_P(CircleTest, EndsAtTheFirstFileThatWasReadBefore) {
    _folder.path("cfg/sub/x");
    const std::string path = _folder.file(
        "cfg/plugin.ini", std::string("[Dorven]\ncamera_config=") + GetParam() + "\n[image]\nimage_size_x=9\n");
    EXPECT_EQ(widthOf(path), 1280u);
    EXPECT_THAT(_log.errors(), ElementsAre(refused(beside(path) + GetParam())));
}

// As written in the file plugin.ini of the folder "cfg".
INSTANTIATE_TEST_SUITE_P(Spellings, CircleTest,
                         testing::Values("plugin.ini", "./plugin.ini", "././/plugin.ini", "sub/../plugin.ini",
                                         "sub\\.\\..\\plugin.ini", "../cfg/plugin.ini"));

TEST_F(ConfigTest, FilesOfOneNameInTwoFoldersAreNoCircle) {
    _folder.file("a/plugin.ini", "[image]\nimage_size_x=31\n");
    EXPECT_EQ(widthOf(_folder.file("plugin.ini", "[Dorven]\ncamera_config=a/plugin.ini\n")), 31u);
    _folder.file("plugin.ini", "[image]\nimage_size_x=32\n");
    EXPECT_EQ(widthOf(_folder.file("a/plugin.ini", "[Dorven]\ncamera_config=../plugin.ini\n")), 32u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(ConfigTest, PathsThatDifferInTheirSeparatorAloneAreNoCircle) {
    _folder.file("ab/c.ini", "[image]\nimage_size_x=33\n");
    EXPECT_EQ(widthOf(_folder.file("a/bc.ini", "[Dorven]\ncamera_config=../ab/c.ini\n")), 33u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(ConfigTest, CircleOfRelativeNamesAboveTheirStartEnds) {
    const std::filesystem::path former = std::filesystem::current_path();
    _folder.path("cfg/x");
    std::filesystem::current_path(_folder.path() + "/cfg");
    _folder.file("one.ini", "[Dorven]\ncamera_config=../cfg/../one.ini\n");
    EXPECT_EQ(widthOf("../one.ini"), 1280u);  // its folder "../" leads above the start, where the file is not
    std::filesystem::current_path(former);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - ../../cfg/../one.ini"));
}

TEST_F(ConfigTest, CircleThroughTheRootEnds) {
    std::string up = "x";
    for (int i = 0; i < 40; ++i) up = "../" + up;
    const std::string path = _folder.path("plugin.ini");
    const std::string target = up.substr(0, up.size() - 2) + path.substr(path.find_first_of("\\/"));
    _folder.file("plugin.ini", "[Dorven]\ncamera_config=" + target + "\n");
    EXPECT_EQ(widthOf(path), 1280u);
    EXPECT_THAT(_log.errors(), ElementsAre(refused(beside(path) + target)));
}

}  // namespace
