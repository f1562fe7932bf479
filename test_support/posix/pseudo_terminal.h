// A program on a terminal of its own, as a user has it: its output as it would reach the screen.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

struct TerminalRun {
    int exitCode = -1;
    std::string screen;  // both outputs, lines ending with \n
};

/// Runs a program on a terminal to its end; the calling test limits the time.
/// @param path  Of the program.   @param environment  Variables NAME=VALUE beside those of this process.
inline TerminalRun runOnTerminal(const std::string& path, std::vector<std::string> arguments,
                                 std::vector<std::string> environment = {}, unsigned short columns = 80,
                                 unsigned short rows = 24) {
    arguments.insert(arguments.begin(), path);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    winsize size{rows, columns, 0, 0};
    int terminal = -1;
    TerminalRun run;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
    if (pid == 0) {
        for (std::string& variable : environment) putenv(variable.data());
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (pid < 0) return run;
    char buffer[4096];
    // The end shows as an error: the last program has closed its side.
    for (ssize_t got = 0; (got = read(terminal, buffer, sizeof buffer)) > 0 || (got < 0 && errno == EINTR);)
        if (got > 0) run.screen.append(buffer, static_cast<std::size_t>(got));
    close(terminal);
    std::erase(run.screen, '\r');
    int status = 0;
    waitpid(pid, &status, 0);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

}  // namespace test
