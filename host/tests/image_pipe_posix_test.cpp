// Readers of images that end early, read slowly, or are a terminal.
#include <fstream>
#include <iterator>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host_options.h"
#include "programs_fixture.h"
#include "terminal_session.h"

namespace {

using testing::Each;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

class ImageReaderTest : public test::ProgramsTest {
protected:
    // A shell that has the programs in $bin and the camera's configuration in $config.
    void runInShell(const std::string& command) {
        const std::string text =
            "bin='" + test::programFolder() + "'; config='" + _config + "'; cd '" + _folder.path() + "'; " + command;
        const char* const argv[] = {"sh", "-c", text.c_str(), nullptr};
        pid_t id = 0;
        ASSERT_EQ(posix_spawn(&id, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(argv), environ), 0);
        int status = 0;
        waitpid(id, &status, 0);
    }
    std::string exitCode() const { return text("code.txt"); }
};

TEST_F(ImageReaderTest, ReaderThatHasEnoughEndsTheGrabWithASentenceAndZero) {
    auto simulator = startSimulator({"--size", "900x40", "--no-ask", "--fps", "50"});
    runInShell(
        "{ \"$bin\"/dorven-host grab --config \"$config\" --output - --format raw --timeout 60 2>err.txt; "
        "echo $? >code.txt; } | head -c 100000 >out.txt");
    simulator.kill();
    EXPECT_EQ(exitCode(), "0\n") << people();
    EXPECT_EQ(text("out.txt").size(), 100'000u);
    EXPECT_THAT(people(), HasSubstr(" to standard output, until its reader ended\n"));
    EXPECT_THAT(people(), Not(HasSubstr("limit broken")));
}

TEST_F(ImageReaderTest, ReaderThatEndsBeforeAnyImageCameEndsTheGrabToo) {
    runInShell(
        "{ \"$bin\"/dorven-host grab --config \"$config\" --output - --timeout 3600 2>err.txt; echo $? >code.txt; } "
        "| true");
    EXPECT_EQ(exitCode(), "0\n") << people();
    EXPECT_THAT(people(), HasSubstr("wrote 0 images to standard output, until its reader ended\n"));
}

TEST_F(ImageReaderTest, PictureThatNobodyReadsFailsTheSnap) {
    auto simulator = startSimulator({"--size", "900x40", "--no-ask", "--fps", "50"});
    runInShell(
        "{ \"$bin\"/dorven-host snap - --format raw --config \"$config\" 2>err.txt; echo $? >code.txt; } | true");
    simulator.kill();
    EXPECT_EQ(exitCode(), "1\n");
    EXPECT_THAT(people(), HasSubstr("dorven-host: standard output: its reader has gone\n"));
}

TEST_F(ImageReaderTest, ProgramOfAnotherLanguageReadsTheStream) {
    auto simulator = startSimulator({"--size", "900x40", "--no-ask", "--fps", "50"});
    _folder.file("read.py",
                 "import sys\n"
                 "stream = sys.stdin.buffer\n"
                 "head = stream.readline().decode().split()\n"
                 "width, height = (int(field[1:]) for field in head[1:3])\n"
                 "images = 0\n"
                 "while stream.readline() == b'FRAME\\n':\n"
                 "    assert len(stream.read(width * height)) == width * height\n"
                 "    images += 1\n"
                 "print(width, height, images)\n");
    runInShell(
        "\"$bin\"/dorven-host grab --config \"$config\" --output - --count 20 2>err.txt | python3 read.py >out.txt");
    simulator.kill();
    EXPECT_EQ(text("out.txt"), "900 40 20\n") << people();
}

// The pipe is full and stays so: a stop still ends the grab, and what was not taken is counted.
TEST_F(ImageReaderTest, StopEndsAGrabWhoseReaderTakesNothing) {
    auto simulator = startSimulator({"--size", "900x40", "--no-ask", "--fps", "50"});
    int pipeEnds[2] = {};
    ASSERT_EQ(pipe2(pipeEnds, O_CLOEXEC), 0);
    const std::string errors = _folder.path("err.txt");
    std::vector<std::string> arguments{
        test::programFolder() + "dorven-host", "grab", "--config", _config, "--output", "-", "--format", "raw"};
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t id = 0;
    ASSERT_EQ(posix_spawn(&id, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    const int room = fcntl(pipeEnds[0], F_GETPIPE_SZ);
    for (int full = 0; full < room - 8192; std::this_thread::sleep_for(1ms))
        ASSERT_EQ(ioctl(pipeEnds[0], FIONREAD, &full), 0);
    kill(id, SIGTERM);
    int status = 0;
    waitpid(id, &status, 0);
    simulator.kill();
    close(pipeEnds[0]);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("its reader takes nothing any more, and a stop was requested"));
}

TEST_F(ImageReaderTest, TerminalIsRefusedAsAReader) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"grab", "--output", "-"}, {"snap", "-"}}) {
        test::TerminalSession session("dorven-host", arguments);
        EXPECT_EQ(session.join(), host::kExitWrongUsage);
        ASSERT_FALSE(session.lines().empty());
        EXPECT_THAT(session.lines().front(), HasSubstr("standard output is a terminal"));
        EXPECT_THAT(session.lines(), Each(testing::SizeIs(testing::Le(80u))));
    }
}

}  // namespace
