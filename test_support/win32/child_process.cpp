#include "child_process.h"

#include <stdexcept>

#include "platform.h"

namespace test {
namespace {

// As the C runtime takes a command line apart again: quotes around, backslashes doubled before a quote.
std::string quoted(const std::string& argument) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char character : argument) {
        if (character == '"') text.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    text.append(backslashes, '\\');
    return text + "\"";
}

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
    std::string commandLine = quoted(executable);
    for (const std::string& argument : arguments) commandLine.append(" ").append(quoted(argument));
    _process = created(executable, commandLine);
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
