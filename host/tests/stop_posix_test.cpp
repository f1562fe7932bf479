// How a grab ends on request: by signals, so only on Linux.
#include <fstream>
#include <iterator>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "image_ring.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "object_names.h"
#include "temporary_folder.h"

extern char** environ;

namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

class HostStopTest : public testing::TestWithParam<int> {
protected:
    std::string text(const std::string& path) const {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    test::TemporaryFolder _folder;
};

TEST_P(HostStopTest, GrabEndsCleanlyAndStillPrints) {
    simulator::ImageRing ring(100, 4);
    ASSERT_EQ(ring.open(), simulator::ImageRing::OpenResult::opened);
    void* const memory = MSharedMem_Link(image_road::kImagesMemory);
    const std::string output = _folder.path("out.txt");
    const std::string people = _folder.path("err.txt");
    std::vector<std::string> arguments{test::programFolder() + "dorven-host", "grab", "--json"};
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, people.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    for (int round = 0; round < 6000 && MMemLineFifo_IsReaderAttached(memory) == 0; ++round) {
        ring.wakeReader();
        std::this_thread::sleep_for(10ms);
    }
    kill(pid, GetParam());
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(memory), 0) << "the camera let go of the ring";
    EXPECT_THAT(text(output), HasSubstr("{\"schema\":\"dorven-grab/2\",\"images\":0,"));
    MSharedMem_Unlink(memory);
}

/// Runs a shell command with the folder of the programs in $bin and a folder to write into.
/// @return  Its exit code.
int runInShell(const test::TemporaryFolder& folder, const std::string& command) {
    const std::string text = "bin='" + test::programFolder() + "'; cd '" + folder.path() + "'; " + command;
    const char* const argv[] = {"sh", "-c", text.c_str(), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(argv), environ) != 0) return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class FullOutputTest : public testing::TestWithParam<const char*> {};

TEST_P(FullOutputTest, StandardOutputThatCannotBeWrittenFailsTheProgram) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(runInShell(folder, "\"$bin\"/" + std::string(GetParam()) + " >/dev/full 2>err.txt"), 1);
    std::ifstream file(folder.path("err.txt"));
    const std::string people{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(people, HasSubstr(": standard output could not be written\n"));
}

INSTANTIATE_TEST_SUITE_P(Commands, FullOutputTest,
                         testing::Values("dorven-host --help", "dorven-host --version", "dorven-host info --json",
                                         "dorven-host grab --json --timeout 0.2", "dorven-host config --show",
                                         "dorven-host config --completion", "dorven-simulator --version",
                                         "dorven-simulator patterns", "dorven-simulator patterns --json",
                                         "dorven-simulator config --show --json"));

// "dorven-host … | head" must not leave the mark of a dead reader in the ring.
TEST(BrokenPipeTest, GrabWhoseReaderIsGoneEndsAndLetsGoOfTheRing) {
    const test::TemporaryFolder folder;
    simulator::ImageRing ring(100, 4);
    ASSERT_EQ(ring.open(), simulator::ImageRing::OpenResult::opened);
    void* const memory = MSharedMem_Link(image_road::kImagesMemory);
    EXPECT_EQ(runInShell(folder,
                         "{ \"$bin\"/dorven-host grab --json-lines --timeout 60 2>err.txt; echo $? >code.txt; } "
                         "| head -n 1 >out.txt"),
              0);
    std::ifstream code(folder.path("code.txt"));
    int exitCode = -1;
    code >> exitCode;
    EXPECT_EQ(exitCode, 1);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(memory), 0) << "the camera let go of the ring";
    MSharedMem_Unlink(memory);
}

INSTANTIATE_TEST_SUITE_P(Signals, HostStopTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
