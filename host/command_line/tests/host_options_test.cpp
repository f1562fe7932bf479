#include "host_options.h"

#include <ostream>
#include <sstream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin_library.h"
#include "temporary_folder.h"

namespace {

using host::HostOptions;
using testing::HasSubstr;

struct Parsed {
    std::optional<int> exitCode;
    HostOptions options;
    std::string data;
    std::string people;
};

Parsed parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "dorven-host");
    Parsed parsed;
    std::ostringstream data;
    std::ostringstream people;
    parsed.exitCode =
        parseHostOptions(static_cast<int>(arguments.size()), arguments.data(), parsed.options, data, people);
    parsed.data = data.str();
    parsed.people = people.str();
    return parsed;
}

TEST(HostOptionsTest, AskSnapHasItsOwnTimeout) {
    const Parsed plain = parse({"ask-snap"});
    EXPECT_EQ(plain.exitCode, std::nullopt) << plain.people;
    EXPECT_EQ(plain.options.command, HostOptions::Command::askSnap);
    EXPECT_EQ(plain.options.askSnap.timeoutSeconds, 12.0);
    EXPECT_EQ(parse({"grab"}).options.grab.timeoutSeconds, 30.0);
    const Parsed all = parse({"ask-snap", "--json", "--timeout", "0.5"});
    EXPECT_TRUE(all.options.askSnap.json);
    EXPECT_EQ(all.options.askSnap.timeoutSeconds, 0.5);
    EXPECT_EQ(parse({"ask-snap", "--timeout", "0"}).exitCode, 2);
    EXPECT_THAT(parse({"ask-snap", "--help"}).data, HasSubstr("it writes \"SNAP\" and that snapping"));
}

TEST(HostOptionsTest, GrabHasSensibleDefaults) {
    const Parsed parsed = parse({"grab"});
    EXPECT_EQ(parsed.exitCode, std::nullopt);
    EXPECT_EQ(parsed.options.command, HostOptions::Command::grab);
    EXPECT_EQ(parsed.options.grab.pluginPath, host::defaultPluginPath());
    EXPECT_EQ(parsed.options.grab.imageCount, 0u);
    EXPECT_EQ(parsed.options.grab.durationNs, 0);
    EXPECT_FALSE(parsed.options.grab.quiet);
    EXPECT_EQ(parsed.options.grab.timeoutSeconds, 30.0);
    EXPECT_EQ(parsed.options.grab.save.every, 1u);
    EXPECT_EQ(parsed.options.grab.save.folder, "");
    EXPECT_EQ(parsed.options.grab.configFile, "");
    EXPECT_FALSE(parsed.options.grab.json);
}

TEST(HostOptionsTest, EveryOptionOfGrabIsTaken) {
    const test::TemporaryFolder folder;
    const std::string plugin = folder.file("plugin", "");
    const std::string config = folder.file("camera.ini", "");
    const Parsed parsed = parse({"grab", "--plugin", plugin.c_str(), "--config", config.c_str(), "--count", "300",
                                 "--timeout", "2.5", "--output", "images", "--every", "100", "--json"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.grab.pluginPath, plugin);
    EXPECT_EQ(parsed.options.grab.configFile, config);
    EXPECT_EQ(parsed.options.grab.imageCount, 300u);
    EXPECT_EQ(parsed.options.grab.timeoutSeconds, 2.5);
    EXPECT_EQ(parsed.options.grab.save.folder, "images");
    EXPECT_EQ(parsed.options.grab.save.every, 100u);
    EXPECT_TRUE(parsed.options.grab.json);
}

TEST(HostOptionsTest, LimitsSayWhetherASimulatorIsRequiredUnlessAnOptionDoes) {
    EXPECT_EQ(parse({"grab"}).options.grab.requireSimulator, std::nullopt);
    EXPECT_EQ(parse({"verify", "--fault-log", "x", "--max-lost", "0"}).options.verify.requireSimulator, std::nullopt);
    EXPECT_EQ(parse({"grab", "--require-simulator"}).options.grab.requireSimulator, true);
    EXPECT_EQ(parse({"grab", "--no-require-simulator"}).options.grab.requireSimulator, false);
    EXPECT_EQ(parse({"grab", "--require-simulator", "--no-require-simulator"}).options.grab.requireSimulator, false);
    EXPECT_EQ(parse({"grab", "--no-require-simulator", "--require-simulator"}).options.grab.requireSimulator, true);
}

TEST(HostOptionsTest, EachCommandTakesAFileForTheLogAndShowsIt) {
    EXPECT_EQ(parse({"info", "--log", "a file"}).options.log.file, "a file");
    EXPECT_FALSE(parse({"info"}).options.log.verbose);
    EXPECT_TRUE(parse({"ask-snap", "-v"}).options.log.verbose);
    EXPECT_EQ(parse({"verify", "--fault-log", "x", "--findings", host::defaultPluginPath().c_str(), "-v"}).exitCode,
              std::nullopt);
}

TEST(HostOptionsTest, ShortNamesStandForTheLongOnes) {
    const test::TemporaryFolder folder;
    const std::string config = folder.file("camera.ini", "");
    const Parsed parsed = parse({"grab", "-qn", "300", "-o", "images", "-c", config.c_str()});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.grab.imageCount, 300u);
    EXPECT_EQ(parsed.options.grab.save.folder, "images");
    EXPECT_EQ(parsed.options.grab.configFile, config);
    EXPECT_TRUE(parsed.options.grab.quiet);
    EXPECT_EQ(parse({"snap", "a.png", "-c", config.c_str()}).options.snap.configFile, config);
    EXPECT_EQ(parse({"doctor", "-c", config.c_str()}).options.doctor.configFile, config);
    EXPECT_EQ(parse({"-V"}).data, parse({"--version"}).data);
}

