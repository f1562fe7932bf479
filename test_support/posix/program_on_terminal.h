// A program of ours as a user sees it: on a terminal of 80 columns and 24 lines.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

#include "child_process.h"

namespace test {

/// Standard input, output and error of the program are one pseudo terminal. One that still runs when the object goes
/// is killed.
class ProgramOnTerminal {
public:
    static constexpr std::size_t kColumns = 80;
    static constexpr std::size_t kLines = 24;

    /// @param name         Beside this test's program.
    /// @param environment  More variables, "NAME=VALUE".
    ProgramOnTerminal(const std::string& name, Arguments arguments, const Arguments& environment = {});
    ~ProgramOnTerminal();
    ProgramOnTerminal(const ProgramOnTerminal&) = delete;
    ProgramOnTerminal& operator=(const ProgramOnTerminal&) = delete;

    /// Until it has printed that text; false when it has ended, or a minute has passed, without it.
    bool waitForText(const std::string& text);

    /// As the keys Ctrl and C.
    void pressCtrlC() const;

    /// Waits for its end, for a minute at most. Its exit code; -1: it is late.
    int join();

    /// All that it has printed so far.
    const std::string& printed() const { return _printed; }

    /// The lines that stand on an endless screen: what was written over is gone, long lines are broken, and colours
    /// are taken away.
    std::vector<std::string> screen() const;

private:
    bool readMore(std::chrono::steady_clock::time_point deadline);

    int _master = -1;
    pid_t _id = 0;
    std::string _printed;
};

}  // namespace test
