// Shared by tests of the log file: children that report, and the lines that they leave.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "child_process.h"
#include "platform.h"
#include "temporary_folder.h"

inline std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// The library reads the environment at its first entry, so a child may still set its own.
inline void setEnvironment(const std::string& name, const std::string& value) {
    static std::list<std::string> kept;  // putenv keeps the address
    kept.push_back(name + "=" + value);
    ASSERT_EQ(putenv(kept.back().data()), 0);
}

// Standard error of a child as a file; msvcrt's "\r\n" counts as one line end.
inline std::vector<std::string> standardErrorLines(const std::string& path) {
    std::vector<std::string> lines = linesOf(path);
    for (std::string& line : lines) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
    }
    return lines;
}

// Arguments: DORVEN_LOG_LEVEL, DORVEN_LOG_FILE, file for standard error.
inline void beginReporter(const test::Arguments& arguments) {
    setEnvironment("DORVEN_LOG_LEVEL", arguments.at(0));
    setEnvironment("DORVEN_LOG_FILE", arguments.at(1));
    ASSERT_NE(std::freopen(arguments.at(2).c_str(), "w", stderr), nullptr);
}

class LogFileTest : public testing::Test {
protected:
    int run(const std::string& role, const std::string& level, const std::string& file,
            const test::Arguments& more = {}) {
        test::Arguments arguments{level, file, standardError};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return test::ChildProcess(role, arguments).join(std::chrono::seconds(60));
    }

    std::vector<std::string> logged() const { return linesOf(log); }
    std::vector<std::string> said() const { return standardErrorLines(standardError); }

    test::TemporaryFolder folder;
    const std::string log = folder.path("log.txt");
    const std::string standardError = folder.path("stderr.txt");
};

struct Signal {
    explicit Signal(const std::string& stem) : name(test::uniqueName(stem)) {
        handle = CreateEventA(nullptr, FALSE, FALSE, name.c_str());
    }
    ~Signal() { CloseHandle(handle); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    std::string name;
    HANDLE handle;
};

inline std::string lineText(const std::string& writer, int number) {
    return writer + " " + std::to_string(number) + " " +
           std::string(static_cast<std::size_t>(number * 37 % 3000), writer[0]);
}
