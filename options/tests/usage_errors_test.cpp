// What a program says of a command line that it cannot use: one sentence, with what is meant first.
#include "usage_errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample_program.h"

namespace {

using test::SampleProgram;

struct Usage {
    std::vector<const char*> words;
    const char* sentence;
};

void PrintTo(const Usage& usage, std::ostream* stream) {
    for (const char* word : usage.words) *stream << word << ' ';
}

class UsageErrorsTest : public testing::TestWithParam<Usage> {};

TEST_P(UsageErrorsTest, IsOneSentenceOfTheProgram) {
    SampleProgram program;
    program.run(GetParam().words);
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.data, "");
    EXPECT_EQ(program.people, std::string("dorven-sample: ") + GetParam().sentence + '\n');
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Options, UsageErrorsTest, testing::Values(
    Usage{{"grap"}, "did you mean 'grab'? There is no command 'grap'"},
    Usage{{"look"}, "there is no command 'look'; there are grab, poll, config, help"},
    Usage{{"grab", "poll"}, "PICTURE: 'poll' is no picture"},
    Usage{{"grab", "a.png", "b.png"}, "'b.png' is one word too many; 'dorven-sample help grab' shows what grab takes"},
    Usage{{"poll", "grab"}, "'grab' comes after poll: give one command at a time"},
    Usage{{"poll", "--tiemout", "5"}, "did you mean '--timeout'? poll has no option '--tiemout'"},
    Usage{{"poll", "--tiemout=5"}, "did you mean '--timeout'? poll has no option '--tiemout'"},
    Usage{{"poll", "--tiemout", "5", "--timeout", "x"}, "did you mean '--timeout'? poll has no option '--tiemout'"},
    Usage{{"poll", "--format", "png"}, "poll has no option '--format'; grab has it"},
    Usage{{"poll", "--nothing-like-it"},
          "poll has no option '--nothing-like-it'; 'dorven-sample help poll' shows what poll takes"},
    Usage{{"--timeout", "5"}, "'--timeout' belongs after its command: dorven-sample grab --timeout"},
    Usage{{"--timeout", "5", "poll"}, "'--timeout' belongs after its command: dorven-sample poll --timeout"},
    Usage{{"--format=png", "grab"}, "'--format' belongs after its command: dorven-sample grab --format"},
    Usage{{"poll", "-timeout", "5"}, "did you mean '--timeout'? poll has no option '-timeout'"},
    Usage{{"--nothing-like-it"}, "dorven-sample has no option '--nothing-like-it'; 'dorven-sample help' shows what "
                                 "there is"},
    Usage{{"-x"}, "dorven-sample has no option '-x'; 'dorven-sample help' shows what there is"},
    Usage{{"grab", "--timeout"}, "--timeout needs a value: --timeout SECONDS"},
    Usage{{"grab", "--timeout", "61"}, "--timeout: '61' is not a number from 1 to 60"},
    Usage{{"grab", "--timeout", "61", "--timeout", "5"}, "--timeout: '61' is not a number from 1 to 60"},
    Usage{{"grab", "--format", "pgn"}, "--format: did you mean 'png'? 'pgn' is none of png, pgm, raw"},
    Usage{{"grab", "--format", "x"}, "--format: 'x' is none of png, pgm, raw"},
    Usage{{"grab", "--width", "broad"}, "--width: 'broad' is no value for it"},
    Usage{{"grab", "--every", "5"}, "--every goes with --output only"},
    Usage{{"--pattern", "ball", "--images", "x"}, "--pattern and --images do not go together"},
    Usage{{"send"}, "send needs --to PLACE; 'dorven-sample help send' shows what send takes"},
    Usage{{"send", "--too", "x"}, "did you mean '--to'? send has no option '--too'"},
    Usage{{"help", "grap"}, "did you mean 'grab'? There is no command 'grap'"},
    Usage{{"poll", "--timeout", "5\n\x1B[31m6"}, "--timeout: '5??[31m6' is no value for it"}));
// clang-format on

TEST(HelpCommandTest, ShowsTheHelpOfTheProgramAndOfACommand) {
    SampleProgram program;
    program.run({"help"});
    EXPECT_EQ(program.exitCode, 0) << program.people;
    const std::string whole = program.data;
    program.run({"--help"});
    EXPECT_EQ(whole, program.data);
    EXPECT_THAT(whole, testing::HasSubstr("\nCommands:\n  grab"));
    program.run({"help", "grab"});
    EXPECT_EQ(program.exitCode, 0) << program.people;
    const std::string grab = program.data;
    program.run({"grab", "--help"});
    EXPECT_EQ(grab, program.data);
    EXPECT_THAT(grab, testing::HasSubstr("--format"));
}

TEST(HelpCommandTest, HelpIsAnsweredInSpiteOfABadFile) {
    SampleProgram program;
    program.configFile("timeot = 1\n");
    program.run({"help", "grab"});
    EXPECT_EQ(program.exitCode, 0) << program.people;
}

TEST(LastValueTest, WinsOnTheCommandLine) {
    SampleProgram program;
    program.configFile("timeout = 20\n");
    program.run({"grab", "--timeout", "5", "--timeout=7", "--json", "--json"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.timeout, 7);
    program.run({"--fault", "a", "--fault", "b"});
    EXPECT_THAT(program.faults, testing::ElementsAre("a", "b"));
}

}  // namespace
