#include "grab_table.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "grab_limits.h"

namespace {

using host::GrabReport;
using host::hasTable;
using testing::HasSubstr;
using testing::Not;

GrabReport report(std::uint64_t images) {
    GrabReport report;
    report.end = "count";
    report.results.images = report.results.simulated = images;
    return report;
}

std::string table(const GrabReport& report, const host::TableStyle& style = {}) {
    std::ostringstream stream;
    printTable(report, style, stream);
    return stream.str();
}

TEST(GrabVerdictTest, SaysInOneLineHowTheGrabWent) {
    EXPECT_EQ(grabVerdict(report(300)), "300 images, all verified, nothing lost");
    EXPECT_EQ(grabVerdict(report(1)), "1 image, all verified, nothing lost");
    EXPECT_EQ(grabVerdict(report(1234567)), "1,234,567 images, all verified, nothing lost");
    GrabReport torn = report(300);
    torn.results.simulated = 298;
    torn.results.torn = 2;
    torn.results.lost = 1000;
    EXPECT_EQ(grabVerdict(torn), "300 images, 298 verified, 1,000 lost, 2 torn");
}

TEST(GrabVerdictTest, ClaimsNothingOfWhatNobodyKnows) {
    GrabReport stripless = report(60);
    stripless.results.simulated = 0;
    stripless.results.unverified = 60;
    EXPECT_EQ(grabVerdict(stripless), "60 images, none verified, 60 not verified");
    GrabReport faked = report(60);
    faked.results.simulated = 0;
    faked.results.faked = 60;
    EXPECT_EQ(grabVerdict(faked), "60 images, all faked by the camera");
}

TEST(GrabVerdictTest, SaysWhenTheGrabEndedBeforeItsTimeOrALimitIsBroken) {
    GrabReport ended = report(20);
    ended.end = "no_image";
    EXPECT_EQ(grabVerdict(ended), "20 images, all verified, nothing lost; then no more came");
    ended.end = "stop";
    ended.limitsBroken = {{&host::limitRows()[0], 2.0, 3.0}};
    EXPECT_EQ(grabVerdict(ended), "20 images, all verified, nothing lost; 1 limit broken");
    EXPECT_EQ(grabVerdict(GrabReport{{}, "stop", {}}), "no images");
}

TEST(GrabVerdictTest, FitsIntoALineOfATerminalWhateverWentWrong) {
    GrabReport bad = report(123'456'789);
    auto& results = bad.results;
    results.simulated = results.torn = results.faked = results.unverified = 23'456'789;
    results.lost = results.repeated = results.reordered = 23'456'789;
    bad.end = "connection_lost";
    bad.limitsBroken.resize(10, {&host::limitRows()[0], 2.0, 3.0});
    EXPECT_EQ(grabVerdict(bad),
              "123,456,789 images, 23,456,789 verified, 23,456,789 lost, and more;\n"
              "then the simulator was lost; 10 limits broken");
}

TEST(GrabTableTest, ShowsWhatIsNotZeroAndEverythingOnRequest) {
    GrabReport some = report(5000);
    some.results.stale = 4321;
    some.results.fpsMean = 99.96;
    const std::string text = table(some);
    EXPECT_EQ(text,
              "5,000 images, all verified, nothing lost\n"
              "\n"
              "stale               4,321\n"
              "\n"
              "rate                100.0 images/s\n");
    const std::string all = table(some, {true});
    for (const char* line :
         {"\nimages              5,000\n", "\nsimulated           5,000\n", "\nlost                    0\n",
          "\nlatency                 -           -           -\n", "\ndata rate               -\n"})
        EXPECT_THAT(all, HasSubstr(line));
}

TEST(GrabTableTest, TimesHaveOneUnitForAllOfThem) {
    GrabReport slow = report(5);
    slow.results.periodP50Us = 10'006.3;
    slow.results.periodP99Us = 18'280.0;
    slow.results.periodMaxUs = 1'218'280.0;
    slow.results.latencyP50Us = 51.2;
    slow.results.latencyP99Us = 90.0;
    slow.results.latencyMaxUs = 5637.1;
    slow.results.jitterP99Us = 8273.7;
    EXPECT_THAT(table(slow), HasSubstr("\n"
                                       "times in ms           p50         p99         max\n"
                                       "period             10.006      18.280   1,218.280\n"
                                       "latency             0.051       0.090       5.637\n"
                                       "jitter                  -       8.274           -\n"));
    slow.results.periodP99Us = slow.results.periodMaxUs = slow.results.periodP50Us = 9999.94;
    EXPECT_THAT(table(slow), HasSubstr("\n"
                                       "times in us           p50         p99         max\n"
                                       "period            9,999.9     9,999.9     9,999.9\n"
                                       "latency              51.2        90.0     5,637.1\n"));
    EXPECT_THAT(table(slow, {false, "\u00B5s"}), HasSubstr("times in \u00B5s           p50"));
}

TEST(GrabTableTest, PauseShowsWhenThereWasOne) {
    GrabReport paused = report(5);
    paused.results.pauseS = 0.0;
    EXPECT_THAT(table(paused), Not(HasSubstr("paused")));
    paused.results.pauseS = 8.5;
    EXPECT_THAT(table(paused), HasSubstr("paused                8.5 s\n"));
}

TEST(GrabTableTest, GrabThatCouldNotStartOrHadNoImageHasNone) {
    EXPECT_FALSE(hasTable(GrabReport{{}, "failed", {}}));
    EXPECT_FALSE(hasTable(GrabReport{{}, "no_image", {}}));
    EXPECT_TRUE(hasTable(GrabReport{{}, "stop", {}}));
    GrabReport ended = report(1);
    ended.end = "failed";
    EXPECT_TRUE(hasTable(ended));
    EXPECT_EQ(table(GrabReport{{}, "stop", {}}), "no images\n");
}

}  // namespace
