#include "grab_report.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::GrabResults;
using testing::HasSubstr;

TEST(GrabReportTest, JsonIsOneFlatLineWithEveryKeyInOrder) {
    GrabResults results;
    results.images = 300;
    results.simulated = 290;
    results.faked = 1;
    results.unverified = 2;
    results.lost = 3;
    results.repeated = 4;
    results.reordered = 5;
    results.torn = 7;
    results.fpsMean = 99.5;
    results.periodP50Us = 10000.25;
    results.periodP99Us = 11000.0;
    results.periodMaxUs = 12000.0;
    results.latencyP50Us = 50.0;
    results.latencyP99Us = 90.5;
    results.mbPerS = 131.0;
    std::ostringstream stream;
    printJson(results, stream);
    EXPECT_EQ(stream.str(),
              "{\"schema\":1,\"images\":300,\"simulated\":290,\"faked\":1,\"unverified\":2,\"lost\":3,\"repeated\":4,"
              "\"reordered\":5,\"torn\":7,\"fps_mean\":99.5,\"period_p50_us\":10000.25,\"period_p99_us\":11000.0,"
              "\"period_max_us\":12000.0,\"latency_p50_us\":50.0,\"latency_p99_us\":90.5,\"mb_per_s\":131.0}\n");
}

TEST(GrabReportTest, JsonHasNullForWhatWasNotMeasured) {
    std::ostringstream stream;
    host::printJson({}, stream);
    EXPECT_THAT(stream.str(), HasSubstr("\"images\":0,"));
    for (const char* key : {"fps_mean", "period_p50_us", "period_p99_us", "period_max_us", "latency_p50_us",
                            "latency_p99_us", "mb_per_s"})
        EXPECT_THAT(stream.str(), HasSubstr(std::string("\"").append(key).append("\":null")));
}

TEST(GrabReportTest, TableHasALinePerNumberWithItsUnit) {
    GrabResults results;
    results.images = 300;
    results.torn = 7;
    results.latencyP50Us = 50.04;
    std::ostringstream stream;
    printTable(results, stream);
    EXPECT_THAT(stream.str(), HasSubstr("images                300\n"));
    EXPECT_THAT(stream.str(), HasSubstr("torn                    7\n"));
    EXPECT_THAT(stream.str(), HasSubstr("latency p50          50.0 us\n"));
    EXPECT_THAT(stream.str(), HasSubstr("mean rate               -\n"));
}

}  // namespace
