#include "child_program.h"
#include "command_line_win32.h"
#include "platform.h"

namespace {

double secondsOf(HANDLE process) {
    FILETIME created, ended, kernel, user;
    if (!GetProcessTimes(process, &created, &ended, &kernel, &user)) return 0;
    const auto seconds = [](const FILETIME& time) {  // counts 100 ns
        return static_cast<double>(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime) / 1e7;
    };
    return seconds(kernel) + seconds(user);
}

}  // namespace

bool ChildProgram::start(const std::string& path, const std::vector<std::string>& arguments, std::string& error) {
    std::string commandLine = platform_commandLineOf(path, arguments);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(path.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                        &startup, &process)) {
        error = path + ": cannot be started (error " + std::to_string(GetLastError()) + ")";
        return false;
    }
    CloseHandle(process.hThread);
    _process = process.hProcess;
    return true;
}

bool ChildProgram::running() {
    if (!_process) return false;
    if (WaitForSingleObject(_process, 0) == WAIT_TIMEOUT) return true;
    CloseHandle(_process);
    _process = nullptr;
    return false;
}

double ChildProgram::cpuSeconds() const { return _process ? secondsOf(_process) : 0; }

void ChildProgram::end() {
    if (!_process) return;
    TerminateProcess(_process, 1);
    WaitForSingleObject(_process, INFINITE);
    CloseHandle(_process);
    _process = nullptr;
}

bool platform_beginOwnObjectNames() { return false; }

void platform_endOwnObjectNames() {}
