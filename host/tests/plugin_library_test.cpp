#include "plugin_library.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "temporary_folder.h"

namespace {

using host::PluginLibrary;
using testing::EndsWith;
using testing::HasSubstr;

TEST(PluginLibraryTest, PluginBesideTheProgramLoadsAndEnumeratesItsDevice) {
    std::string error;
    const auto library = PluginLibrary::load(host::defaultPluginPath(), error);
    ASSERT_TRUE(library) << error;
    EXPECT_EQ(library->device(0), nullptr) << "there is no device before the enumeration";
    const auto records = library->enumerate();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].interfaceKind, 1u);
    EXPECT_EQ(records[1].interfaceKind, 2u);
    EXPECT_EQ(records[2].interfaceKind, 3u);
    ASSERT_TRUE(library->device(0));
    EXPECT_EQ(library->device(0)->deviceId(), records[0].deviceId);
    EXPECT_EQ(library->device(1), nullptr);
}

TEST(PluginLibraryTest, RelativePathIsMadeAbsolute) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(test::programFolder());
    std::string error;
    const auto library =
        PluginLibrary::load(std::filesystem::path(host::defaultPluginPath()).filename().string(), error);
    std::filesystem::current_path(before);
    ASSERT_TRUE(library) << error;
    EXPECT_TRUE(std::filesystem::path(library->path()).is_absolute());
}

TEST(PluginLibraryTest, LoadsManyTimesInARow) {
    for (int round = 0; round < 5; ++round) {
        std::string error;
        const auto library = PluginLibrary::load(host::defaultPluginPath(), error);
        ASSERT_TRUE(library) << error;
        EXPECT_EQ(library->enumerate().size(), 3u);
    }
}

TEST(PluginLibraryTest, MissingFileIsNamed) {
    const test::TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(PluginLibrary::load(folder.path("none.so"), error));
    EXPECT_THAT(error, EndsWith("none.so: no such file"));
}

TEST(PluginLibraryTest, FileThatIsNoLibraryIsRefused) {
    const test::TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(PluginLibrary::load(folder.file("text.so", "this is no library"), error));
    EXPECT_THAT(error, HasSubstr("text.so: cannot be loaded as a library (error "));
}

TEST(PluginLibraryTest, LibraryWithoutTheTwoFunctionsIsRefused) {
    const std::filesystem::path plugin = host::defaultPluginPath();
    const auto trace = plugin.parent_path() / ("trace" + plugin.extension().string());
    std::string error;
    EXPECT_FALSE(PluginLibrary::load(trace.string(), error));
    EXPECT_THAT(error, HasSubstr("is no camera plugin: it does not export CreatePlugin and ReleasePlugin"));
}

}  // namespace
