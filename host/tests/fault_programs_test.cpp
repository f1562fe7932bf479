// Every fault that can be provoked, end to end: the simulator injects it at known frames, and the host finds exactly
// that in the images, and nothing else.
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault_runs.h"
#include "fault_spec.h"
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
    const char* name;   // as in the table of faults
    const char* fault;  // as on the command line
    const char* images = "100";
    std::vector<ExpectedFinding> findings = {};  // all there are, but lateness
    std::size_t strikes = 1;                     // 0: drawn by the seed, at least one
};

void PrintTo(const FaultCase& row, std::ostream* stream) { *stream << row.fault; }

// The frames lie behind the first half second, when the host grabs for sure, even on a busy machine.
const FaultCase kCases[] = {
    {"drop", "drop@60", "100", {{"lost", 60, 60}}},
    {"drop", "drop@60-64", "100", {{"lost", 60, 64}}, 5},
    {"drop", "drop@t:600ms", "100", {{"lost", 60, 60}}},
    {"repeat", "repeat@60", "100", {{"repeated", 60, 60}}},
    {"torn", "torn@60", "100", {{"torn", 60, 60}}},
    {"torn", "torn@60-63", "100", {{"torn", 60, 63}}, 4},
    {"delay", "delay:30ms@60"},
    {"jitter", "jitter:8ms@60", "100", {}, 0},
    {"reorder", "reorder@60", "100", {{"reordered", 60, 60}}},
    {"counter-wrap", "counter-wrap@60", "100", {{"counter", 60, 60}}},
    {"time-back", "time-back@60", "100", {{"time_back", 60, 60}}},
    {"time-back", "time-back:5ms@60", "100", {{"time_back", 60, 60}}},
    {"stall", "stall:200ms@60", "100", {{"lost", 60, 79}}},
    {"wrong-size", "wrong-size@60", "100", {{"lost", 60, 60}}},
    {"wrong-size", "wrong-size:100ms@60", "100", {{"lost", 60, 69}}},
    {"garbage-header", "garbage-header@60", "100", {{"lost", 60, 60}}},
    {"garbage-header", "garbage-header:100ms@60", "100", {{"lost", 60, 69}}},
    {"recreate", "recreate@60"},
    {"late-answer", "late-answer:100ms@60"},
    {"wrong-answer", "wrong-answer@60"},
    {"crash", "crash@100", "0", {{"stopped", 100, 100}}},
    {"hang", "hang@100", "0", {{"stopped", 100, 100}}},
};

class EachFaultProgramTest : public FaultRunsTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(EachFaultProgramTest, HostFindsWhatWasInjectedAtTheSameFramesAndNothingElse) {
    const FaultCase& row = GetParam();
    const FaultRun result =
        run({"--fault", row.fault, "--seed", "7"}, {"--count", row.images, "--timeout", "6"});
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    FrameFindings expected;
    for (const ExpectedFinding& finding : row.findings)
        test::addFindings(expected, finding.finding, finding.first, finding.last);
    EXPECT_THAT(test::foundIn(result), testing::IsSupersetOf(expected)) << people();
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

}  // namespace
