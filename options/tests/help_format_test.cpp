#include "help_format.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample_program.h"

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
    EXPECT_THAT(shown, HasSubstr("  --log FILE REQUIRED "));
    EXPECT_THAT(shown, HasSubstr("  --rate RATE ... "));
    EXPECT_THAT(shown, HasSubstr("  --fault NAME  "));
}

TEST_F(HelpFormatTest, NamesOfAFlagAreShownWithoutTheirValues) {
    app.add_flag("--digits,!--no-digits", flag, "Digits");
    EXPECT_THAT(help(), HasSubstr("  --digits,--no-digits  "));
}

TEST_F(HelpFormatTest, GroupsComeInOrderWithOneBlankLineBetween) {
    app.option_defaults()->group("Pacing");
    app.add_flag("--late", flag, "Late");
    app.option_defaults()->group("");
    app.add_flag("--hidden", flag, "Hidden");
    app.option_defaults()->group("Faults");
    app.add_flag("--torn", flag, "Torn");
    const std::string shown = help();
    EXPECT_THAT(shown, HasSubstr("exit\n\nPacing:\n  --late"));
    EXPECT_THAT(shown, HasSubstr("Late\n\nFaults:\n  --torn"));
    EXPECT_THAT(shown, Not(HasSubstr("--hidden")));
    EXPECT_THAT(shown, Not(HasSubstr("\n\n\n")));
}

TEST_F(HelpFormatTest, LongDescriptionsAreBrokenAtBlanks) {
    std::string description;
    for (int word = 0; word < 100; ++word) description += "word" + std::to_string(word) + " ";
    app.add_option("--text", text, description);
    const std::string shown = help();
    EXPECT_LE(longestLine(shown), options::kHelpColumns);
    EXPECT_GT(longestLine(shown), options::kHelpColumns - 10);
    EXPECT_THAT(shown, HasSubstr("word99"));
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
