// Both programs, started without standard input, output or error, as by a service manager or a shell's 2>&-.
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "programs_fixture.h"

extern char** environ;

namespace {

using testing::Each;

// One of our programs without some of its standard streams.
class Started {
public:
    Started(const std::string& name, std::vector<std::string> arguments, const std::vector<int>& missing) {
        arguments.insert(arguments.begin(), test::programFolder() + name);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (const int stream : missing) posix_spawn_file_actions_addclose(&actions, stream);
        EXPECT_EQ(posix_spawn(&_id, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Started() { kill(_id, SIGKILL); }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;

    int join() const {
        int status = 0;
        waitpid(_id, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    void stop() const { kill(_id, SIGTERM); }
    std::vector<std::string> files(const std::vector<int>& streams) const {
        std::vector<std::string> names;
        std::error_code error;
        for (const int stream : streams) {
            const auto link = "/proc/" + std::to_string(_id) + "/fd/" + std::to_string(stream);
            names.push_back(std::filesystem::read_symlink(link, error).string());
        }
        return names;
    }

private:
    pid_t _id = 0;
};

struct Missing {
    const char* name;
    std::vector<int> streams;
};

class StandardStreamsTest : public test::ProgramsTest, public testing::WithParamInterface<Missing> {};

// The host ends with its answer, so the simulator has reached its ring by then.
TEST_P(StandardStreamsTest, ProgramsRunToTheirEndAndTheMissingStreamsAreTheNullDevice) {
    const Started simulator("dorven-simulator", {"--size", "900x40", "--fps", "200"}, GetParam().streams);
    const Started host("dorven-host", {"grab", "--config", _config, "--json-lines", "--count", "20"},
                       GetParam().streams);
    EXPECT_EQ(host.join(), 0);
    EXPECT_THAT(simulator.files(GetParam().streams), Each("/dev/null"));
    simulator.stop();
    EXPECT_EQ(simulator.join(), 0);
}

INSTANTIATE_TEST_SUITE_P(Without, StandardStreamsTest,
                         testing::Values(Missing{"Input", {0}}, Missing{"Output", {1}}, Missing{"Error", {2}},
                                         Missing{"Any", {0, 1, 2}}),
                         [](const auto& information) { return information.param.name; });

}  // namespace
