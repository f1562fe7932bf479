#include "live_line.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator_presence.h"

namespace {

using host::liveLine;
using host::SecondNumbers;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

SecondNumbers numbers() {
    SecondNumbers numbers;
    numbers.totals.images = 1200;
    numbers.totals.lost = 3;
    numbers.totals.faked = 2;
    numbers.second.fpsMean = 99.94;
    numbers.second.periodP50Us = 10'000.0;
    numbers.second.periodP99Us = 10'126.0;
    numbers.second.periodMaxUs = 12'000.0;
    numbers.second.latencyP50Us = 51.0;
    numbers.second.latencyP99Us = 90.0;
    numbers.second.cpuPercent = 3.4;
    return numbers;
}

TEST(LiveLineTest, HasAllNumbersWithTheirUnits) {
    EXPECT_EQ(liveLine(numbers(), 5000, 200, false),
              "1200 of 5000 images  99.9/s  lost 3  repeated 0  torn 0  faked 2  period 10.00/10.13/12.00 ms  "
              "latency 0.05/0.09 ms  CPU 3 %");
}

TEST(LiveLineTest, NamesUnverifiedImagesAndWhyMostOfThemAre) {
    SecondNumbers some = numbers();
    some.totals.unverified = 120;
    some.totals.unverifiedBecause = {0, 0, 20, 0, 100};
    EXPECT_THAT(liveLine(some, 0, 200, true),
                HasSubstr("faked 2\x1B[0m  \x1B[31munverified 120 (no strip)\x1B[0m  period"));
    some.totals.unverifiedBecause = {0, 0, 120, 0, 0};
    EXPECT_THAT(liveLine(some, 0, 200, false), HasSubstr("  unverified 120 (other lines)  "));
    EXPECT_THAT(liveLine(numbers(), 0, 200, false), Not(HasSubstr("unverified")));
}

TEST(LiveLineTest, HasADashForWhatWasNotMeasured) {
    EXPECT_EQ(liveLine({}, 0, 200, true),
              "0 images  -/s  lost 0  repeated 0  torn 0  faked 0  period -/-/- ms  latency -/- ms  CPU - %");
}

TEST(LiveLineTest, SaysWhatToDoWithoutASimulator) {
    SecondNumbers none;
    none.noSimulator = true;
    EXPECT_EQ(liveLine(none, 0, 120, false), host::kNoSimulator);
    EXPECT_EQ(liveLine(none, 0, 79, false), host::kNoSimulatorInShort);
    EXPECT_EQ(liveLine(none, 0, 24, true), "\x1B[31mno simulator is running:\x1B[0m");
}

TEST(LiveLineTest, LeavesOutWhatTheTerminalHasNoRoomFor) {
    const std::string whole = liveLine(numbers(), 0, 200, false);
    for (std::size_t columns = 0; columns <= whole.size(); ++columns) {
        const std::string line = liveLine(numbers(), 0, columns, false);
        EXPECT_LE(line.size(), columns);
        EXPECT_THAT(whole, StartsWith(line));
    }
    EXPECT_EQ(liveLine(numbers(), 0, whole.size() - 1, false) + "  CPU 3 %", whole);
    EXPECT_EQ(liveLine(numbers(), 0, 19, false), "1200 images  99.9/s");
    EXPECT_EQ(liveLine(numbers(), 0, 18, false), "1200 images");
}

TEST(LiveLineTest, FaultsThatOccurredAreRedAndColoursTakeNoRoom) {
    const std::string plain = liveLine(numbers(), 0, 200, false);
    const std::string line = liveLine(numbers(), 0, plain.size(), true);
    EXPECT_THAT(line, AllOf(HasSubstr("  \x1B[31mlost 3\x1B[0m  repeated 0  torn 0  \x1B[31mfaked 2\x1B[0m  period"),
                            EndsWith("CPU 3 %")));
}

TEST(LiveLineTest, IsWrittenOverAndTakenAwayAtTheEnd) {
    std::ostringstream terminal;
    host::LiveLine line(terminal, 0, false);
    EXPECT_FALSE(line.wantsFrames());
    line.onSecond(numbers());
    EXPECT_THAT(terminal.str(), AllOf(StartsWith("\r1200 images"), EndsWith("\x1B[K")));
    terminal.str("");
    line.onEnd();
    EXPECT_EQ(terminal.str(), "\r\x1B[K");
}

TEST(LiveLineTest, NoColorInTheEnvironmentMeansNoColour) {
    EXPECT_TRUE(host::coloursAreWanted(nullptr));
    EXPECT_TRUE(host::coloursAreWanted(""));
    EXPECT_FALSE(host::coloursAreWanted("1"));
    EXPECT_FALSE(host::coloursAreWanted("0"));
    for (const bool colours : {false, true}) {
        std::ostringstream terminal;
        host::LiveLine line(terminal, 0, colours);
        line.onSecond(numbers());
        EXPECT_THAT(terminal.str(), colours ? testing::Matcher<std::string>(HasSubstr("\x1B[31m"))
                                            : testing::Matcher<std::string>(Not(HasSubstr("\x1B[31m"))));
    }
}

}  // namespace
