#include "grab_limits.h"

#include <cmath>
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

// With all limits that it would set also given, wide enough.
Limits alone(const std::string& option, double limit) {
    Limits limits;
    for (const char* const other :
         {"--max-unverified", "--max-format", "--max-counter", "--max-time-back", "--max-pause-s", "--max-not-saved"})
        limits[rowOf(other)] = 1000;
    limits[rowOf(option)] = limit;
    return limits;
}

std::string told(const Limits& limits, const GrabResults& results) {
    std::ostringstream people;
    tellBrokenLimits(brokenLimits(limits, results), people);
    return people.str();
}

// A grab in which all numbers differ.
GrabResults measured() {
    GrabResults results;
    results.images = 100;
    results.simulated = 70;
    results.lost = 1;
    results.repeated = 2;
    results.reordered = 3;
    results.torn = 4;
    results.faked = 5;
    results.stale = 6;
    results.unverified = 7;
    results.format = 8;
    results.counter = 9;
    results.timeBack = 10;
    results.pauseS = 3.5;
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
    GrabResults results = measured();
    results.notSaved = 12;
    EXPECT_EQ(told(alone(border.option, border.kept), results), "");
    EXPECT_EQ(told(alone(border.option, border.broken), results),
              std::string("dorven-host: limit broken: ") + border.option + ' ' + border.told + '\n');
}

INSTANTIATE_TEST_SUITE_P(Rows, GrabLimitTest,
                         testing::Values(Border{"--max-lost", 1, 0, "0: lost 1 images"},
                                         Border{"--max-repeated", 2, 1, "1: repeated 2 images"},
                                         Border{"--max-reordered", 3, 2, "2: reordered 3 images"},
                                         Border{"--max-torn", 4, 3, "3: torn 4 images"},
                                         Border{"--max-faked", 5, 4, "4: faked 5 images"},
                                         Border{"--max-not-saved", 12, 11, "11: not_saved 12 images"},
                                         Border{"--max-jitter-us", 60.5, 60.4, "60.400: jitter_p99_us 60.500 us"},
                                         Border{"--max-latency-us", 70.6, 70.5, "70.500: latency_max_us 70.500 us"},
                                         Border{"--min-fps", 80.5, 80.6, "80.600: fps_mean 80.500 images/s"},
                                         Border{"--min-images", 100, 101, "101: images 100 images"},
                                         Border{"--max-stale", 6, 5, "5: stale 6 images"},
                                         Border{"--max-unverified", 7, 6, "6: unverified 7 images"},
                                         Border{"--max-format", 8, 7, "7: format 8 images"},
                                         Border{"--max-counter", 9, 8, "8: counter 9 images"},
                                         Border{"--max-time-back", 10, 9, "9: time_back 10 images"},
                                         Border{"--max-pause-s", 3.5, 3.4, "3.400: pause_s 3.500 s"}));

TEST(GrabLimitsTest, EveryRowHasABorderTestAndItsOwnOption) {
    std::set<std::string> options;
    for (const auto& row : limitRows()) options.insert(row.option);
    EXPECT_EQ(options.size(), 16u);
}

// The limits in force that were not given, each with its value and the option that set it.
std::string setBy(const Limits& given) {
    std::string text;
    const auto limits = host::limitsInForce(given);
    for (std::size_t index = 0; index < host::kLimitCount; ++index) {
        EXPECT_TRUE(limits[index] || !given[index]) << "what was given counts";
        if (limits[index] && limits[index]->setBy)
            text += std::string(limitRows()[index].option) + ' ' + std::to_string(std::lround(limits[index]->limit)) +
                    " by " + limits[index]->setBy + '\n';
    }
    return text;
}

std::string verifiedBy(const std::string& option) {
    std::string text;
    for (const char* const limit : {"--max-unverified", "--max-format", "--max-counter", "--max-time-back"})
        if (limit != option) text += std::string(limit) + " 0 by " + option + '\n';
    return text;
}

TEST(GrabLimitsTest, WhoeverLimitsACountOrTheRateHasEveryImageVerified) {
    EXPECT_EQ(setBy({}), "");
    for (const auto& row : limitRows()) {
        const std::string option = row.option;
        const bool counts = option != "--max-latency-us" && option != "--max-jitter-us" && option != "--max-pause-s";
        const std::string pause = option == "--min-fps" ? "--max-pause-s 2 by --min-fps\n" : "";
        EXPECT_EQ(setBy(only(option, 1)), counts ? verifiedBy(option) + pause : "") << option;
    }
}

TEST(GrabLimitsTest, GivenLimitsWinOverThoseThatOthersSet) {
    Limits limits = only("--min-fps", 50);
    limits[rowOf("--max-unverified")] = 12;
    limits[rowOf("--max-pause-s")] = 100;
    const auto inForce = host::limitsInForce(limits);
    EXPECT_EQ(inForce[rowOf("--max-unverified")]->limit, 12);
    EXPECT_EQ(inForce[rowOf("--max-unverified")]->setBy, nullptr);
    EXPECT_EQ(inForce[rowOf("--max-pause-s")]->limit, 100);
    EXPECT_EQ(inForce[rowOf("--max-pause-s")]->setBy, nullptr);
    EXPECT_STREQ(inForce[rowOf("--max-format")]->setBy, "--min-fps");
}

