// What a child logs that a host forks without starting a program in it.
#include <atomic>
#include <cstdlib>
#include <regex>
#include <thread>

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "errorlog.h"
#include "log_file_fixture.h"

namespace {

constexpr int kForks = 100;

void report(const char* text) {
    _MErrLog_Location(0, "folder/logged", 7);
    _MErrLog_Add("%s", text);
}

// Runs in a child; a signal ends it if it hangs. Whether it finished.
template <typename Function>
bool endsInForkedChild(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        function();
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

CHILD_ROLE(forksWhileAThreadReports) {
    beginReporter(arguments);
    std::atomic<bool> done = false;
    std::thread other([&] {
        for (unsigned i = 0; !done; ++i) report(("other " + std::to_string(i)).c_str());
    });
    bool allEnded = true;
    for (int i = 0; i < kForks && allEnded; ++i) {
        allEnded = endsInForkedChild([] {
            report("from the child");
            std::_Exit(0);
        });
    }
    done = true;
    other.join();
    return allEnded ? 0 : 1;
}

TEST_F(LogFileTest, AForkedChildReportsWhateverAThreadOfItsParentWasReporting) {
    ASSERT_EQ(run("forksWhileAThreadReports", "", log), 0);
    const std::vector<std::string> lines = logged();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.find(":7 from the child") != line.npos; }),
              kForks);
}

// The child ends as programs do, which is when sums are written.
CHILD_ROLE(forksInARowOfEqualEntries) {
    beginReporter(arguments);
    for (int i = 0; i < 119; ++i) report("the same");
    const bool ended = endsInForkedChild([] {
        report("the same");
        std::exit(0);
    });
    return ended ? 0 : 1;
}

TEST_F(LogFileTest, WhatTheParentHasCountedIsWrittenOnce) {
    ASSERT_EQ(run("forksInARowOfEqualEntries", "", log), 0);
    const std::vector<std::string> lines = logged();
    std::size_t told = 0;
    for (const std::string& line : lines) {
        std::smatch match;
        const bool isSum = std::regex_search(line, match, std::regex("last entry repeated (\\d+) times$"));
        told += isSum ? std::stoul(match[1]) : 1;
    }
    EXPECT_EQ(told, 120u);
    // The child's own entry is there in full, too.
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.find(":7 the same") != line.npos; }),
              2);
}

}  // namespace
