// Both programs as a user sees them, on a terminal of 80 columns and 24 lines.
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "program_on_terminal.h"
#include "programs_fixture.h"
#include "simulator_presence.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Le;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class TerminalProgramsTest : public test::ProgramsTest {
protected:
    static auto hasNoLogLine() {
        return Each(AllOf(Not(HasSubstr("errorlog")), Not(HasSubstr("errortrace")), Not(HasSubstr("Assertion"))));
    }
};

TEST_F(TerminalProgramsTest, GrabThatSucceedsShowsNoLogLine) {
    test::ProgramOnTerminal host("dorven-host", {"grab", "--config", _config, "--count", "20"});
    auto simulator = startSimulator({"--size", "900x40", "--fps", "200"});
    EXPECT_EQ(host.join(), 0) << host.printed();
    simulator.kill();
    EXPECT_THAT(host.screen(), hasNoLogLine());
    EXPECT_THAT(host.screen().front(), StartsWith("dorven-host: 900 x 40 pixels"));
}

TEST_F(TerminalProgramsTest, SimulatorShowsNoLogLine) {
    test::ProgramOnTerminal simulator("dorven-simulator", {"--size", "900x40", "--count", "20"});
    EXPECT_EQ(simulator.join(), 0);
    EXPECT_THAT(simulator.screen(), hasNoLogLine());
}

TEST_F(TerminalProgramsTest, LogLevelIsObeyedAndVerboseAloneShowsTheLog) {
    for (const bool verbose : {false, true}) {
        auto host = startGrab({"--count", "20"});
        test::Arguments arguments{"--size", "900x40", "--fps", "200"};
        if (verbose) arguments.emplace_back("-v");
        test::ProgramOnTerminal simulator("dorven-simulator", arguments, {"DORVEN_LOG_LEVEL=5"});
        EXPECT_EQ(host.join(60s), 0) << people();
        if (verbose) {
            EXPECT_TRUE(simulator.waitForText(" trace 5 ipc/IPMessenger:"));
        }
        simulator.pressCtrlC();
        EXPECT_EQ(simulator.join(), 0);
        EXPECT_EQ(simulator.printed().find(" trace ") != std::string::npos, verbose) << simulator.printed();
    }
}

TEST_F(TerminalProgramsTest, WithoutASimulatorTheLiveLineSaysWhatToDo) {
    test::ProgramOnTerminal host("dorven-host", {"grab", "--config", _config}, {"NO_COLOR=1"});
    EXPECT_TRUE(host.waitForText(std::string("\r") + host::kNoSimulatorInShort + "\x1B[K")) << host.printed();
    EXPECT_EQ(host.screen().back(), host::kNoSimulatorInShort);
    EXPECT_THAT(host.screen(), hasNoLogLine());
    host.pressCtrlC();
    EXPECT_EQ(host.join(), 0);
    EXPECT_THAT(host.screen(), Not(Contains(HasSubstr("no simulator is running"))))
        << "the line is gone, and nothing else says it";
}

// Takes the 22 s after which the camera itself begins to fake images.
TEST_F(TerminalProgramsTest, FakedImagesEndAGrabThatRequiresASimulatorAndAreNamedInOneThatDoesNot) {
    auto taking = startHost({"grab", "--config", _config, "--count", "3"});
    test::ProgramOnTerminal requiring("dorven-host", {"grab", "--config", _config, "--count", "3", "--max-lost", "0"},
                                      {"PLATFORM_OBJECT_NAMESPACE=" + test::uniqueName("requiring")});
    EXPECT_EQ(requiring.join(), 3);
    EXPECT_THAT(requiring.printed(), AllOf(HasSubstr("the camera began to fake images before a simulator sent one"),
                                           HasSubstr(host::kNoSimulator)));
    EXPECT_EQ(taking.join(60s), 0);
    EXPECT_THAT(people(), HasSubstr("dorven-host: all 3 images are faked: the camera made them itself, as no simulator "
                                    "sent any\n"));
    EXPECT_THAT(people(), HasSubstr(std::string("dorven-host: ") + host::kNoSimulator + "\n"));
}

TEST_F(TerminalProgramsTest, DoctorAnswersOnOneScreenWhenAllIsWell) {
    auto simulator = startSimulator({"--size", "900x40", "--fps", "200", "--lines", "2"});
    std::vector<std::string> screen;
    for (int look = 0; look < 100 && (screen.empty() || screen.front() != "All is well: images can be grabbed.");
         ++look) {
        test::ProgramOnTerminal doctor("dorven-host", {"doctor", "--config", _folder.path("sub/camera.ini")});
        doctor.join();
        screen = doctor.screen();
    }
    simulator.kill();
    EXPECT_EQ(screen.front(), "All is well: images can be grabbed.");
    EXPECT_EQ(screen.back(), "0 problems, 0 warnings. All is well: images can be grabbed.");
    EXPECT_THAT(screen, SizeIs(Le(test::ProgramOnTerminal::kLines - 1))) << "the prompt takes a line";
}

TEST_F(TerminalProgramsTest, DoctorSaysTheRemedyFirstAndLast) {
    test::ProgramOnTerminal doctor("dorven-host", {"doctor"});
    EXPECT_EQ(doctor.join(), 0);
    EXPECT_THAT(doctor.screen().front(), HasSubstr("To do: start dorven-simulator"));
    EXPECT_THAT(doctor.printed(),
                MatchesRegex("To do: (.|\r|\n)*warnings?\\. To do: start dorven-simulator(.|\r|\n)*"));
}

}  // namespace
