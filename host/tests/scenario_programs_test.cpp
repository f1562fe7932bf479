// Scenario files end to end: each installed one, and one that changes while images flow.
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault_runs.h"
#include "host_options.h"

namespace {

using test::FaultRun;
using test::FaultRunsTest;
using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

const std::string kScenarios = DORVEN_SOURCE_DIR "/scenarios/";

std::string scenarioText(const std::string& faults) {
    return R"({"schema":"dorven-scenario/1","faults":[)" + faults + "]}";
}

struct ScenarioCase {
    const char* file;
    const char* fps;
    const char* images;           // that the host takes; 0: until they stop
    std::set<std::string> names;  // names of the faults that strike meanwhile
};

void PrintTo(const ScenarioCase& row, std::ostream* stream) { *stream << row.file; }

// clang-format off
const ScenarioCase kCases[] = {
    {"busy-machine.json", "100", "1490", {"jitter", "delay", "stall"}                },
    {"flaky-link.json",   "500", "800",  {"drop", "repeat", "reorder"}               },
    {"odd-clocks.json",   "500", "750",  {"counter-wrap", "time-back"}               },
    {"restarts.json",     "500", "600",  {"recreate", "wrong-size", "garbage-header"}},
    {"sudden-end.json",   "100", "0",    {"crash"}                                   },
    {"torn-frames.json",  "500", "300",  {"torn"}                                    },
};
// clang-format on

class EachScenarioTest : public FaultRunsTest, public testing::WithParamInterface<ScenarioCase> {};

TEST_P(EachScenarioTest, HostFindsEveryFaultOfItAndNothingElse) {
    const ScenarioCase& row = GetParam();
    const FaultRun result = run({"--scenario", kScenarios + row.file, "--fps", row.fps, "--lines", "1000"},
                                {"--count", row.images, "--timeout", test::silenceLimit(row.images)});
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    EXPECT_EQ(result.names(), row.names);
    EXPECT_GE(result.verify["found"], 1);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, EachScenarioTest, testing::ValuesIn(kCases));

TEST(EachScenarioFileHasARow, ThatRunsItEndToEnd) {
    std::set<std::string> files;
    std::set<std::string> tried{"scenario.schema.json"};
    for (const auto& entry : std::filesystem::directory_iterator(kScenarios))
        files.insert(entry.path().filename().string());
    for (const ScenarioCase& row : kCases) tried.insert(row.file);
    EXPECT_EQ(tried, files);
}

TEST_F(FaultRunsTest, ScenarioThatChangesCountsFromThenOnWithoutAFrameUnaccountedFor) {
    const std::string scenario = _folder.file("s.json", scenarioText(R"("drop@every:7")"));
    auto host = startVerify({"--timeout", test::silenceLimit("0")});
    auto simulator = startFaults({"--scenario", scenario});
    EXPECT_TRUE(waitForFaults("drop", 3));
    _folder.file("s.json", scenarioText(R"("torn@every:10")"));
    EXPECT_TRUE(waitForFaults("torn", 3));
    _folder.file("s.json", scenarioText("no scenario"));  // what is in force stays so
    const std::size_t before = takeRun(0).faults("torn").size();
    EXPECT_TRUE(waitForFaults("torn", before + 8));
    _folder.file("s.json", scenarioText(R"("crash")"));
    const int exitCode = host.join(60s);
    EXPECT_EQ(simulator.join(60s), 1);
    const FaultRun result = takeRun(exitCode);
    ASSERT_NO_FATAL_FAILURE(expectProven(result));
    const auto drops = result.strikesBefore("drop", UINT64_MAX);
    const auto tears = result.strikesBefore("torn", UINT64_MAX);
    ASSERT_FALSE(drops.empty() || tears.empty());
    EXPECT_LT(drops.back(), tears.front());
    EXPECT_EQ(result.verify["grab"]["stopped"], 1);
    EXPECT_EQ(result.verify["grab"]["lost"], drops.size());
    EXPECT_EQ(result.verify["grab"]["torn"], tears.size());
}

}  // namespace
