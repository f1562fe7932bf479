#include "scenario.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault_log.h"
#include "faults.h"
#include "temporary_folder.h"

namespace {

using simulator::Faults;
using simulator::FrameRange;
using simulator::parseScenario;
using simulator::ScenarioLook;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

std::string scenarioOf(const std::string& faults) {
    return R"({"schema":"dorven-scenario/1","seed":3,"faults":[)" + faults + "]}";
}

std::string problemOf(const std::string& text) {
    std::string error;
    EXPECT_FALSE(parseScenario(text, error)) << text;
    return error;
}

TEST(ScenarioTest, FaultsAreTextsOrObjects) {
    std::string error;
    const auto scenario = parseScenario(
        scenarioOf(R"("drop@5",{"fault":"delay","value":"5ms","when":7},{"fault":"torn","when":"p:0.5"})"), error);
    ASSERT_TRUE(scenario) << error;
    EXPECT_EQ(scenario->seed, 3u);
    ASSERT_EQ(scenario->faults.size(), 3u);
    EXPECT_EQ(scenario->faults[0].text, "drop@5");
    EXPECT_EQ(scenario->faults[1].text, "delay:5ms@7");
    EXPECT_EQ(scenario->faults[2].text, "torn@p:0.5");
}

TEST(ScenarioTest, WhatIsWrongIsNamed) {
    EXPECT_THAT(problemOf("{\n\"schema\""),
                EndsWith("line 2: the text ends too early; a bracket, a brace or a quote is not closed"));
    EXPECT_EQ(problemOf("{\"schema\": \"dorven-scenario/1\",\n \"faults\": [,]}"),
              "line 2, column 13: this is no JSON from ',' on; look for a missing or surplus comma, quote or bracket");
    EXPECT_THAT(problemOf(""), HasSubstr("is empty"));
    EXPECT_THAT(problemOf("[]"), HasSubstr("is no object with \"schema\""));
    EXPECT_THAT(problemOf(R"({"faults":[]})"), HasSubstr("is no object with \"schema\""));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/2","faults":[]})"), HasSubstr("dorven-scenario/1"));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/1"})"), HasSubstr("\"faults\" is missing"));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/1","fault":[]})"),
                HasSubstr("did you mean 'faults'? There is no entry 'fault'"));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/1","faults":{}})"), HasSubstr("\"faults\" is no list"));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/1","faults":[],"seed":-1})"),
                HasSubstr("\"seed\" is no whole"));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/1","faults":[],"seed":9007199254740993})"), HasSubstr("seed"));
    EXPECT_THAT(problemOf(R"({"schema":"dorven-scenario/1","faults":[],"description":5})"), HasSubstr("description"));
    EXPECT_THAT(problemOf(scenarioOf(R"("drop","drp")")),
                HasSubstr("faults[1]: did you mean 'drop'? There is no fault 'drp'"));
    EXPECT_THAT(problemOf(scenarioOf("5")), HasSubstr("faults[0]: a fault is a text or an object"));
    EXPECT_THAT(problemOf(scenarioOf(R"({"fault":"drop","at":5})")),
                HasSubstr("faults[0]: there is no entry 'at'; there are fault, value, when"));
    EXPECT_THAT(problemOf(scenarioOf(R"({"when":5})")), HasSubstr("a fault is an object with \"fault\" (a text)"));
    EXPECT_THAT(problemOf(scenarioOf(R"({"fault":"drop","when":-5})")), HasSubstr("a fault is an object with"));
}

