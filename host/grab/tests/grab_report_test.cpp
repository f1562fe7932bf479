#include "grab_report.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

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
    results.stale = 8;
    results.format = 9;
    results.counter = 10;
    results.timeBack = 11;
    results.late = 12;
    results.stopped = 1;
    results.restarts = 13;
    results.pauses = 2;
    results.pauseS = 8.5;
    results.jitterP99Us = 20.5;
    results.latencyMaxUs = 91.5;
    results.cpuPercent = 3.5;
    results.durationS = 3.25;
    results.lateFromUs = 80.0;
    results.sight = host::FrameRange{7, 306};
    results.saved = 14;
    results.notSaved = 15;
    results.notSavedReason = "disk";
    host::GrabReport report{
        results, "count", {{&host::limitRows()[0], 2.0, 3.0}, {&host::limitRows()[5], 2.5, {}}}, host::FindingList(3)};
    report.findings.add({host::FindingKind::lost, {8, 10}, {}});
    report.findings.add({host::FindingKind::late, {12, 12}, 91.5});
    report.findings.add({host::FindingKind::stopped, {307, 307}, {}});
    report.findings.add({host::FindingKind::torn, {20, 20}, {}});
    std::ostringstream stream;
    printJson(report, stream);
    EXPECT_EQ(stream.str(),
              "{\"schema\":\"dorven-grab/"
              "2\",\"images\":300,\"simulated\":290,\"faked\":1,\"unverified\":2,\"lost\":3,\"repeated\":4,"
              "\"reordered\":5,\"torn\":7,\"stale\":8,\"format\":9,\"counter\":10,\"time_back\":11,\"late\":12,"
              "\"stopped\":1,\"restarts\":13,\"pauses\":2,"
              "\"fps_mean\":99.5,\"period_p50_us\":10000.25,\"period_p99_us\":11000.0,"
              "\"period_max_us\":12000.0,\"jitter_p99_us\":20.5,\"latency_p50_us\":50.0,\"latency_p99_us\":90.5,"
              "\"latency_max_us\":91.5,\"mb_per_s\":131.0,\"cpu_percent\":3.5,\"duration_s\":3.25,\"pause_s\":8.5,"
              "\"saved\":14,\"not_saved\":15,\"not_saved_reason\":\"disk\","
              "\"first_frame\":7,\"last_frame\":306,\"end\":\"count\",\"late_from_us\":80.0,"
              "\"limits_broken\":[{\"option\":\"--max-lost\",\"key\":\"lost\",\"value\":3.0,\"limit\":2.0},"
              "{\"option\":\"--max-jitter-us\",\"key\":\"jitter_p99_us\",\"value\":null,\"limit\":2.5}],"
              "\"findings\":[{\"finding\":\"lost\",\"first\":8,\"last\":10},"
              "{\"finding\":\"late\",\"first\":12,\"last\":12,\"latency_us\":91.5},"
              "{\"finding\":\"stopped\",\"first\":307}],\"findings_omitted\":1}\n");
}

TEST(GrabReportTest, JsonHasNullForWhatWasNotMeasured) {
    std::ostringstream stream;
    host::printJson({}, stream);
    EXPECT_THAT(stream.str(), HasSubstr("\"images\":0,"));
    for (const char* key :
         {"fps_mean", "period_p50_us", "period_p99_us", "period_max_us", "jitter_p99_us", "latency_p50_us",
          "latency_p99_us", "latency_max_us", "mb_per_s", "cpu_percent", "duration_s", "pause_s", "saved", "not_saved",
          "not_saved_reason", "first_frame", "last_frame", "late_from_us"})
        EXPECT_THAT(stream.str(), HasSubstr(std::string("\"").append(key).append("\":null")));
    EXPECT_THAT(stream.str(), HasSubstr("\"limits_broken\":[],\"findings\":[],\"findings_omitted\":0}"));
}

nlohmann::json parsed(const std::ostringstream& stream) { return nlohmann::json::parse(stream.str(), nullptr, false); }

TEST(JsonLinesTest, SecondHasItsOwnNumbersAndTheTotals) {
    std::ostringstream stream;
    host::JsonLines lines(stream, false);
    host::SecondNumbers numbers;
    numbers.elapsedS = 1.0;
    numbers.lengthS = 1.0;
    numbers.totals.images = 100;
    numbers.totals.lost = 5;
    numbers.second.fpsMean = 100.0;
    lines.onSecond(numbers);
    stream.str("");
    numbers.elapsedS = 2.5;
    numbers.lengthS = 1.5;
    numbers.totals.images = 220;
    numbers.totals.lost = 4;
    numbers.second.fpsMean = 80.0;
    numbers.second.latencyP99Us = 12.5;
    lines.onSecond(numbers);
    const auto second = parsed(stream);
    EXPECT_EQ(second["schema"], "dorven-grab/2");
    EXPECT_EQ(second["event"], "second");
    EXPECT_EQ(second["elapsed_s"], 2.5);
    EXPECT_EQ(second["length_s"], 1.5);
    EXPECT_EQ(second["images"], 120);
    EXPECT_EQ(second["images_total"], 220);
    EXPECT_EQ(second["lost"], -1) << "one came after all";
    EXPECT_EQ(second["lost_total"], 4);
    EXPECT_EQ(second["fps_mean"], 80.0);
    EXPECT_EQ(second["latency_p99_us"], 12.5);
    EXPECT_TRUE(second["period_p50_us"].is_null());
    EXPECT_FALSE(second.contains("duration_s") || second.contains("pause_s"));
}

