#include "option_sources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample_program.h"

namespace {

using test::SampleProgram;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class OptionSourcesTest : public testing::Test {
protected:
    SampleProgram program;
};

TEST_F(OptionSourcesTest, DefaultsStayWithoutAnySource) {
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.timeout, 30);
    EXPECT_EQ(program.format, "png");
}

TEST_F(OptionSourcesTest, FileWinsOverTheDefault) {
    program.configFile("# mine\n; too\n\ntimeout = 20\n");
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.timeout, 20);
}

TEST_F(OptionSourcesTest, EnvironmentWinsOverTheFile) {
    program.configFile("timeout = 20\n[grab]\ntimeout = 25\n");
    program.environment = {"DORVEN_SAMPLE_TIMEOUT=10"};
    program.run({"grab"});
    EXPECT_EQ(program.timeout, 10);
}

TEST_F(OptionSourcesTest, CommandLineWinsOverAll) {
    program.configFile("timeout = 20\n");
    program.environment = {"DORVEN_SAMPLE_TIMEOUT=10"};
    program.run({"grab", "--timeout", "5"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.timeout, 5);
}

TEST_F(OptionSourcesTest, SectionWinsOverWhatStandsAboveItAndHoldsForItsCommandAlone) {
    program.configFile("timeout = 20\n[grab]\ntimeout = 25\n");
    program.run({"grab"});
    EXPECT_EQ(program.timeout, 25);
    program.run({"poll"});
    EXPECT_EQ(program.pollTimeout, 20);
}

TEST_F(OptionSourcesTest, OptionsOfTheProgramItselfAreFilled) {
    program.configFile("rate = 50\n");
    program.run({});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.rate, 50);
}

TEST_F(OptionSourcesTest, OptionsOfOtherCommandsAreLeftAlone) {
    program.environment = {"DORVEN_SAMPLE_RATE=50", "DORVEN_SAMPLE_JSON=true"};
    program.run({"poll"});
    EXPECT_EQ(program.rate, 100);
    EXPECT_TRUE(program.json);
}

TEST_F(OptionSourcesTest, BadValueForAnotherCommandIsNoneOfThisOnes) {
    program.environment = {"DORVEN_SAMPLE_RATE=fast"};
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
}

TEST_F(OptionSourcesTest, EmptyVariableIsNone) {
    program.configFile("timeout = 20\n");
    program.environment = {"DORVEN_SAMPLE_TIMEOUT="};
    program.run({"grab"});
    EXPECT_EQ(program.timeout, 20);
}

TEST_F(OptionSourcesTest, FlagsAreTrueOrFalseOrStandAlone) {
    program.environment = {"DORVEN_SAMPLE_JSON=true"};
    program.run({"grab"});
    EXPECT_TRUE(program.json);
    program.environment = {"DORVEN_SAMPLE_JSON=false"};
    program.configFile("json\n");
    program.run({"grab"});
    EXPECT_FALSE(program.json);
    program.environment = {};
    program.run({"grab"});
    EXPECT_TRUE(program.json);
}

TEST_F(OptionSourcesTest, NegativeNameOfAFlagTurnsItOff) {
    program.quiet = true;
    program.environment = {"DORVEN_SAMPLE_NO_QUIET=true"};
    program.run({});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_FALSE(program.quiet);
}

TEST_F(OptionSourcesTest, SeveralValuesStandWithBlanksBetweenThemOrOnLinesOfTheirOwn) {
    program.environment = {"DORVEN_SAMPLE_FAULT=drop@100 'torn @p'"};
    program.run({});
    EXPECT_THAT(program.faults, ElementsAre("drop@100", "torn @p"));
    program.environment = {};
    program.configFile("fault = repeat@5\nfault = a b\n");
    program.run({});
    EXPECT_THAT(program.faults, ElementsAre("repeat@5", "a b"));
}

