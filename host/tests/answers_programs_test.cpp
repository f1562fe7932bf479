// What a user sees of the programs in a pipe: the answer on standard output, everything else on standard error.
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host_options.h"
#include "programs_fixture.h"

namespace {

using test::ProgramsTest;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using namespace std::chrono_literals;

const test::Arguments kSimulator{"--size", "900x40", "--no-ask", "--fps", "50"};

class AnswersTest : public ProgramsTest {
protected:
    int host(test::Arguments arguments) { return startHost(std::move(arguments)).join(60s); }
    std::string answer() const { return text("out.txt"); }
    /// Without the plugin's log.
    std::string told() const {
        std::istringstream all(people());
        std::string kept;
        for (std::string line; std::getline(all, line);)
            if (line.find(" errortrace ") == std::string::npos) kept += line + '\n';
        return kept;
    }
    std::string lastLine() const {
        const std::string all = told();
        const std::size_t end = all.find_last_not_of('\n');
        return end == std::string::npos ? "" : all.substr(all.find_last_of('\n', end) + 1, end + 1);
    }
};

TEST_F(AnswersTest, WhatACommandWasAskedGoesToStandardOutput) {
    struct Row {
        test::Arguments arguments;
        const char* text;
    };
    for (const Row& row : std::vector<Row>{
             {{"info"}, "device id      8-0-"},
             {{"info", "--commands"}, "111 commands\n"},
             {{"call", "1107", "--open"}, "status   (0, 1) done\n"},
             {{"doctor"}, "configuration: "},
             {{"bench", "--seconds", "0.2", "--size", "64x20", "--fps", "50"}, "throughput"},
         }) {
        EXPECT_EQ(host(row.arguments), 0) << people();
        EXPECT_THAT(answer(), HasSubstr(row.text));
        EXPECT_THAT(people(), Not(HasSubstr(row.text))) << row.arguments.front();
    }
}

TEST_F(AnswersTest, TableOfAGrabGoesToStandardOutputAndItsProgressToStandardError) {
    auto simulator = startSimulator(kSimulator);
    EXPECT_EQ(host({"grab", "--config", _config, "--count", "20"}), 0) << people();
    simulator.kill();
    EXPECT_THAT(answer(), StartsWith("20 images, all verified, nothing lost\n"));
    EXPECT_THAT(answer(), HasSubstr("\nperiod "));
    EXPECT_THAT(answer(), Not(HasSubstr("dorven-host: ")));
    EXPECT_THAT(people(), HasSubstr("dorven-host: 900 x 40 pixels"));
    EXPECT_THAT(people(), Not(HasSubstr("period")));
}

TEST_F(AnswersTest, JsonIsAloneOnStandardOutputAndThereIsNoTableAnywhere) {
    auto simulator = startSimulator(kSimulator);
    for (const char* json : {"--json", "--json-lines"}) {
        EXPECT_EQ(host({"grab", "--config", _config, "--count", "20", json}), 0) << people();
        std::istringstream lines(answer());
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(nlohmann::json::parse(line, nullptr, false).is_object()) << line;
        EXPECT_THAT(answer(), StartsWith("{"));
        EXPECT_THAT(people(), Not(HasSubstr("20 images, all verified"))) << json;
        EXPECT_THAT(people(), Not(HasSubstr("period"))) << json;
    }
    simulator.kill();
}

TEST_F(AnswersTest, ImageOfASnapAndQuestionOverTheLinkAreAnswersToo) {
    auto simulator = startSimulator({"--config", _config, "--size", "900x40", "--fps", "50"});
    EXPECT_EQ(host({"snap", _folder.path("a.png"), "--config", _config}), 0) << people();
    EXPECT_THAT(answer(), StartsWith("saved " + _folder.path("a.png") + ": 900 x 40 pixels"));
    EXPECT_EQ(told(), "");
    EXPECT_EQ(host({"ask-snap"}), 0) << people();
    EXPECT_THAT(answer(), HasSubstr("the request as it was\n"));
    EXPECT_EQ(told(), "");
    simulator.kill();
}

TEST_F(AnswersTest, GrabThatCannotStartPrintsNoTableOfZerosAndEndsWithTheReason) {
    const std::string taken = _folder.file("taken", "a file");
    EXPECT_EQ(host({"grab", "--config", _config, "--output", taken}), host::kExitFailed);
    EXPECT_EQ(answer(), "");
    EXPECT_THAT(lastLine(), HasSubstr("taken: cannot be made a folder for images"));
}

TEST_F(AnswersTest, GrabWithoutAnyImagePrintsNoTableOfZerosAndEndsWithTheReason) {
    EXPECT_EQ(host({"grab", "--config", _config, "--timeout", "0.3"}), host::kExitNoImage);
    EXPECT_EQ(answer(), "");
    EXPECT_THAT(lastLine(), HasSubstr("no image came for 0.3 s"));
}

TEST_F(AnswersTest, VerdictOfAComparisonComesFirst) {
    const std::string log = _folder.path("faults.jsonl");
    test::Arguments arguments = kSimulator;
    arguments.insert(arguments.end(), {"--fault", "torn@every:10", "--fault-log", log});
    auto simulator = startSimulator(arguments);
    EXPECT_EQ(host({"verify", "--config", _config, "--fault-log", log, "--count", "40", "--allow-explained"}), 0)
        << people();
    simulator.kill();
    EXPECT_THAT(answer(), StartsWith("the host found what was injected, and nothing else\n"));
    EXPECT_THAT(answer(), HasSubstr("\ninjected "));
    EXPECT_THAT(answer(), HasSubstr("\n40 images, "));
    EXPECT_THAT(people(), Not(HasSubstr("injected ")));
}

TEST_F(AnswersTest, TotalsOfASimulatorAreItsAnswer) {
    test::Arguments arguments = kSimulator;
    arguments.insert(arguments.end(), {"--count", "5"});
    EXPECT_EQ(startSimulatorWithOutputs(arguments).join(60s), 0) << people();
    EXPECT_THAT(answer(), HasSubstr("written 5, refused by the full ring 0"));
    EXPECT_THAT(people(), HasSubstr("dorven-simulator: 900 x 40 pixels"));
    EXPECT_THAT(people(), Not(HasSubstr("written 5")));
}

}  // namespace
