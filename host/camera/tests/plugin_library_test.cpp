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

// Where an installation of this build has its plugin, relative to a program in PREFIX/bin/.
std::string installedPlugin(const test::TemporaryFolder& prefix) {
    const auto plugin = std::filesystem::path("bin") / DORVEN_PLUGIN_FROM_PROGRAM / DORVEN_PLUGIN_FILE;
    return prefix.file(plugin.lexically_normal().generic_string(), "");
}

TEST(PluginLibraryTest, InstalledProgramFindsThePluginOfItsInstallation) {
    const test::TemporaryFolder prefix;
    const std::string program = prefix.file("bin/dorven-host", "");
    const std::string plugin = installedPlugin(prefix);
    EXPECT_TRUE(std::filesystem::equivalent(host::pluginPathOf(program), plugin)) << host::pluginPathOf(program);
}

TEST(PluginLibraryTest, PluginBesideTheProgramWinsOverTheInstalledOne) {
    const test::TemporaryFolder prefix;
    const std::string program = prefix.file("bin/dorven-host", "");
    installedPlugin(prefix);
    const std::string beside = prefix.file(std::string("bin/") + DORVEN_PLUGIN_FILE, "");
    EXPECT_TRUE(std::filesystem::equivalent(host::pluginPathOf(program), beside)) << host::pluginPathOf(program);
}

TEST(PluginLibraryTest, ProgramWithoutAPluginNamesThePlaceBesideIt) {
    const test::TemporaryFolder prefix;
    const std::filesystem::path path = host::pluginPathOf(prefix.file("bin/dorven-host", ""));
    EXPECT_EQ(path.parent_path(), std::filesystem::path(prefix.path()) / "bin");
    EXPECT_EQ(path.filename(), DORVEN_PLUGIN_FILE);
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
