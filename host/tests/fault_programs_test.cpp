// Every fault that can be provoked, end to end: the simulator injects it at known frames, and the host finds exactly
// that in the images.
#include <algorithm>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault_request.h"
#include "fault_runs.h"
#include "host_options.h"

namespace {

using test::FaultRun;
using test::FaultRunsTest;
using test::FrameFindings;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

struct ExpectedFinding {
    const char* finding;
    std::uint64_t first;
    std::uint64_t last;
};

struct FaultCase {
    const char* name;    // as in the table of faults
    const char* fault;   // as on the command line
    const char* images;  // that the host takes; 0: until they stop
    std::vector<ExpectedFinding> findings;
    std::size_t strikes;  // 0: more than can be said
};

void PrintTo(const FaultCase& row, std::ostream* stream) { *stream << row.fault; }

constexpr std::uint64_t kFirst = 60;  // frame at which a fault strikes, except those that end everything

// The frames come after the first half second, when the host grabs for certain, even on a busy machine.
// clang-format off
const FaultCase kCases[] = {
    {"drop",           "drop@60",                 "100", {{"lost", 60, 60}},      1},
    {"drop",           "drop@60-64",              "100", {{"lost", 60, 64}},      5},
    {"drop",           "drop@t:600ms",            "100", {{"lost", 60, 60}},      1},
    {"repeat",         "repeat@60",               "100", {{"repeated", 60, 60}},  1},
    {"torn",           "torn@60",                 "100", {{"torn", 60, 60}},      1},
    {"torn",           "torn@60-63",              "100", {{"torn", 60, 63}},      4},
    {"delay",          "delay:30ms@60",           "100", {},                      1},
    {"jitter",         "jitter:8ms@60",           "100", {},                      0},
    {"reorder",        "reorder@60",              "100", {{"reordered", 60, 60}}, 1},
    {"counter-wrap",   "counter-wrap@60",         "100", {{"counter", 60, 60}},   1},
    {"time-back",      "time-back@60",            "100", {{"time_back", 60, 60}}, 1},
    {"time-back",      "time-back:5ms@60",        "100", {{"time_back", 60, 60}}, 1},
    {"stall",          "stall:200ms@60",          "100", {{"lost", 60, 79}},      1},
    {"wrong-size",     "wrong-size@60",           "100", {{"lost", 60, 60}},      1},
    {"wrong-size",     "wrong-size:100ms@60",     "100", {{"lost", 60, 69}},      1},
    {"garbage-header", "garbage-header@60",       "100", {{"lost", 60, 60}},      1},
    {"garbage-header", "garbage-header:100ms@60", "100", {{"lost", 60, 69}},      1},
    {"recreate",       "recreate@60",             "100", {},                      1},
    {"late-answer",    "late-answer:100ms@60",    "100", {},                      1},
    {"wrong-answer",   "wrong-answer@60",         "100", {},                      1},
    {"crash",          "crash@100",               "0",   {{"stopped", 100, 100}}, 1},
    {"hang",           "hang@100",                "0",   {{"stopped", 100, 100}}, 1},
};
// clang-format on

class EachFaultProgramTest : public FaultRunsTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(EachFaultProgramTest, HostFindsWhatWasInjectedAtTheSameFramesAndNothingElse) {
    const FaultCase& row = GetParam();
    const FaultRun result = run({"--fault", row.fault, "--seed", "7"},
                                {"--count", row.images, "--timeout", test::silenceLimit(row.images)});
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    FrameFindings expected;
    for (const ExpectedFinding& finding : row.findings)
        test::addFindings(expected, finding.finding, finding.first, finding.last);
    // A busy machine may add earlier frames: those that wait unread when the ring is recreated.
    FrameFindings found = test::foundIn(result, kFirst);
    for (const std::string& noted : test::notedIn(result)) found.erase(noted);
    EXPECT_EQ(found, expected) << people();
    EXPECT_EQ(result.verify["seed"], 7);
    EXPECT_THAT(result.names(), testing::ElementsAre(row.name)) << "no other fault";
    const auto strikes = result.faults(row.name);
    if (row.strikes == 0) {
        EXPECT_GT(strikes.size(), 10u);
    } else {
        EXPECT_THAT(strikes, SizeIs(row.strikes));
    }
    const auto counted = [&](const char* key) { return result.verify[key].get<std::size_t>(); };
    EXPECT_LE(counted("injected"), strikes.size()) << "the log goes on while the host compares";
    EXPECT_EQ(counted("injected"), counted("found") + counted("out_of_sight") + counted("invisible"));
    if (row.strikes > 0) {
        EXPECT_EQ(counted("out_of_sight"), 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, EachFaultProgramTest, testing::ValuesIn(kCases));

TEST(EachFaultHasARow, ThatInjectsItEndToEnd) {
    std::set<std::string> known;
    std::set<std::string> tried;
    for (const simulator::FaultRow& row : simulator::faultTable()) known.insert(row.name);
    for (const FaultCase& row : kCases) tried.insert(row.name);
    EXPECT_EQ(tried, known);
}

// The log expects no finding for them either.
TEST_F(FaultRunsTest, FaultsOfAnswersShowInNoImage) {
    const FaultRun result = run({"--fault", "wrong-answer@20", "--fault", "late-answer:1ms@20"}, {"--count", "60"});
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    EXPECT_EQ(result.verify["injected"], 2);
    EXPECT_EQ(result.verify["invisible"], 2);
    EXPECT_THAT(test::expectedIn(result), IsEmpty());
}

TEST_F(FaultRunsTest, SameSeedStrikesAtTheSameFramesAndAnotherSeedElsewhere) {
    const auto strikesWith = [this](const char* seed) {
        const FaultRun result =
            run({"--fault", "drop@p:0.1", "--fault", "torn@p:0.1", "--seed", seed}, {"--count", "120"});
        expectProven(result);
        return std::pair(result.strikesBefore("drop", 120), result.strikesBefore("torn", 120));
    };
    const auto first = strikesWith("7");
    EXPECT_THAT(first.first, SizeIs(testing::Gt(2u)));
    EXPECT_THAT(first.second, SizeIs(testing::Gt(2u)));
    EXPECT_NE(first.first, first.second) << "each fault draws for itself";
    EXPECT_EQ(strikesWith("7"), first);
    EXPECT_NE(strikesWith("8"), first);
}

TEST_F(FaultRunsTest, SeveralFaultsTogetherAreAllFound) {
    const FaultRun result = run({"--fault", "drop@30", "--fault", "torn@every:40", "--fault", "reorder@50", "--fault",
                                 "repeat@60", "--fault", "counter-wrap@70", "--fault", "stall:50ms@85", "--seed", "7"},
                                {"--count", "130"});
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    EXPECT_THAT(test::foundIn(result),
                testing::IsSupersetOf({"lost 30", "torn 40", "reordered 50", "repeated 60", "counter 70", "torn 80",
                                       "lost 85", "lost 89", "torn 120"}));
}

TEST_F(FaultRunsTest, NoFaultsOverridesFaultsAndScenarioSoThatNothingIsFound) {
    const std::string scenario = _folder.file("s.json", R"({"schema":"dorven-scenario/1","faults":["torn@every:2"]})");
    const FaultRun result = run({"--fault", "drop@every:2", "--scenario", scenario, "--no-faults"}, {"--count", "60"});
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    EXPECT_THAT(result.names(), IsEmpty());
    EXPECT_EQ(result.verify["injected"], 0);
    EXPECT_EQ(result.verify["grab"]["torn"], 0);
}

// The log belongs to another run, so it does not explain the host's findings.
TEST_F(FaultRunsTest, FindingsThatTheLogDoesNotHaveFailTheHost) {
    auto host = startVerify({"--count", "100"});
    auto simulator = startSimulator(
        {"--config", _config, "--fps", "100", "--lines", "1000", "--fault", "drop@60", "--fault", "torn@70"});
    _folder.file("faults.jsonl", R"({"schema":"dorven-fault-log/1","event":"run","seed":7})"
                                 "\n"
                                 R"({"event":"fault","fault":"drop","frame":61,)"
                                 R"("expect":[{"finding":"lost","first":61,"last":61}]})"
                                 "\n");
    EXPECT_EQ(host.join(60s), host::kExitFailed);
    simulator.kill();
    const FaultRun result = takeRun(host::kExitFailed);
    EXPECT_EQ(result.verify["matched"], false);
    EXPECT_EQ(result.verify["missed"], 1) << people();
    EXPECT_EQ(result.verify["missed_faults"][0]["frame"], 61);
    const std::string uninjected = result.verify["not_injected_findings"].dump();
    EXPECT_THAT(uninjected, testing::HasSubstr(R"("finding":"lost","first":60,)"));
    EXPECT_THAT(uninjected, testing::HasSubstr(R"("finding":"torn","first":70,)"));
}

class AnswerFaultProgramsTest : public FaultRunsTest {
protected:
    /// Starts a simulator whose answers have the fault from now on.
    test::ChildProcess startSimulatorWith(const std::string& name, const std::string& fault) {
        const std::string scenario =
            _folder.file("s.json", R"({"schema":"dorven-scenario/1","faults":[")" + fault + "\"]}");
        auto simulator =
            startSimulator({"--size", "900x20", "--fps", "50", "--scenario", scenario, "--fault-log", _log});
        EXPECT_TRUE(waitForFaults(name, 1));
        return simulator;
    }
    int askSnap(const char* timeout = "30") {
        return startHost({"ask-snap", "--json", "--timeout", timeout}).join(60s);
    }
    /// Asks again until it ends with this exit code. @return The last exit code.
    int askSnapUntil(int wanted) {
        int exitCode = askSnap();
        for (int attempt = 1; attempt < 20 && exitCode != wanted; ++attempt) exitCode = askSnap();
        return exitCode;
    }
};

// Each frame makes the next answer wrong. While the link is being established, requests get answers for which nobody
// waits any more, and a second request within one frame time gets a correct one.
TEST_F(AnswerFaultProgramsTest, CameraGetsWrongAnswersUntilTheScenarioChanges) {
    auto simulator = startSimulatorWith("wrong-answer", "wrong-answer@from:5");
    EXPECT_EQ(askSnapUntil(host::kExitFailed), host::kExitFailed) << people();
    EXPECT_EQ(data()["echoed"], false);
    EXPECT_EQ(data()["value32"], 0xFFFFFFFEu);
    EXPECT_EQ(data()["first"], ~std::uint64_t{2});
    _folder.file("s.json", R"({"schema":"dorven-scenario/1","faults":[]})");
    EXPECT_EQ(askSnapUntil(0), 0) << people();
    EXPECT_EQ(data()["echoed"], true);
    simulator.kill();
}

// Both sides ask from time to time, and their fifos hold few messages: an answer that has waited this long may find no
// room, and the camera then asks again after two seconds. So not every round trip contains a late answer.
TEST_F(AnswerFaultProgramsTest, CameraWaitsForTheLateAnswer) {
    auto simulator = startSimulatorWith("late-answer", "late-answer:200ms@from:5");
    double longestUs = 0;
    for (int attempt = 0; attempt < 8 && longestUs < 200'000.0; ++attempt) {
        EXPECT_EQ(askSnap(), 0) << people();
        EXPECT_EQ(data()["echoed"], true);
        longestUs = std::max(longestUs, data()["round_trip_us"].get<double>());
    }
    EXPECT_GE(longestUs, 200'000.0);
    simulator.kill();
}

TEST_F(AnswerFaultProgramsTest, CameraGivesUpOnAnAnswerThatIsTooLate) {
    auto simulator = startSimulatorWith("late-answer", "late-answer:1000s@5");
    EXPECT_EQ(askSnap("4"), host::kExitNoImage) << people();
    EXPECT_THAT(people(),
                testing::HasSubstr("dorven-host: no answer from a simulator, though one stands on the link: "));
    simulator.kill();
}

}  // namespace
