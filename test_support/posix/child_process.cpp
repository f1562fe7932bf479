#include "child_process.h"

#include <cstdint>
#include <stdexcept>
#include <thread>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace test {
namespace {

pid_t pidOf(void* process) { return static_cast<pid_t>(reinterpret_cast<std::intptr_t>(process)); }

}  // namespace

void ChildProcess::start(const std::string& path, const Arguments& arguments) {
    std::string executable = path.find('/') == std::string::npos ? programFolder() + path : path;
    Arguments all{executable};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : all) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (::posix_spawn(&pid, executable.c_str(), nullptr, nullptr, argv.data(), environ) != 0)
        throw std::runtime_error("cannot start " + executable);
    _process = reinterpret_cast<void*>(static_cast<std::intptr_t>(pid));
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        int status = 0;
        if (::waitpid(pidOf(_process), &status, WNOHANG) == pidOf(_process)) {
            _process = nullptr;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void ChildProcess::terminate() {
    if (!_process) return;
    ::kill(pidOf(_process), SIGKILL);
    int status = 0;
    ::waitpid(pidOf(_process), &status, 0);
    _process = nullptr;
}

}  // namespace test
