#include "child_process.h"

#include <stdexcept>

#include "command_line_win32.h"
#include "platform.h"

namespace test {
namespace {

// Wine refuses a start now and then on a busy machine (once in some thousand), so there are further tries.
HANDLE created(const std::string& executable, const std::string& commandLine) {
    constexpr int kTries = 5;
    DWORD error = 0;
    for (int i = 0; i < kTries; ++i) {
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        std::string writable = commandLine;
        if (CreateProcessA(executable.c_str(), writable.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                           &process)) {
            CloseHandle(process.hThread);
            return process.hProcess;
        }
        error = GetLastError();
        Sleep(200);
    }
    throw std::runtime_error("cannot start " + executable + " (" + std::to_string(error) + ")");
}

}  // namespace

void ChildProcess::start(const std::string& path, const Arguments& arguments) {
    std::string executable = path.find_first_of("\\/") == std::string::npos ? programFolder() + path : path;
    if (executable.size() < 4 || executable.substr(executable.size() - 4) != ".exe") executable += ".exe";
    _process = created(executable, platform_commandLineOf(executable, arguments));
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
    if (WaitForSingleObject(_process, static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) return std::nullopt;
    DWORD exitCode = 0;
    GetExitCodeProcess(_process, &exitCode);
    CloseHandle(_process);
    _process = nullptr;
    return static_cast<int>(exitCode);
}

void ChildProcess::terminate() {
    if (!_process) return;
    TerminateProcess(_process, 137);
    WaitForSingleObject(_process, INFINITE);
    CloseHandle(_process);
    _process = nullptr;
}

}  // namespace test
