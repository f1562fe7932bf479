#include "config_show.h"

#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "sample_program.h"

namespace {

using nlohmann::json;
using test::SampleProgram;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class ConfigShowTest : public testing::Test {
protected:
    /// The shown entry of an option.
    json shown(const std::string& command, const std::string& option) {
        const json object = json::parse(program.data, nullptr, false);
        if (!object.is_object()) return {};
        for (const json& entry : object["options"]) {
            if (entry["command"] == command && entry["option"] == option) return entry;
        }
        return {};
    }

    SampleProgram program;
};

TEST_F(ConfigShowTest, EachValueComesWithItsSource) {
    program.configFile("timeout = 20\nrate = 7\n[grab]\nformat = raw\n");
    program.environment = {"DORVEN_SAMPLE_WIDTH=640", "DORVEN_SAMPLE_JSON=true"};
    program.run({"--rate", "9", "config", "--show", "--json"});
    EXPECT_EQ(program.exitCode, 0) << program.people;
    EXPECT_EQ(shown("", "rate")["value"], "9");
    EXPECT_EQ(shown("", "rate")["source"], "command line");
    EXPECT_EQ(shown("grab", "width")["value"], "640");
    EXPECT_EQ(shown("grab", "width")["source"], "environment");
    EXPECT_EQ(shown("grab", "width")["place"], "environment variable DORVEN_SAMPLE_WIDTH");
    EXPECT_EQ(shown("grab", "timeout")["value"], "20");
    EXPECT_EQ(shown("grab", "timeout")["source"], "file");
    EXPECT_EQ(shown("poll", "timeout")["value"], "20");
    EXPECT_EQ(shown("grab", "format")["place"], program.configPath() + ": [grab] key format");
    EXPECT_EQ(shown("grab", "every")["value"], "1");
    EXPECT_EQ(shown("grab", "every")["source"], "default");
    EXPECT_EQ(shown("grab", "every")["place"], nullptr);
    EXPECT_EQ(shown("grab", "output")["value"], nullptr);
    EXPECT_EQ(shown("poll", "json")["value"], "true");
    EXPECT_EQ(shown("", "quiet")["value"], "false");
}

TEST_F(ConfigShowTest, DefaultsAreThoseOfTheProgramAlsoWhereCommandsShareAVariable) {
    program.configFile("[grab]\njson = true\n");
    program.run({"config", "--show", "--json"});
    EXPECT_EQ(shown("grab", "json")["value"], "true");
    EXPECT_EQ(shown("poll", "json")["value"], "false");
}

TEST_F(ConfigShowTest, ObjectNamesItsSchemaAndTheFileAlsoWhenThatIsNotThere) {
    program.run({"config", "--show", "--json"});
    const json object = json::parse(program.data);
    EXPECT_EQ(object["schema"], "dorven-config/1");
    EXPECT_EQ(object["file"], program.configPath());
}

TEST_F(ConfigShowTest, TableIsForPeople) {
    program.configFile("timeout = 20\n");
    program.run({"config", "--show"});
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_THAT(program.data, HasSubstr("file  " + program.configPath()));
    EXPECT_THAT(program.data, ContainsRegex("dorven-sample grab\n +timeout +20 +\n? +.*sample.conf: key timeout\n"));
    EXPECT_THAT(program.data, ContainsRegex("format +png +default"));
}

TEST_F(ConfigShowTest, HelpVersionAndConfigItselfAreNotShown) {
    program.run({"config", "--show"});
    EXPECT_THAT(program.data, Not(HasSubstr("help")));
    EXPECT_THAT(program.data, Not(HasSubstr("version")));
    EXPECT_THAT(program.data, Not(HasSubstr("completion")));
}

TEST_F(ConfigShowTest, RefusedValueOfAnyCommandEndsItWithoutOutput) {
    program.configFile("[grab]\ntimeout = 61\n");
    program.run({"config", "--show"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_EQ(program.data, "");
    EXPECT_THAT(program.people,
                HasSubstr("sample.conf: line 2: [grab] key timeout: '61' is not a number from 1 to 60"));
}

TEST_F(ConfigShowTest, UnknownKeyEndsItToo) {
    program.configFile("timeot = 1\n");
    program.run({"config", "--show"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("key timeot"));
}

TEST_F(ConfigShowTest, ConfigWantsToBeToldWhat) {
    program.run({"config"});
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_THAT(program.people, HasSubstr("config wants --show or --completion"));
    program.run({"config", "--json"});
    EXPECT_EQ(program.exitCode, 2);
    program.run({"config", "--show", "--completion"});
    EXPECT_EQ(program.exitCode, 2);
}

TEST_F(ConfigShowTest, HelpTellsTheRuleOfTheNames) {
    program.run({"config", "--help"});
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_THAT(program.data, HasSubstr("DORVEN_SAMPLE_SAVE_EVERY"));
    EXPECT_THAT(program.data, HasSubstr("sample.conf"));
}

TEST_F(ConfigShowTest, CompletionKnowsCommandsOptionsWordsFilesAndFolders) {
    program.run({"config", "--completion"});
    EXPECT_EQ(program.exitCode, 0);
    EXPECT_THAT(program.data, HasSubstr("grab | poll | config | help) command=$word"));
    EXPECT_THAT(program.data, HasSubstr("\"grab --format\") offer=\"W:png pgm raw\""));
    EXPECT_THAT(program.data, HasSubstr("\"grab --output\") offer=\"D:\""));
    EXPECT_THAT(program.data, HasSubstr("\"grab --width\") offer=\"\""));
    EXPECT_THAT(program.data, HasSubstr("--json -h --help\" operand=\"F:.png\""));
    EXPECT_THAT(program.data, HasSubstr("\"help\") words=\"-h --help\" operand=\"W:grab poll config help\""));
    EXPECT_THAT(program.data, HasSubstr("\"config --completion\") offer=\"W:bash powershell\""));
    EXPECT_THAT(program.data, HasSubstr("operand=\"W:rate pattern images"));
    EXPECT_THAT(program.data, HasSubstr("complete -F _dorven_sample dorven-sample\n"));
}

TEST_F(ConfigShowTest, CompletionOfPowerShellKnowsTheSame) {
    program.run({"config", "--completion", "powershell"});
    EXPECT_EQ(program.exitCode, 0) << program.people;
    EXPECT_THAT(program.data, HasSubstr("Register-ArgumentCompleter -Native -CommandName 'dorven-sample', "
                                        "'dorven-sample.exe' -ScriptBlock {\n"));
    EXPECT_THAT(program.data, HasSubstr("$_ -cin @('grab', 'poll', 'config', 'help')"));
    EXPECT_THAT(program.data, HasSubstr("'grab --format' { $offer = 'W:png pgm raw' }\n"));
    EXPECT_THAT(program.data, HasSubstr("'grab --output' { $offer = 'D:' }\n"));
    EXPECT_THAT(program.data, HasSubstr("'grab --width' { $offer = '' }\n"));
    EXPECT_THAT(program.data, HasSubstr("$operand = 'F:.png' }\n"));
    EXPECT_EQ(std::ranges::count(program.data, '{'), std::ranges::count(program.data, '}'));
    EXPECT_EQ(std::ranges::count(program.data, '(') + std::ranges::count(program.data, '['),
              std::ranges::count(program.data, ')') + std::ranges::count(program.data, ']'));
}

TEST_F(ConfigShowTest, OnlyTheOptionsThatAreNamedAreShown) {
    program.run({"config", "--show", "timeout", "width"});
    EXPECT_EQ(program.exitCode, 0) << program.people;
    EXPECT_THAT(program.data, ContainsRegex("grab\n +timeout +30 +default\n +width +0 +default\n"));
    EXPECT_THAT(program.data, Not(HasSubstr("format")));
    program.run({"config", "--show", "timeot"});
    EXPECT_EQ(program.people, "dorven-sample: KEY: did you mean 'timeout'? There is no option 'timeot'\n");
}

TEST_F(ConfigShowTest, TableHasEightyColumnsWhereNoNameIsLonger) {
    program.configFile("timeout = 20\n");
    program.run({"config", "--show"});
    std::istringstream lines(program.data);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), line.find(program.folder.path()) == std::string::npos ? 80u : 200u) << line;
}

}  // namespace
