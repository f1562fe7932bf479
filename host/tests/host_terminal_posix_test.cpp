// What a user sees of the host in a terminal of 80 columns and 24 lines.
#include <algorithm>
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_options.h"
#include "programs_fixture.h"
#include "terminal_session.h"

namespace {

using test::TerminalSession;
using testing::Each;
using testing::HasSubstr;
using testing::Le;
using testing::Not;
using testing::SizeIs;

class HostInATerminalTest : public test::ProgramsTest {
protected:
    HostInATerminalTest() { setenv("LC_ALL", "C.UTF-8", 1); }
    ~HostInATerminalTest() override { unsetenv("LC_ALL"); }

    static std::vector<std::string> linesFrom(const TerminalSession& session, const std::string& first) {
        const std::vector<std::string> lines = session.lines();
        return {std::find(lines.begin(), lines.end(), first), lines.end()};
    }
};

TEST_F(HostInATerminalTest, GrabEndsWithItsVerdictAndATableThatFits) {
    auto simulator = startSimulator({"--size", "900x40", "--strip-cell", "line", "--no-ask", "--fps", "50"});
    TerminalSession grab("dorven-host", {"grab", "--config", _config, "--count", "100"});
    EXPECT_EQ(grab.join(), 0) << grab.written();
    simulator.kill();
    const auto table = linesFrom(grab, "100 images, all verified, nothing lost");
    ASSERT_FALSE(table.empty()) << grab.written();
    EXPECT_THAT(table, Each(SizeIs(Le(79u))));
    EXPECT_LE(table.size(), 20u) << "with the command itself it fits on the screen";
}

TEST_F(HostInATerminalTest, GrabWithoutAnyImageEndsWithTheReasonAlone) {
    TerminalSession grab("dorven-host", {"grab", "--config", _config, "--timeout", "0.3"});
    EXPECT_EQ(grab.join(), host::kExitNoImage);
    ASSERT_FALSE(grab.lines().empty());
    EXPECT_THAT(grab.lines().back(), HasSubstr("no image came for 0.3 s"));
    EXPECT_THAT(grab.lines(), Each(Not(HasSubstr("lost"))));
}

TEST_F(HostInATerminalTest, BenchFits) {
    TerminalSession bench("dorven-host", {"bench", "--seconds", "0.2", "--size", "64x20", "--fps", "50"});
    EXPECT_EQ(bench.join(), 0) << bench.written();
    EXPECT_THAT(bench.lines(), Each(SizeIs(Le(79u))));
    EXPECT_THAT(bench.lines(), SizeIs(Le(24u)));
}

TEST_F(HostInATerminalTest, TableInAFileLeavesTheLiveLineOnTheTerminal) {
    auto simulator = startSimulator({"--size", "900x40", "--no-ask", "--fps", "50"});
    TerminalSession grab("dorven-host", {"grab", "--config", _config, "--count", "100"}, _folder.path("out.txt"));
    EXPECT_EQ(grab.join(), 0) << grab.written();
    simulator.kill();
    EXPECT_THAT(text("out.txt"), HasSubstr("100 images, all verified, nothing lost\n"));
    EXPECT_THAT(text("out.txt"), Not(HasSubstr("\x1B")));
    EXPECT_THAT(grab.written(), HasSubstr(" of 100 images  "));
    EXPECT_THAT(grab.written(), Not(HasSubstr("all verified")));
}

}  // namespace
