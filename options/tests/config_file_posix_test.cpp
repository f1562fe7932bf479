// The user's configuration file in a place that the user may not read: in a home that belongs to somebody else.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "child_process.h"
#include "config_file.h"
#include "sample_program.h"

namespace {

using namespace std::chrono_literals;

constexpr uid_t kSomebodyElse = 65534;

/// A home with a configuration file.
class ClosedHomeTest : public testing::Test {
protected:
    ClosedHomeTest() : file(program.configFile("rate = 50\n")) {}
    ~ClosedHomeTest() override { chmod(program.folder.path().c_str(), 0700); }

    test::SampleProgram program;
    const std::string file;
};

// Runs as an ordinary user, who is kept out by missing rights. Reports what the reader says about the file.
CHILD_ROLE(readsAConfigurationFileAsAnOrdinaryUser) {
    if (geteuid() == 0 && setresuid(kSomebodyElse, kSomebodyElse, kSomebodyElse) != 0) return 1;
    std::vector<options::FileEntry> entries;
    const std::string problem = options::readConfigFile(arguments.at(0), entries);
    if (!entries.empty()) return 2;
    return problem.empty() ? 10 : problem == arguments.at(0) + ": is there and cannot be read" ? 11 : 3;
}

TEST_F(ClosedHomeTest, FileInAFolderThatCannotBeEnteredIsNone) {
    ASSERT_EQ(chmod(program.folder.path().c_str(), 0), 0);
    test::ChildProcess reader("readsAConfigurationFileAsAnOrdinaryUser", {file});
    EXPECT_EQ(reader.join(60s), 10);
}

TEST_F(ClosedHomeTest, FileThatIsSeenAndCannotBeReadIsRefused) {
    ASSERT_EQ(chmod(program.folder.path().c_str(), 0711), 0);
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    test::ChildProcess reader("readsAConfigurationFileAsAnOrdinaryUser", {file});
    EXPECT_EQ(reader.join(60s), 11);
}

// What a program does with that file.
CHILD_ROLE(runsAsAnOrdinaryUser) {
    if (geteuid() == 0 && setresuid(kSomebodyElse, kSomebodyElse, kSomebodyElse) != 0) return 1;
    CLI::App app("A sample.", "dorven-sample");
    std::ostringstream data;
    std::ostringstream people;
    const char* const name = "dorven-sample";
    const auto exitCode = options::parse(app, 1, &name, data, people, {{}, arguments.at(0) + "/"});
    return !exitCode && people.str().empty() ? 10 : 2;
}

TEST_F(ClosedHomeTest, ProgramRunsWithItsDefaults) {
    ASSERT_EQ(chmod(program.folder.path().c_str(), 0), 0);
    test::ChildProcess run("runsAsAnOrdinaryUser", {program.folder.path()});
    EXPECT_EQ(run.join(60s), 10);
}

}  // namespace
