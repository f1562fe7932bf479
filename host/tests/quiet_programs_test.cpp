// What stands on standard error when all is well, and where the log is instead.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs_fixture.h"
#include "simulator_presence.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class QuietProgramsTest : public test::ProgramsTest {
protected:
    static auto hasNoLogLine() {
        return AllOf(Not(HasSubstr("errorlog")), Not(HasSubstr("errortrace")), Not(HasSubstr("Assertion")));
    }
    int grabWithoutASimulator(test::Arguments more) {
        more.insert(more.begin(), {"grab", "--config", _config, "--timeout", "1"});
        return startHost(std::move(more)).join(60s);
    }
    const std::string _log = _folder.path("log.txt");
};

TEST_F(QuietProgramsTest, GrabThatSucceedsShowsNoLogLine) {
    auto host = startGrab({"--count", "20"});
    auto simulator = startSimulator({"--size", "900x40", "--fps", "200"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    EXPECT_THAT(people(), hasNoLogLine());
}

TEST_F(QuietProgramsTest, TableOfCommandsComesWithoutAssertions) {
    EXPECT_EQ(startHost({"info", "--commands"}).join(60s), 0);
    EXPECT_THAT(people(), hasNoLogLine());
}

TEST_F(QuietProgramsTest, WithoutASimulatorNoLogLineComesEither) {
    EXPECT_EQ(grabWithoutASimulator({}), 3);
    EXPECT_THAT(people(), hasNoLogLine());
}

TEST_F(QuietProgramsTest, VerboseBringsTheLogBack) {
    EXPECT_EQ(grabWithoutASimulator({"-v"}), 3);
    EXPECT_THAT(people(), HasSubstr(" errortrace 0 mipc/src/msharedmem_win32:2147 MSharedMem_Link() failed for "));
    EXPECT_EQ(grabWithoutASimulator({"--verbose"}), 3);
    EXPECT_THAT(people(), HasSubstr("MSharedMem_Link() failed for "));
}

TEST_F(QuietProgramsTest, LogFileHasTheLines) {
    EXPECT_EQ(grabWithoutASimulator({"--log", _log}), 3);
    EXPECT_THAT(people(), hasNoLogLine());
    EXPECT_THAT(text("log.txt"), HasSubstr("MSharedMem_Link() failed for "));
}

TEST_F(QuietProgramsTest, LogFileThatCannotBeOpenedIsSaidAndNothingIsGrabbed) {
    EXPECT_EQ(grabWithoutASimulator({"--log", _folder.path() + "/none/log.txt"}), 1);
    EXPECT_EQ(people(), "dorven-host: " + _folder.path() + "/none/log.txt" +
                            ": the log file cannot be opened for writing; check its folder and your rights, or name "
                            "another with --log\n");
}

TEST_F(QuietProgramsTest, FailureShowsWhatTheLogSaysOfIt) {
    EXPECT_EQ(startHost({"call", "1002"}).join(60s), 1);
    EXPECT_THAT(people(), HasSubstr("dorven-host: from the log (-v shows all of it):\n"
                                    "  errorlog mutil/src/massert:61 Assertion failed: '_teskImages', file "
                                    "DorVenPluginQImage, line 57: invalid plugin\n"));
}

TEST_F(QuietProgramsTest, FailureShowsTheLogOnceWhenVerboseHasShownIt) {
    EXPECT_EQ(startHost({"call", "1002", "-v"}).join(60s), 1);
    EXPECT_THAT(people(), AllOf(HasSubstr("invalid plugin"), Not(HasSubstr("from the log"))));
}

TEST_F(QuietProgramsTest, SimulatorsLogIsQuietAsWell) {
    EXPECT_EQ(startSimulatorWithOutputs({"--size", "900x40", "--count", "20"}).join(60s), 0);
    EXPECT_THAT(people(), hasNoLogLine());
    EXPECT_EQ(startSimulatorWithOutputs({"--count", "20", "--log", _folder.path() + "/none/log.txt"}).join(60s), 1);
    EXPECT_THAT(people(), HasSubstr("none/log.txt: the log file cannot be opened for writing"));
}

TEST_F(QuietProgramsTest, NobodyRunningIsSaidOnceAndIsTheReasonAtTheEnd) {
    EXPECT_EQ(startHost({"grab", "--timeout", "2.5", "--json"}).join(60s), 3);
    const std::string said = people();
    const std::string advice = host::kNoSimulator;
    EXPECT_THAT(said, HasSubstr("dorven-host: " + advice + "\ndorven-host: no image came for 2.5 s; " + advice + "\n"));
}

}  // namespace