TEST_F(OptionSourcesTest, QuotesKeepBlanksTogetherInSeveralValues) {
    program.environment = {R"(DORVEN_SAMPLE_FAULT= "a b"  c'd 'it\'s' `e "f` "g h)"
                           "\t"};
    program.run({});
    EXPECT_THAT(program.faults, ElementsAre("a b", "c'd", "it's", "e \"f", "g h"));
    program.environment = {R"(DORVEN_SAMPLE_FAULT="a"b c)"};
    program.run({});
    EXPECT_THAT(program.faults, ElementsAre("a", "b", "c"));
}

TEST_F(OptionSourcesTest, ValueIsTheRestOfItsLine) {
    program.configFile("output = C:\\My [pictures], # 1; x=y\r\n");
    program.run({"grab"});
    EXPECT_EQ(program.output, "C:\\My [pictures], # 1; x=y");
    program.configFile("output = \"in quotes \"\n");
    program.run({"grab"});
    EXPECT_EQ(program.output, "in quotes ");
}

TEST_F(OptionSourcesTest, UnknownVariableIsRefused) {
    program.environment = {"DORVEN_SAMPLE_TIMEOT=1", "DORVEN_LOG_LEVEL=5", "HOME=/"};
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("environment variable DORVEN_SAMPLE_TIMEOT: did you mean "
                                          "'DORVEN_SAMPLE_TIMEOUT'? dorven-sample has no such option\n"));
    EXPECT_EQ(program.data, "");
}

struct BadFile {
    const char* text;
    const char* named;
};

void PrintTo(const BadFile& file, std::ostream* stream) { *stream << file.named; }

class BadFileTest : public testing::TestWithParam<BadFile> {};

TEST_P(BadFileTest, IsRefusedWithItsPathAndKey) {
    SampleProgram program;
    const std::string path = program.configFile(GetParam().text);
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, StartsWith("dorven-sample: " + path + ": line " + GetParam().named));
    EXPECT_EQ(program.data, "");
}

INSTANTIATE_TEST_SUITE_P(
    OptionSources, BadFileTest,
    testing::Values(BadFile{"timeot = 1\n",
                            "1: key timeot: did you mean 'timeout'? dorven-sample has no such option\n"},
                    BadFile{"[grap]\n", "1: [grap]: did you mean 'grab'? dorven-sample has no such command\n"},
                    BadFile{"[config]\nshow = true\n", "1: [config]: dorven-sample has no such command"},
                    BadFile{"[grab]\nrate = 1\n", "2: [grab] key rate: dorven-sample grab has no such option"},
                    BadFile{"help = true\n", "1: key help: dorven-sample has no such option"},
                    BadFile{"timeout = 61\n", "1: key timeout: '61' is not a number from 1 to 60\n"},
                    BadFile{"[grab]\ntimeout = abc\n", "2: [grab] key timeout: "},
                    BadFile{"width = broad\n", "1: key width: 'broad' is no value for it\n"},
                    BadFile{"width = 1\nwidth = 2\n", "1: key width: stands there twice\n"},
                    BadFile{"width = 1\njson\nwidth = 2\n", "3: key width: stands there twice"},
                    BadFile{"json = perhaps\n", "1: key json: "}, BadFile{"timeout = 20\nab\n", "2: 'ab' is no key"},
                    BadFile{"timeout\n", "1: key timeout: "}));

TEST_F(OptionSourcesTest, EmptyValueIsRefused) {
    program.run({"grab", "--output", ""});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("--output: an empty text is no value"));
    program.run({"--fault", "drop", "--fault", ""});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("--fault: an empty text is no value"));
}

TEST_F(OptionSourcesTest, FlagRefusesEveryWordButTheUsualOnes) {
    for (const char* word : {"--json=2x", "--json=2", "--json=maybe", "--json=TRUE!"}) {
        program.run({"grab", word});
        EXPECT_EQ(program.exitCode, 2) << word;
        EXPECT_THAT(program.people, HasSubstr("--json")) << word;
    }
    for (const char* word : {"--json=yes", "--json=on", "--json=1", "--json=true"}) {
        program.json = false;
        program.run({"grab", word});
        EXPECT_FALSE(program.exitCode) << word;
        EXPECT_TRUE(program.json) << word;
    }
    for (const char* word : {"--json=no", "--json=off", "--json=0", "--json=false"}) {
        program.json = true;
        program.run({"grab", word});
        EXPECT_FALSE(program.exitCode) << word;
        EXPECT_FALSE(program.json) << word;
    }
    program.environment = {"DORVEN_SAMPLE_JSON=2x"};
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("environment variable DORVEN_SAMPLE_JSON: '2x' is neither true nor false"));
}

TEST_F(OptionSourcesTest, BadValueInTheEnvironmentNamesItsVariable) {
    program.environment = {"DORVEN_SAMPLE_TIMEOUT=61"};
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people,
                StartsWith("dorven-sample: environment variable DORVEN_SAMPLE_TIMEOUT: '61' is not a number"));
}

TEST_F(OptionSourcesTest, BadCommandLineIsToldFirst) {
    program.configFile("timeot = 1\n");
    program.run({"grab", "--timeout", "99"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("--timeout: '99' is not"));
    program.run({"--nonsense"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("--nonsense"));
}

TEST_F(OptionSourcesTest, HelpAndVersionAreAnsweredInSpiteOfABadFile) {
    program.configFile("timeot = 1\n");
    program.run({"grab", "--help"});
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_THAT(program.data, HasSubstr("--timeout"));
    program.run({"--version"});
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_THAT(program.data, StartsWith("dorven-sample 1"));
}

TEST_F(OptionSourcesTest, WhatTheCommandLineLacksAnotherSourceMaySupply) {
    program.run({"grab", "--every", "5"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("--every goes with --output only"));
    program.environment = {"DORVEN_SAMPLE_OUTPUT=pictures"};
    program.run({"grab", "--every", "5"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.every, 5);
    EXPECT_EQ(program.output, "pictures");
}

TEST_F(OptionSourcesTest, LackThatNoSourceFillsIsStillWrongUsage) {
    program.environment = {"DORVEN_SAMPLE_WIDTH=5"};
    program.run({"grab", "--every", "5"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("--every goes with --output only"));
}

TEST_F(OptionSourcesTest, SettingThatNeedsWhatNobodyGaveDoesNotCount) {
    program.configFile("every = 5\n");
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.every, 1);
    program.run({"grab", "--output", "x"});
    EXPECT_EQ(program.every, 5);
}

TEST_F(OptionSourcesTest, SettingComesAfterTheOneThatItNeeds) {
    program.environment = {"DORVEN_SAMPLE_EVERY=5"};
    program.configFile("output = x\n");
    program.run({"grab"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.every, 5);
}

TEST_F(OptionSourcesTest, SettingThatTheCommandLineExcludesYields) {
    program.configFile("images = folder\n");
    program.run({"--pattern", "ball"});
    EXPECT_EQ(program.exitCode, std::nullopt) << program.people;
    EXPECT_EQ(program.pattern, "ball");
    EXPECT_EQ(program.images, "");
}

TEST_F(OptionSourcesTest, WeakerOfTwoSettingsThatExcludeEachOtherYields) {
    program.configFile("images = folder\n");
    program.environment = {"DORVEN_SAMPLE_PATTERN=ball"};
    program.run({});
    EXPECT_EQ(program.pattern, "ball");
    EXPECT_EQ(program.images, "");
}

TEST_F(OptionSourcesTest, WeakerSettingYieldsAlsoWhenItsOptionComesFirst) {
    program.configFile("pattern = ball\n");
    program.environment = {"DORVEN_SAMPLE_IMAGES=folder"};
    program.run({});
    EXPECT_EQ(program.pattern, "");
    EXPECT_EQ(program.images, "folder");
}

}  // namespace