TEST(HostOptionsTest, DurationsHaveTheirUnit) {
    for (const auto& [text, ns] : std::vector<std::pair<const char*, std::int64_t>>{{"1ms", 1'000'000},
                                                                                    {"10s", 10'000'000'000},
                                                                                    {"1.5s", 1'500'000'000},
                                                                                    {"2min", 120'000'000'000},
                                                                                    {"1h", 3'600'000'000'000}}) {
        EXPECT_EQ(parse({"grab", "--duration", text}).options.grab.durationNs, ns) << text;
        EXPECT_EQ(parse({"verify", "--fault-log", "f", "--duration", text}).options.verify.durationNs, ns) << text;
    }
}

TEST(HostOptionsTest, GrabTakesJsonLinesWithFrames) {
    EXPECT_FALSE(parse({"grab"}).options.grab.jsonLines);
    EXPECT_TRUE(parse({"grab", "--json-lines"}).options.grab.jsonLines);
    EXPECT_FALSE(parse({"grab", "--json-lines"}).options.grab.frames);
    const Parsed parsed = parse({"grab", "--json-lines", "--frames"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_TRUE(parsed.options.grab.frames);
}

TEST(HostOptionsTest, GrabTakesEveryLimit) {
    for (const auto& limit : parse({"grab"}).options.grab.limits) EXPECT_EQ(limit, std::nullopt);
    for (std::size_t index = 0; index < host::kLimitCount; ++index) {
        const auto& row = host::limitRows()[index];
        const Parsed parsed = parse({"grab", row.option, row.whole ? "3" : "2.5"});
        EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
        for (std::size_t other = 0; other < host::kLimitCount; ++other) {
            EXPECT_EQ(parsed.options.grab.limits[other].has_value(), other == index) << row.option;
        }
        EXPECT_EQ(parsed.options.grab.limits[index], row.whole ? 3.0 : 2.5);
        for (const char* wrong : {"-1", "nan", "x", ""}) {
            const Parsed refused = parse({"grab", row.option, wrong});
            EXPECT_EQ(refused.exitCode, 2) << row.option << ' ' << wrong;
            EXPECT_THAT(refused.people, HasSubstr(row.option));
        }
        EXPECT_EQ(parse({"grab", row.option, "1.5"}).exitCode, row.whole ? std::optional(2) : std::nullopt);
        EXPECT_THAT(parse({"grab", "--help"}).data, HasSubstr(row.option));
    }
    EXPECT_EQ(parse({"grab", "--max-jitter-us", "1e13"}).exitCode, 2);
    EXPECT_THAT(parse({"grab", "--help"}).data, HasSubstr("99 of 100 periods"));
}

TEST(HostOptionsTest, VerifyTakesALogAndWhatGrabTakes) {
    Parsed parsed = parse({"verify", "--fault-log", "f.jsonl"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.command, HostOptions::Command::verify);
    EXPECT_EQ(parsed.options.verify.faultLog, "f.jsonl");
    EXPECT_EQ(parsed.options.verify.findingsFile, "");
    EXPECT_FALSE(parsed.options.verify.allowExplained);
    EXPECT_EQ(parsed.options.verify.timeoutSeconds, 30.0);
    parsed = parse({"verify", "--fault-log", "f.jsonl", "--count", "7", "--timeout", "3", "--max-lost", "2",
                    "--json-lines", "--frames", "--allow-explained"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.verify.imageCount, 7u);
    EXPECT_EQ(parsed.options.verify.timeoutSeconds, 3.0);
    EXPECT_EQ(parsed.options.verify.limits[0], 2.0);
    EXPECT_TRUE(parsed.options.verify.allowExplained);
    EXPECT_TRUE(parsed.options.verify.frames);
    EXPECT_THAT(parse({"verify", "--help"}).data, HasSubstr("Lateness that was not injected"));
}

TEST(HostOptionsTest, VerifyOfSavedFindingsTakesNoOptionOfAGrab) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("grab.json", "{}");
    const Parsed parsed =
        parse({"verify", "--fault-log", "f.jsonl", "--findings", file.c_str(), "--json", "--allow-explained"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.verify.findingsFile, file);
    EXPECT_TRUE(parsed.options.verify.json);
    for (const auto& other : std::vector<std::vector<const char*>>{{"--count", "3"},
                                                                   {"--timeout", "3"},
                                                                   {"--max-lost", "0"},
                                                                   {"--json-lines"},
                                                                   {"--config", file.c_str()},
                                                                   {"--plugin", file.c_str()}}) {
        std::vector<const char*> arguments{"verify", "--fault-log", "f.jsonl", "--findings", file.c_str()};
        arguments.insert(arguments.end(), other.begin(), other.end());
        const Parsed refused = parse(arguments);
        EXPECT_EQ(refused.exitCode, 2) << other[0];
        EXPECT_THAT(refused.people, HasSubstr(other[0]));
    }
}

TEST(HostOptionsTest, InfoTakesPluginAndJson) {
    const test::TemporaryFolder folder;
    const std::string plugin = folder.file("plugin", "");
    const Parsed parsed = parse({"info", "--plugin", plugin.c_str(), "--json"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.command, HostOptions::Command::info);
    EXPECT_EQ(parsed.options.info.pluginPath, plugin);
    EXPECT_TRUE(parsed.options.info.json);
}

TEST(HostOptionsTest, InfoTakesCommands) {
    EXPECT_FALSE(parse({"info"}).options.info.commands);
    const Parsed parsed = parse({"info", "--commands"});
    EXPECT_EQ(parsed.options.command, HostOptions::Command::info);
    EXPECT_TRUE(parsed.options.info.commands);
}

TEST(HostOptionsTest, CallTakesIdValueAndWhatToOpen) {
    const test::TemporaryFolder folder;
    const std::string config = folder.file("camera.ini", "");
    Parsed parsed = parse({"call", "1107"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.command, HostOptions::Command::call);
    EXPECT_EQ(parsed.options.call.id, 1107);
    EXPECT_EQ(parsed.options.call.value, std::nullopt);
    EXPECT_FALSE(parsed.options.call.open);
    EXPECT_FALSE(parsed.options.call.json);
    parsed = parse({"call", "1106", "-3.5", "--open", "--json"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.call.value, "-3.5");
    EXPECT_TRUE(parsed.options.call.open);
    EXPECT_TRUE(parsed.options.call.json);
    parsed = parse({"call", "--config", config.c_str(), "1106", "--", "-inf"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_EQ(parsed.options.call.configFile, config);
    EXPECT_EQ(parsed.options.call.value, "-inf");
    EXPECT_TRUE(parsed.options.call.open);
    EXPECT_EQ(parse({"call", "-1"}).options.call.id, -1);
}

TEST(HostOptionsTest, FilesHaveToBeReadableAndNoFolders) {
    const test::TemporaryFolder folder;
    const std::string path = folder.path();
    for (const char* given : {path.c_str(), "/no/such/file", "\xFC.ini", ""}) {
        const Parsed parsed = parse({"grab", "--config", given});
        EXPECT_EQ(parsed.exitCode, 2) << given;
        EXPECT_THAT(parsed.people, HasSubstr("'" + std::string(given) + "' is not a file that can be read"));
    }
}

TEST(HostOptionsTest, UnknownIdIsLeftToTheDevice) { EXPECT_EQ(parse({"call", "999", "x"}).exitCode, std::nullopt); }

TEST(HostOptionsTest, HelpTellsWhatTheCommandsDoAndTheirUnits) {
    EXPECT_THAT(parse({"info", "--help"}).data, HasSubstr("--commands sends each command twice"));
    EXPECT_THAT(parse({"call", "--help"}).data, HasSubstr("frame rate (1106, 1107) images/s"));
    EXPECT_THAT(parse({"call", "--help"}).data, HasSubstr("Exit codes"));
}

TEST(HostOptionsTest, HelpAndVersionEndWithZeroOnStandardOutput) {
    EXPECT_EQ(parse({"--help"}).exitCode, 0);
    EXPECT_THAT(parse({"--help"}).data, HasSubstr("Exit codes"));
    const Parsed grab = parse({"grab", "--help"});
    EXPECT_EQ(grab.exitCode, 0);
    for (const char* option :
         {"--plugin", "--config", "--count", "--timeout", "--output", "--every", "--json", "Exit codes"})
        EXPECT_THAT(grab.data, HasSubstr(option));
    EXPECT_EQ(parse({"info", "--help"}).exitCode, 0);
    EXPECT_THAT(parse({"--version"}).data, HasSubstr("dorven-host "));
}

struct Wrong {
    std::vector<const char*> arguments;
    const char* named;  // what the message must name
};

void PrintTo(const Wrong& row, std::ostream* stream) {
    for (const char* argument : row.arguments) *stream << argument << ' ';
}

class WrongHostUsageTest : public testing::TestWithParam<Wrong> {};

TEST_P(WrongHostUsageTest, EndsWithTwoAndNamesTheArgument) {
    const Parsed parsed = parse(GetParam().arguments);
    EXPECT_EQ(parsed.exitCode, 2);
    EXPECT_THAT(parsed.people, HasSubstr(GetParam().named));
    EXPECT_EQ(parsed.data, "");
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, WrongHostUsageTest,
    testing::Values(Wrong{{}, "a command is missing"}, Wrong{{"look"}, "look"}, Wrong{{"grab", "--bogus"}, "--bogus"},
                    Wrong{{"grab", "stray"}, "stray"}, Wrong{{"info", "--count", "3"}, "--count"},
                    Wrong{{"info", "--plugin", "/no/such/file"}, "--plugin"},
                    Wrong{{"grab", "--plugin", "/no/such/file"}, "--plugin"}, Wrong{{"grab", "--plugin"}, "--plugin"},
                    Wrong{{"grab", "--config", "/no/such/file"}, "--config"}, Wrong{{"grab", "--config"}, "--config"},
                    Wrong{{"grab", "--count", "-1"}, "--count"}, Wrong{{"grab", "--count", "1.5"}, "--count"},
                    Wrong{{"grab", "--count", "x"}, "--count"}, Wrong{{"grab", "--timeout", "0"}, "--timeout"},
                    Wrong{{"grab", "--timeout", "-2"}, "--timeout"}, Wrong{{"grab", "--timeout", "nan"}, "--timeout"},
                    Wrong{{"grab", "--timeout", "86401"}, "--timeout"},
                    Wrong{{"grab", "--timeout", "soon"}, "--timeout"}, Wrong{{"grab", "--output"}, "--output"},
                    Wrong{{"grab", "--output", "x", "--every", "0"}, "--every"},
                    Wrong{{"grab", "--output", "x", "--every", "x"}, "--every"},
                    Wrong{{"grab", "--every", "2"}, "--output"}, Wrong{{"grab", "--frames"}, "--json-lines"},
                    Wrong{{"grab", "--json", "--json-lines"}, "--json"},
                    Wrong{{"info", "--max-lost", "0"}, "--max-lost"}, Wrong{{"grab", "--max-lost"}, "--max-lost"},
                    Wrong{{"verify"}, "--fault-log"}, Wrong{{"verify", "--fault-log"}, "--fault-log"},
                    Wrong{{"grab", "--fault-log", "f"}, "--fault-log"},
                    Wrong{{"verify", "--fault-log", "f", "--findings", "/no/such/file"}, "--findings"},
                    Wrong{{"grab", "--json=maybe"}, "--json"}, Wrong{{"call"}, "ID"}, Wrong{{"call", "abc"}, "ID"},
                    Wrong{{"call", "99999999999"}, "ID"}, Wrong{{"call", "1106"}, "1106 (setFrameRate): needs a value"},
                    Wrong{{"call", "1106", "x"}, "1106 (setFrameRate): 'x' is not a number"},
                    Wrong{{"call", "1002", "1"}, "1002 (grab): takes no value"}, Wrong{{"call", "1107", "1", "2"}, "2"},
                    Wrong{{"call", "1107", "--config", "/no/such/file"}, "--config"},
                    Wrong{{"info", "--open"}, "--open"}, Wrong{{"call", "1107", "--commands"}, "--commands"}));

// How many lines of a help show how to call a command.
int examplesIn(const std::string& help, const std::string& call) {
    int count = 0;
    for (std::size_t at = help.find(call); at != std::string::npos; at = help.find(call, at + 1)) ++count;
    return count;
}

TEST(HostOptionsTest, EveryHelpHasThreeExamples) {
    EXPECT_GE(examplesIn(parse({"--help"}).data, "  dorven-host "), 3);
    for (const char* command : {"info", "grab", "verify", "snap", "doctor", "bench", "call", "ask-snap", "config"})
        EXPECT_GE(examplesIn(parse({command, "--help"}).data, std::string("dorven-host ") + command), 3) << command;
}

TEST(HostOptionsTest, ConfigShowsTheOptionsAndEndsTheProgram) {
    const Parsed parsed = parse({"config", "--show"});
    EXPECT_EQ(parsed.exitCode, 0) << parsed.people;
    EXPECT_THAT(parsed.data, HasSubstr("timeout "));
    EXPECT_THAT(parsed.data, HasSubstr("host.conf"));
}

}  // namespace