TEST(GrabLimitsTest, LimitThatAnotherSetIsToldWithTheOneThatWasGiven) {
    GrabResults results = measured();
    results.unverified = 20;
    results.format = results.counter = results.timeBack = 0;
    EXPECT_EQ(told(only("--max-lost", 1), results),
              "dorven-host: limit broken: --max-unverified 0 (the default with --max-lost): unverified 20 images\n");
}

TEST(GrabLimitsTest, NoImageMayBeLeftOutOfAGrabThatSavesUnlessItIsAllowed) {
    GrabResults results;
    results.images = 100;
    EXPECT_EQ(told({}, results), "");
    results.notSaved = 1;
    EXPECT_EQ(told({}, results),
              "dorven-host: limit broken: --max-not-saved 0 (the default with --output): not_saved 1 images\n");
    EXPECT_EQ(told(only("--max-not-saved", 1), results), "");
    const auto inForce = host::limitsInForce({}, true);
    EXPECT_FALSE(inForce[rowOf("--max-unverified")]) << "a limit that nobody gave sets no other";
}

TEST(GrabLimitsTest, ALimitOnSavingIsKeptWhereNothingWasToBeSaved) {
    GrabResults results;
    results.images = 100;
    EXPECT_EQ(told(only("--max-not-saved", 5), results), "");
}

TEST(GrabLimitsTest, ImagesThatAreAllTornPassNoLimitThatCounts) {
    GrabResults results;
    results.images = results.torn = 100;
    EXPECT_EQ(told({}, results), "");
    EXPECT_EQ(told(only("--max-latency-us", 1e6), results).find("--max-torn"), std::string::npos);
    EXPECT_EQ(told(only("--min-images", 100), results),
              "dorven-host: limit broken: --max-torn 0 (the default with --min-images): torn 100 images\n");
    Limits torn = only("--min-images", 100);
    torn[rowOf("--max-torn")] = 100;
    EXPECT_EQ(told(torn, results), "") << "a value of one's own wins";
    results.simulated = 1;
    EXPECT_EQ(told(only("--min-images", 100), results), "") << "some were verified";
}

TEST(GrabLimitsTest, StaleImagesBreakOnlyTheLimitThatIsGivenForThem) {
    GrabResults results;
    results.images = 100;
    results.stale = 8;
    EXPECT_EQ(told(only("--min-images", 100), results), "");
    EXPECT_EQ(told(only("--max-stale", 0), results), "dorven-host: limit broken: --max-stale 0: stale 8 images\n");
}

TEST(GrabLimitsTest, LimitOnWhatWasNotMeasuredIsBroken) {
    for (const char* option : {"--max-jitter-us", "--max-latency-us", "--max-pause-s"}) {
        EXPECT_EQ(told(only(option, 0), {}), std::string("dorven-host: limit broken: ") + option +
                                                 " 0.000: " + limitRows()[rowOf(option)].key + " was not measured\n");
    }
    EXPECT_EQ(
        told(only("--min-fps", 0), {}),
        "dorven-host: limit broken: --min-fps 0.000: fps_mean was not measured\n"
        "dorven-host: limit broken: --max-pause-s 2.000 (the default with --min-fps): pause_s was not measured\n");
    EXPECT_EQ(told(only("--max-lost", 0), {}), "");
}

TEST(GrabLimitsTest, BrokenOnesComeInTheOrderOfTheRows) {
    Limits limits = alone("--min-fps", 1000);
    limits[rowOf("--max-torn")] = 0;
    limits[rowOf("--max-lost")] = 1;
    const auto broken = brokenLimits(limits, measured());
    ASSERT_EQ(broken.size(), 2u);
    EXPECT_STREQ(broken[0].row->option, "--max-torn");
    EXPECT_EQ(broken[0].value, 4.0);
    EXPECT_EQ(broken[0].limit, 0.0);
    EXPECT_STREQ(broken[1].row->option, "--min-fps");
}

TEST(GrabLimitsTest, LimitsThatCountImagesNeedASimulatorUnlessFakedOnesAreAllowed) {
    EXPECT_FALSE(host::needSimulator({}));
    for (const char* option : {"--max-lost", "--max-faked", "--min-fps", "--min-images", "--max-stale"})
        EXPECT_TRUE(host::needSimulator(only(option, 0))) << option;
    for (const char* option : {"--max-jitter-us", "--max-latency-us", "--max-pause-s"})
        EXPECT_FALSE(host::needSimulator(only(option, 0))) << option;
    Limits allowing = only("--min-images", 100);
    allowing[rowOf("--max-faked")] = 1;
    EXPECT_FALSE(host::needSimulator(allowing));
}

TEST(GrabLimitsTest, LatencyLimitIsTheLateImagesInNanoseconds) {
    EXPECT_EQ(host::latencyLimitNs({}), std::nullopt);
    EXPECT_EQ(host::latencyLimitNs(only("--max-latency-us", 1.5)), 1500);
    EXPECT_EQ(host::latencyLimitNs(only("--max-latency-us", 0.0001)), 1) << "an image at the limit is late";
}

}  // namespace
