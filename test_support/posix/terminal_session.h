// A program in a terminal of 80 columns and 24 lines.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"

extern char** environ;

namespace test {

/// Its standard input, output and error are the terminal, which controls it: Ctrl-C reaches it.
class TerminalSession {
public:
    static constexpr int kColumns = 80;
    static constexpr int kLines = 24;

    /// @param program         Of ours, beside this test.
    /// @param standardOutput  A file that takes its standard output instead; empty: none does.
    TerminalSession(const std::string& program, std::vector<std::string> arguments,
                    const std::string& standardOutput = "") {
        _terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        const winsize size{kLines, kColumns, 0, 0};
        if (_terminal < 0 || grantpt(_terminal) != 0 || unlockpt(_terminal) != 0 ||
            ioctl(_terminal, TIOCSWINSZ, &size) != 0)
            throw std::runtime_error("there is no terminal");
        const std::string name = ptsname(_terminal);
        arguments.insert(arguments.begin(), programFolder() + program);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        // The first terminal that the leader of a session opens controls it.
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, name.c_str(), O_RDWR, 0);
        posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
        if (!standardOutput.empty())
            posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, standardOutput.c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int error = posix_spawn(&_id, argv[0], &actions, &attributes, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        if (error != 0) throw std::runtime_error("cannot start " + program);
    }
    ~TerminalSession() {
        end();
        close(_terminal);
    }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    /// Waits until the program has written a text. @return false when it ended, or was silent for a minute, before.
    bool waitFor(const std::string& text) {
        while (_written.find(text) == std::string::npos)
            if (!read()) return false;
        return true;
    }

    void pressControlC() const {
        const char key = '\x03';
        if (write(_terminal, &key, 1) != 1) throw std::runtime_error("the terminal takes no key");
    }

    /// Reads until the program ends, or is silent for a minute, which ends it. @return Exit code; 128 + signal.
    int join() {
        while (read()) continue;
        return end();
    }

    /// All that came, with control sequences.
    const std::string& written() const { return _written; }

    /// The lines that a user has before him in the end: without what was written over, without colours.
    std::vector<std::string> lines() const {
        std::vector<std::string> lines{""};
        std::size_t column = 0;
        for (std::size_t at = 0; at < _written.size(); ++at) {
            const char character = _written[at];
            if (character == '\n') {
                lines.emplace_back();
            } else if (character == '\r') {
                column = 0;
            } else if (character == '\x1B') {
                const std::size_t last = _written.find_first_not_of("[;0123456789", at + 1);
                if (last != std::string::npos && _written[last] == 'K') lines.back().resize(column);
                at = last == std::string::npos ? _written.size() : last;
            } else {
                std::string& line = lines.back();
                if (line.size() <= column) line.resize(column + 1, ' ');
                line[column++] = character;
            }
        }
        if (lines.back().empty()) lines.pop_back();
        return lines;
    }

private:
    static constexpr int kSilenceMs = 60'000;

    bool read() {
        pollfd wait{_terminal, POLLIN, 0};
        char bytes[4096];
        if (poll(&wait, 1, kSilenceMs) != 1) return false;
        const ssize_t count = ::read(_terminal, bytes, sizeof bytes);
        if (count <= 0) return false;  // nobody has the terminal open any more
        _written.append(bytes, static_cast<std::size_t>(count));
        return true;
    }
    int end() {
        if (_id == 0) return _exitCode;
        int status = 0;
        // Whoever has closed the terminal is about to end; whoever was silent is not.
        pollfd closed{_terminal, 0, 0};
        if (poll(&closed, 1, 0) != 1) kill(_id, SIGKILL);
        waitpid(_id, &status, 0);
        _id = 0;
        _exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return _exitCode;
    }

    int _terminal = -1;
    pid_t _id = 0;
    int _exitCode = -1;
    std::string _written;
};

}  // namespace test
