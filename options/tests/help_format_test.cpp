#include "help_format.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample_program.h"
#include "text_columns.h"

namespace {

using testing::HasSubstr;
using testing::Not;

std::size_t longestLine(const std::string& text) {
    std::size_t longest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
    return longest;
}

class HelpFormatTest : public testing::Test {
protected:
    std::string help() {
        app.formatter(std::make_shared<options::HelpFormat>());
        return app.help();
    }

    CLI::App app{"A sample.", "sample"};
    std::string text;
    std::vector<std::string> texts;
    bool flag = false;
};

TEST_F(HelpFormatTest, WhatOptionsNeedAndExcludeIsNotListed) {
    CLI::Option* const target = app.add_option("--output", text, "Output");
    app.add_option("--every", text, "Every")->needs(target);
    app.add_flag("--json", flag, "JSON")->excludes(target);
    const std::string shown = help();
    EXPECT_THAT(shown, Not(HasSubstr("Needs")));
    EXPECT_THAT(shown, Not(HasSubstr("Excludes")));
}

TEST_F(HelpFormatTest, TypeRepetitionAndNeedStandBehindTheName) {
    app.add_option("--log", text, "Log")->required()->type_name("FILE");
    app.add_option("--rate", texts, "Rate")->type_name("RATE");
    app.add_option("--fault", texts, "Fault")->allow_extra_args(false)->type_name("NAME");
    const std::string shown = help();
    EXPECT_THAT(shown, HasSubstr("      --log FILE (required)   Log\n"));
    EXPECT_THAT(shown, HasSubstr("      --rate RATE ... "));
    EXPECT_THAT(shown, HasSubstr("      --fault NAME  "));
}

TEST_F(HelpFormatTest, NamesOfAFlagAreShownWithoutTheirValues) {
    app.add_flag("--digits,!--no-digits", flag, "Digits");
    EXPECT_THAT(help(), HasSubstr("      --digits, --no-digits   Digits\n"));
}

TEST_F(HelpFormatTest, GroupsComeInOrderWithOneBlankLineBetween) {
    app.option_defaults()->group("Pacing");
    app.add_flag("--late", flag, "Late");
    app.option_defaults()->group("");
    app.add_flag("--hidden", flag, "Hidden");
    app.option_defaults()->group("Faults");
    app.add_flag("--torn", flag, "Torn");
    const std::string shown = help();
    EXPECT_THAT(shown, HasSubstr("exit\n\nPacing:\n      --late"));
    EXPECT_THAT(shown, HasSubstr("Late\n\nFaults:\n      --torn"));
    EXPECT_THAT(shown, Not(HasSubstr("--hidden")));
    EXPECT_THAT(shown, Not(HasSubstr("\n\n\n")));
}

TEST_F(HelpFormatTest, LongDescriptionsAreBrokenAtBlanks) {
    std::string description;
    for (int word = 0; word < 100; ++word) description += "word" + std::to_string(word) + " ";
    app.add_option("--text", text, description);
    const std::string shown = help();
    EXPECT_LE(longestLine(shown), 80u);
    EXPECT_GT(longestLine(shown), 70u);
    EXPECT_THAT(shown, HasSubstr("word99"));
    app.formatter(std::make_shared<options::HelpFormat>(120));
    EXPECT_LE(longestLine(app.help()), 120u);
    EXPECT_GT(longestLine(app.help()), 110u);
}

TEST_F(HelpFormatTest, ShortNamesStandBeforeTheLongOnesWhichStandBelowEachOther) {
    app.add_option("-n,--count", text, "Count")->type_name("N");
    app.add_option("--fps", text, "Rate")->type_name("RATE");
    EXPECT_THAT(help(), HasSubstr("\n  -n, --count N               Count\n      --fps RATE              Rate\n"));
}

TEST_F(HelpFormatTest, NotesAreWrappedAndExamplesStayAsTheyAre) {
    app.footer(
        "One sentence that is longer than eighty columns, so that it has to be broken at one of its blanks, and\n"
        "goes on.\n"
        "\n"
        "Examples:\n"
        "  sample --with-a-very-long-line --of-an-example --that-must-not-be-broken --so-that-it-can-be-pasted\n"
        "  sample\n"
        "\n"
        "Exit codes: 0 done.");
    EXPECT_THAT(help(), HasSubstr("to be broken at\none of its blanks, and goes on.\n"
                                  "\n"
                                  "Examples:\n"
                                  "  sample --with-a-very-long-line --of-an-example --that-must-not-be-broken "
                                  "--so-that-it-can-be-pasted\n"
                                  "  sample\n"
                                  "\n"
                                  "Exit codes: 0 done.\n"));
}

TEST_F(HelpFormatTest, CommandsAreCalledSo) {
    app.add_subcommand("grab", "Receive images");
    const std::string shown = help();
    EXPECT_THAT(shown, HasSubstr("[COMMAND]\n"));
    EXPECT_THAT(shown, HasSubstr("\nCommands:\n  grab        Receive images\n"));
}

struct Columns {
    std::size_t terminal;
    const char* variable;
    std::size_t wanted;
};

TEST(TextColumnsTest, AreThoseOfTheTerminalWithinLimits) {
    for (const Columns& row : std::vector<Columns>{{0, "", 80},
                                                   {0, "100", 80},
                                                   {80, "", 80},
                                                   {100, "", 100},
                                                   {120, "", 120},
                                                   {300, "", 120},
                                                   {10, "", 40},
                                                   {80, "100", 100},
                                                   {80, "500", 120},
                                                   {100, "60", 60},
                                                   {100, "0", 100},
                                                   {100, "-5", 100},
                                                   {100, "wide", 100},
                                                   {100, "90x", 100}}) {
        const Surroundings surroundings{{std::string("COLUMNS=") + row.variable}, ""};
        EXPECT_EQ(options::textColumnsOf(row.terminal, surroundings), row.wanted) << row.terminal << row.variable;
    }
    EXPECT_EQ(options::textColumnsOf(90, {}), 90u);
}

TEST(WrappedTest, LinesAreFilledToTheLastColumn) {
    EXPECT_EQ(options::wrapped("ab cd ef", 5), "ab cd\nef");
    EXPECT_EQ(options::wrapped("ab cd ef", 4), "ab\ncd\nef");
    EXPECT_EQ(options::wrapped("abcdefgh ij", 3), "abcdefgh\nij");
    EXPECT_EQ(options::wrapped("", 3), "");
}

TEST(ProgramHelpTest, EachCommandHasThisFormat) {
    test::SampleProgram program;
    program.run({"grab", "--help"});
    EXPECT_THAT(program.data, HasSubstr("--every"));
    EXPECT_THAT(program.data, Not(HasSubstr("Needs")));
}

}  // namespace
