// Scenarios that are pipes: only on Linux.
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "parsed_options.h"
#include "scenario.h"
#include "scenario_watch.h"
#include "temporary_folder.h"

namespace {

using testing::HasSubstr;

TEST(ScenarioPipeTest, PipeIsRefusedAtTheStart) {
    const test::TemporaryFolder folder;
    const std::string pipe = folder.path("s.json");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string error;
    EXPECT_FALSE(simulator::readScenarioFile(pipe, error));
    EXPECT_EQ(error, pipe + ": is no regular file");
    const auto parsed = simulator::test::parse({"--scenario", pipe.c_str()});
    EXPECT_EQ(parsed.exitCode, 2);
    EXPECT_THAT(parsed.people, HasSubstr("is no regular file"));
}

TEST(ScenarioPipeTest, FileThatBecomesAPipeIsNoNewsAndNobodyWaitsForIt) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("s.json", "one");
    simulator::ScenarioLook watched(path, "one");
    EXPECT_FALSE(watched.look());
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(watched.look());
    EXPECT_FALSE(watched.look());
    std::filesystem::remove(path);
    folder.file("s.json", "other");
    EXPECT_FALSE(watched.look());
    EXPECT_EQ(watched.look(), "other");
}

}  // namespace
