// What a user sees of both programs' help and of wrong usage on a terminal of 80 columns and 24 lines, and in a pipe.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "pseudo_terminal.h"
#include "temporary_folder.h"

namespace {

using testing::HasSubstr;

const std::vector<std::pair<std::string, std::vector<std::string>>> kHelps{
    {"dorven-host", {"", "info", "grab", "verify", "snap", "doctor", "bench", "call", "ask-snap", "config", "help"}},
    {"dorven-simulator", {"", "ask", "patterns", "config", "help"}}};

std::size_t longestLine(const std::string& text) {
    std::size_t longest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
    return longest;
}

std::string helpOn(const std::string& program, const std::string& command, unsigned short columns,
                   const std::vector<std::string>& environment = {}) {
    std::vector<std::string> words{"help"};
    if (!command.empty()) words.push_back(command);
    const auto run = test::runOnTerminal(test::programFolder() + program, words, environment, columns);
    EXPECT_EQ(run.exitCode, 0) << program << ' ' << command << run.screen;
    return run.screen;
}

TEST(TerminalTest, EveryHelpFitsEightyColumns) {
    for (const auto& [program, commands] : kHelps) {
        for (const std::string& command : commands)
            EXPECT_LE(longestLine(helpOn(program, command, 80)), 80u) << command;
    }
}

TEST(TerminalTest, HelpIsAsWideAsTheTerminalUpToAHundredAndTwentyColumns) {
    EXPECT_GT(longestLine(helpOn("dorven-host", "grab", 110)), 100u);
    EXPECT_LE(longestLine(helpOn("dorven-host", "grab", 110)), 110u);
    EXPECT_LE(longestLine(helpOn("dorven-host", "grab", 500)), 120u);
    EXPECT_LE(longestLine(helpOn("dorven-host", "grab", 110, {"COLUMNS=90"})), 90u);
}

// What a program writes into a pipe, standard error too.
std::string inPipe(const std::string& command) {
    const test::TemporaryFolder folder;
    const std::string output = folder.path("out.txt");
    const std::string line = "cd '" + test::programFolder() + "' && { " + command + "; } 2>&1 | cat >'" + output + "'";
    EXPECT_EQ(std::system(line.c_str()), 0) << line;  // NOLINT(concurrency-mt-unsafe): one thread
    std::ifstream file(output);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(TerminalTest, HelpInAPipeHasEightyColumnsAndTheSameWords) {
    const std::string piped = inPipe("COLUMNS=110 ./dorven-host help grab");
    EXPECT_LE(longestLine(piped), 80u);
    EXPECT_EQ(piped, helpOn("dorven-host", "grab", 80));
}

TEST(TerminalTest, TypoIsAnsweredWithOneLineThatBeginsWithWhatIsMeant) {
    const auto run = test::runOnTerminal(test::programFolder() + "dorven-host", {"grab", "--cuont", "5"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.screen, "dorven-host: did you mean '--count'? grab has no option '--cuont'\n");
    EXPECT_EQ(inPipe("./dorven-host grab --cuont 5"), run.screen);
    EXPECT_EQ(inPipe("./dorven-simulator --ftp 5"),
              "dorven-simulator: did you mean '--fps'? dorven-simulator has no option '--ftp'\n");
}

TEST(TerminalTest, QuietSimulatorTellsItsTotalsAlone) {
    const auto run = test::runOnTerminal(test::programFolder() + "dorven-simulator",
                                         {"-q", "--no-ask", "--size", "900x200", "--duration", "20ms"});
    EXPECT_EQ(run.exitCode, 0) << run.screen;
    EXPECT_THAT(run.screen, testing::StartsWith("dorven-simulator: written "));
}

TEST(TerminalTest, ConfigurationFitsEightyColumnsButForPaths) {
    const auto run = test::runOnTerminal(test::programFolder() + "dorven-simulator", {"config", "--show"},
                                         {"DORVEN_SIMULATOR_MAX_MEMORY=500"});
    EXPECT_EQ(run.exitCode, 0) << run.screen;
    EXPECT_LE(longestLine(run.screen.substr(run.screen.find('\n'))), 80u) << run.screen;
    EXPECT_THAT(run.screen, HasSubstr("environment variable DORVEN_SIMULATOR_MAX_MEMORY"));
}

}  // namespace
