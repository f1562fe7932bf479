#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "child_program.h"
#include "object_look.h"

extern char** environ;

namespace host {
namespace {

constexpr const char* kVariable = "PLATFORM_OBJECT_NAMESPACE";

pid_t idOf(void* process) { return static_cast<pid_t>(reinterpret_cast<std::intptr_t>(process)); }

double secondsOf(clockid_t clock) {
    timespec time{};
    if (clock_gettime(clock, &time) != 0) return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

bool ChildProgram::start(const std::string& path, const std::vector<std::string>& arguments, std::string& error) {
    std::vector<char*> argv{const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    pid_t id = 0;
    const int failure = posix_spawn(&id, path.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        error = path + ": cannot be started: " + std::strerror(failure);
        return false;
    }
    _process = reinterpret_cast<void*>(static_cast<std::intptr_t>(id));
    return true;
}

bool ChildProgram::running() {
    if (!_process) return false;
    if (waitpid(idOf(_process), nullptr, WNOHANG) == 0) return true;
    _process = nullptr;
    return false;
}

double ChildProgram::cpuSeconds() const {
    clockid_t clock = 0;
    return _process && clock_getcpuclockid(idOf(_process), &clock) == 0 ? secondsOf(clock) : 0;
}

void ChildProgram::end() {
    if (!_process) return;
    kill(idOf(_process), SIGKILL);
    while (waitpid(idOf(_process), nullptr, 0) < 0 && errno == EINTR) continue;
    _process = nullptr;
}

double ownCpuSeconds() { return secondsOf(CLOCK_PROCESS_CPUTIME_ID); }

bool beginOwnObjectNames() { return setenv(kVariable, ("bench-" + std::to_string(getpid())).c_str(), 1) == 0; }

void endOwnObjectNames() {
    std::error_code ignored;
    std::filesystem::remove_all(platform_lookAtObjectFolder().path, ignored);
}

}  // namespace host