TEST(JsonLinesTest, FrameHasItsTimesInTheUnitsOfItsKeys) {
    std::ostringstream stream;
    host::JsonLines lines(stream, true);
    EXPECT_TRUE(lines.wantsFrames());
    host::FrameRow row;
    row.image = 3;
    row.kind = frames::ImageKind::torn;
    row.number = 41;
    row.timeStampNs = 9'000'000'001;
    row.counter = 42;
    row.recordTimeStampUs = 9'000'000;
    row.arrivalNs = 9'000'055'001;
    row.periodNs = 10'000'500;
    row.latencyNs = 55'000;
    const host::FrameRow faked{4, frames::ImageKind::faked, {}, {}, 43, 9, 10, {}, {}};
    const host::FrameRow rows[] = {row, faked};
    lines.onFrames(rows);
    EXPECT_EQ(stream.str(),
              "{\"schema\":\"dorven-grab/"
              "2\",\"event\":\"frame\",\"image\":3,\"number\":41,\"kind\":\"torn\",\"period_us\":10000.5,"
              "\"latency_us\":55.0,\"time_stamp_ns\":9000000001,\"arrival_ns\":9000055001,\"record_counter\":42,"
              "\"record_time_stamp_us\":9000000}\n"
              "{\"schema\":\"dorven-grab/"
              "2\",\"event\":\"frame\",\"image\":4,\"number\":null,\"kind\":\"faked\",\"period_us\":null,"
              "\"latency_us\":null,\"time_stamp_ns\":null,\"arrival_ns\":10,\"record_counter\":43,"
              "\"record_time_stamp_us\":9}\n");
}

TEST(JsonLinesTest, LastLineIsTheWholeReport) {
    std::ostringstream stream;
    host::GrabReport report;
    report.end = "stop";
    report.results.images = 3;
    host::JsonLines(stream, false).printEnd(report, 0);
    auto end = parsed(stream);
    EXPECT_EQ(end["event"], "end");
    EXPECT_EQ(end["images"], 3);
    EXPECT_EQ(end["end"], "stop");
    EXPECT_FALSE(end.contains("frames_omitted"));
    stream.str("");
    host::JsonLines(stream, true).printEnd(report, 17);
    EXPECT_EQ(parsed(stream)["frames_omitted"], 17);
}

std::string unverified(const GrabResults& results) {
    std::ostringstream people;
    tellUnverified(results, people);
    return people.str();
}

TEST(GrabReportTest, WhatWasNotVerifiedIsToldWithItsReason) {
    GrabResults results;
    EXPECT_EQ(unverified(results), "");
    results.images = results.simulated = 300;
    EXPECT_EQ(unverified(results), "");
    results.images = 306;
    results.unverified = 6;
    results.unverifiedBecause = {0, 1, 2, 0, 3};
    EXPECT_EQ(unverified(results),
              "dorven-host: not verified: 1 of 306 images: they are too small for a strip, which takes lines of 128 "
              "bytes or more\n"
              "dorven-host: not verified: 2 of 306 images: the simulator's lines have another length than the "
              "camera's; give both the same --config\n"
              "dorven-host: not verified: 3 of 306 images: they have no strip; a simulator makes such images with "
              "--no-strip\n");
}

TEST(GrabReportTest, AStripOverMoreThanATenthOfTheImagesIsTold) {
    const auto told = [](const frames::ImageFormat& format, const frames::StripWish& wish) {
        GrabResults results;
        results.verifiedFormat = format;
        results.strip = stripLayout(format, wish);
        std::ostringstream people;
        tellStripShare(results, people);
        return people.str();
    };
    EXPECT_EQ(told({320, 240, 1}, {}),
              "dorven-host: the strip covers 48 of 240 lines (20 %); the simulator's --strip-cell line takes 1\n");
    EXPECT_EQ(told({320, 240, 1}, {frames::StripForm::cells4, frames::StripPlace::bottom}), "");
    EXPECT_EQ(told({100, 100, 1}, {}), "");
}

TEST(GrabReportTest, GrabInWhichNothingWasVerifiedSaysSo) {
    GrabResults results;
    results.images = results.faked = 5;
    EXPECT_EQ(unverified(results),
              "dorven-host: all 5 images are faked: the camera made them itself, as no simulator sent any\n");
    results.faked = 4;
    EXPECT_EQ(unverified(results), "dorven-host: no image of this grab was verified\n");
    results.torn = 1;
    EXPECT_EQ(
        unverified(results),
        "dorven-host: no image of this grab was verified: all that have a strip are torn, as those of a simulator "
        "whose images have another size than the camera's\n");
    results.simulated = 1;
    EXPECT_EQ(unverified(results), "");
}

}  // namespace