TEST(ScenarioTest, DeepNestingIsRefusedWithoutGoingDown) {
    const std::string start = R"({"schema":"dorven-scenario/1","faults":[],"description":)";
    const auto nested = [&](std::size_t depth) {
        return start + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_EQ(problemOf(nested(240'000)), "nested too deeply");
    EXPECT_EQ(problemOf(start + std::string(240'000, '[')), "nested too deeply");
    EXPECT_EQ(problemOf(std::string(240'000, '[')), "nested too deeply");
    EXPECT_THAT(problemOf(nested(5)), HasSubstr("\"description\" is no text"));
}

TEST(ScenarioTest, ReasonsHoldNoControlCharacters) {
    EXPECT_THAT(problemOf(scenarioOf(R"("d\u001b[2J")")), HasSubstr("there is no fault 'd?[2J'"));
}

TEST(ScenarioTest, EveryExampleCanBePlayed) {
    std::size_t examples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(DORVEN_SOURCE_DIR "/scenarios")) {
        if (entry.path().string().ends_with(".schema.json")) continue;
        std::string error;
        const auto text = simulator::readScenarioFile(entry.path().string(), error);
        ASSERT_TRUE(text) << error;
        const auto scenario = parseScenario(*text, error);
        ASSERT_TRUE(scenario) << entry.path() << ": " << error;
        EXPECT_FALSE(scenario->faults.empty());
        EXPECT_NE(scenario->description, "");
        ++examples;
    }
    EXPECT_GE(examples, 5u);
}

TEST(ScenarioTest, FilesThatAreMissingOrHugeAreRefused) {
    const test::TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(simulator::readScenarioFile(folder.path("none.json"), error));
    EXPECT_THAT(error, HasSubstr("none.json: cannot be opened for reading"));
    EXPECT_FALSE(simulator::readScenarioFile(folder.file("huge.json", std::string(1'000'001, ' ')), error));
    EXPECT_THAT(error, HasSubstr("is larger than 1 MB"));
}

TEST(ScenarioLookTest, ChangeIsToldOnceAndOnlyWhenItHasSettled) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("s.json", "one");
    ScenarioLook watched(path, "one");
    const auto look = [&] { return watched.look(); };
    EXPECT_FALSE(look());
    folder.file("s.json", "two");
    EXPECT_FALSE(look());
    folder.file("s.json", "twofold");
    EXPECT_FALSE(look());
    EXPECT_EQ(look(), "twofold");
    EXPECT_FALSE(look());
    std::filesystem::remove(path);
    EXPECT_FALSE(look());
    EXPECT_FALSE(look());
    folder.file("s.json", "one");
    EXPECT_FALSE(look());
    EXPECT_EQ(look(), "one");
}

// A file that has been the same for long is checked only by size and time.
TEST(ScenarioLookTest, FileIsReadOnlyForAWhileAfterItsSizeOrTimeChanged) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("s.json", "one");
    const auto time = std::filesystem::last_write_time(path);
    ScenarioLook watched(path, "one");
    const auto changeTo = [&](const char* text, std::filesystem::file_time_type written) {
        folder.file("s.json", text);
        std::filesystem::last_write_time(path, written);
    };
    EXPECT_FALSE(watched.look());
    changeTo("two", time);
    EXPECT_FALSE(watched.look());
    EXPECT_EQ(watched.look(), "two") << "within one tick of the clock";
    for (int count = 0; count < 30; ++count) EXPECT_FALSE(watched.look());
    changeTo("six", time);
    for (int count = 0; count < 3; ++count) EXPECT_FALSE(watched.look()) << "not read";
    changeTo("six", time + std::chrono::seconds(3));
    EXPECT_FALSE(watched.look());
    EXPECT_EQ(watched.look(), "six");
}

class FaultsTest : public testing::Test {
protected:
    std::unique_ptr<Faults> open() {
        auto faults = Faults::open(_options, 100, _hasLink, _people, _error);
        EXPECT_TRUE(faults) << _error;
        return faults;
    }
    /// Checks until a change was seen or a second has passed.
    bool change(Faults& faults, const std::string& text, std::uint64_t frame) {
        _folder.file("s.json", text);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        const std::string before = _people.str();
        while (_people.str() == before && std::chrono::steady_clock::now() < end) {
            faults.look();
            if (faults.applyChange(frame)) return true;
        }
        return false;
    }

    test::TemporaryFolder _folder;
    simulator::FaultOptions _options;
    bool _hasLink = true;
    std::ostringstream _people;
    std::string _error;
};

TEST_F(FaultsTest, ChangedScenarioCountsFromItsFrameOnAndWhatStaysDoesNotBeginAnew) {
    _options.scenarioFile = _folder.file("s.json", scenarioOf(R"("drop")"));
    const auto faults = open();
    EXPECT_EQ(faults->seed(), 3u);
    EXPECT_EQ(faults->strikesAt(0).size(), 1u);
    EXPECT_TRUE(change(*faults, scenarioOf(R"("drop","torn")"), 50));
    EXPECT_THAT(_people.str(), HasSubstr("2 faults in force from frame 50 on"));
    EXPECT_THAT(faults->strikesAt(50), ElementsAre(simulator::Strike{simulator::FaultKind::torn, 0}));
    EXPECT_TRUE(faults->has(simulator::FaultKind::torn));
}

TEST_F(FaultsTest, ScenariosFaultStrikesBesideOneOfTheOptionsWithTheSameText) {
    _options.requests.push_back(*simulator::parseFault("drop", _error));
    _options.scenarioFile = _folder.file("s.json", scenarioOf(R"("torn@5")"));
    const auto faults = open();
    EXPECT_TRUE(change(*faults, scenarioOf(R"("drop")"), 50));
    EXPECT_EQ(faults->strikesAt(0).size(), 1u);
    EXPECT_EQ(faults->strikesAt(50).size(), 1u);
}

TEST_F(FaultsTest, FaultWrittenASecondTimeStrikesAgain) {
    _options.scenarioFile = _folder.file("s.json", scenarioOf(R"("drop")"));
    const auto faults = open();
    EXPECT_TRUE(change(*faults, scenarioOf(R"("drop","drop")"), 50));
    EXPECT_EQ(faults->strikesAt(50).size(), 1u);
    EXPECT_TRUE(change(*faults, scenarioOf(R"("torn@5")"), 60));
    EXPECT_TRUE(change(*faults, scenarioOf(R"("drop")"), 70));
    EXPECT_EQ(faults->strikesAt(70).size(), 1u) << "it was not in force meanwhile";
}

TEST_F(FaultsTest, BrokenVersionIsToldOfAndTheFormerOneStays) {
    _options.scenarioFile = _folder.file("s.json", scenarioOf(R"("drop@100")"));
    const auto faults = open();
    EXPECT_FALSE(change(*faults, "{", 50));
    EXPECT_THAT(_people.str(), HasSubstr("going on with the former scenario"));
    EXPECT_EQ(faults->strikesAt(100).size(), 1u);
}

TEST_F(FaultsTest, OptionsWinOverTheScenariosSeed) {
    _options.scenarioFile = _folder.file("s.json", scenarioOf(R"("drop@100")"));
    _options.seed = 8;
    EXPECT_EQ(open()->seed(), 8u);
    EXPECT_THAT(_people.str(), HasSubstr("1 fault, seed 8"));
}

TEST_F(FaultsTest, WhatCannotBeOpenedIsRefused) {
    _options.scenarioFile = _folder.file("s.json", "{}");
    EXPECT_FALSE(Faults::open(_options, 100, _hasLink, _people, _error));
    EXPECT_THAT(_error, HasSubstr("s.json: is no object"));
    _options.scenarioFile.clear();
    _options.logFile = _folder.path();
    _error.clear();
    EXPECT_FALSE(Faults::open(_options, 100, _hasLink, _people, _error));
    EXPECT_THAT(_error, HasSubstr("cannot be written"));
}

TEST_F(FaultsTest, AnswersCannotBeSpoiltWithoutALink) {
    _options.requests.push_back(*simulator::parseFault("wrong-answer", _error));
    _hasLink = false;
    EXPECT_FALSE(Faults::open(_options, 100, _hasLink, _people, _error));
    EXPECT_THAT(_error, HasSubstr("wrong-answer needs the link to the camera, but --no-ask switches it off"));
}

TEST(RangesTest, NeighboursShareARange) {
    EXPECT_THAT(simulator::rangesOf({}), IsEmpty());
    EXPECT_THAT(simulator::rangesOf({3, 4, 4, 5, 9, 7}),
                ElementsAre(FrameRange{3, 5}, FrameRange{9, 9}, FrameRange{7, 7}));
}

TEST(FaultLogTest, NotesOfNeighboursShareALineThatComesBeforeTheNextFault) {
    const test::TemporaryFolder folder;
    std::ostringstream people;
    std::string error;
    const auto log = simulator::FaultLog::open(folder.path("log"), people, error);
    ASSERT_TRUE(log) << error;
    log->note("refused", {3, 3});
    log->note("refused", {4, 4});
    log->note("skipped", {5, 6});
    log->fault("drop", 7, {{"lost", 7, 7, {}}});
    log->note("refused", {8, 8});
    log->settle();
    std::ifstream file(folder.path("log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre(HasSubstr(R"("note":"refused","first":3,"last":4)"),
                                   HasSubstr(R"("note":"skipped","first":5,"last":6)"), HasSubstr(R"("fault":"drop")"),
                                   HasSubstr(R"("note":"refused","first":8,"last":8)")));
}

}  // namespace
