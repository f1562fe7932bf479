#include "grab_limits.h"

#include <ostream>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::GrabResults;
using host::limitRows;
using host::Limits;
using testing::ElementsAre;
using testing::IsEmpty;

std::size_t rowOf(const std::string& option) {
    for (std::size_t index = 0; index < host::kLimitCount; ++index)
        if (limitRows()[index].option == option) return index;
    ADD_FAILURE() << option;
    return 0;
}

Limits only(const std::string& option, double limit) {
    Limits limits;
    limits[rowOf(option)] = limit;
    return limits;
}

std::string told(const Limits& limits, const GrabResults& results) {
    std::ostringstream people;
    tellBrokenLimits(brokenLimits(limits, results), people);
    return people.str();
}

// A grab in which every number is another one.
GrabResults measured() {
    GrabResults results;
    results.images = 100;
    results.lost = 1;
    results.repeated = 2;
    results.reordered = 3;
    results.torn = 4;
    results.faked = 5;
    results.notSaved = 6;
    results.jitterP99Us = 60.5;
    results.latencyMaxUs = 70.5;
    results.fpsMean = 80.5;
    return results;
}

TEST(GrabLimitsTest, NoLimitIsBrokenWhenNoneIsGiven) {
    EXPECT_THAT(brokenLimits({}, measured()), IsEmpty());
    EXPECT_EQ(told({}, measured()), "");
}

struct Border {
    const char* option;
    double kept;    // the value itself, or for a limit to stay below just above it
    double broken;  // just beyond
    const char* told;
};

void PrintTo(const Border& row, std::ostream* stream) { *stream << row.option; }

class GrabLimitTest : public testing::TestWithParam<Border> {};

TEST_P(GrabLimitTest, IsKeptAtTheBorderAndBrokenBeyond) {
    const Border& border = GetParam();
    EXPECT_EQ(told(only(border.option, border.kept), measured()), "");
    EXPECT_EQ(told(only(border.option, border.broken), measured()),
              std::string("dorven-host: limit broken: ") + border.option + ' ' + border.told + '\n');
}

INSTANTIATE_TEST_SUITE_P(Rows, GrabLimitTest,
                         testing::Values(Border{"--max-lost", 1, 0, "0: lost 1 images"},
                                         Border{"--max-repeated", 2, 1, "1: repeated 2 images"},
                                         Border{"--max-reordered", 3, 2, "2: reordered 3 images"},
                                         Border{"--max-torn", 4, 3, "3: torn 4 images"},
                                         Border{"--max-faked", 5, 4, "4: faked 5 images"},
                                         Border{"--max-not-saved", 6, 5, "5: not_saved 6 images"},
                                         Border{"--max-jitter-us", 60.5, 60.4, "60.400: jitter_p99_us 60.500 us"},
                                         Border{"--max-latency-us", 70.6, 70.5, "70.500: latency_max_us 70.500 us"},
                                         Border{"--min-fps", 80.5, 80.6, "80.600: fps_mean 80.500 images/s"},
                                         Border{"--min-images", 100, 101, "101: images 100 images"}));

TEST(GrabLimitsTest, EveryRowHasABorderTestAndItsOwnOption) {
    std::set<std::string> options;
    for (const auto& row : limitRows()) options.insert(row.option);
    EXPECT_EQ(options.size(), host::kLimitCount);
}

TEST(GrabLimitsTest, WhatWasNotMeasuredKeepsNoLimit) {
    for (const char* option : {"--max-jitter-us", "--max-latency-us", "--min-fps"}) {
        EXPECT_EQ(told(only(option, 0), {}), std::string("dorven-host: limit broken: ") + option +
                                                 " 0.000: " + limitRows()[rowOf(option)].key + " was not measured\n");
    }
    EXPECT_EQ(told(only("--max-lost", 0), {}), "");
}

TEST(GrabLimitsTest, BrokenOnesComeInTheOrderOfTheRows) {
    Limits limits = only("--min-fps", 1000);
    limits[rowOf("--max-torn")] = 0;
    limits[rowOf("--max-lost")] = 1;
    const auto broken = brokenLimits(limits, measured());
    ASSERT_EQ(broken.size(), 2u);
    EXPECT_STREQ(broken[0].row->option, "--max-torn");
    EXPECT_EQ(broken[0].value, 4.0);
    EXPECT_EQ(broken[0].limit, 0.0);
    EXPECT_STREQ(broken[1].row->option, "--min-fps");
}

TEST(GrabLimitsTest, LatencyLimitIsTheLateImagesInNanoseconds) {
    EXPECT_EQ(host::latencyLimitNs({}), std::nullopt);
    EXPECT_EQ(host::latencyLimitNs(only("--max-latency-us", 1.5)), 1500);
    EXPECT_EQ(host::latencyLimitNs(only("--max-latency-us", 0.0001)), 1) << "an image at the limit is late";
}

}  // namespace
