#include "bench.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "bench_limits.h"
#include "host_options.h"

namespace {

using host::BenchResults;
using host::HostOptions;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST(BenchTest, LatenessCountsFromTheEarliestGridThatFits) {
    EXPECT_THAT(host::latenessOf({}, {}, 1000.0), IsEmpty());
    EXPECT_THAT(host::latenessOf({5000}, {7}, 1000.0), ElementsAre(0.0));
    // Slots 0, 1 and 3 of 10 us; the second is 2 us early relative to the first, the last 1 us late.
    EXPECT_THAT(host::latenessOf({100'000, 108'000, 131'000}, {0, 1, 3}, 10'000.0), ElementsAre(2.0, 0.0, 3.0));
}

BenchResults results() {
    BenchResults results;
    results.eventP50Us = 5.0;
    results.eventP99Us = 20.0;
    results.memcpyMbPerS = 1000.0;
    results.paced.resize(2);
    host::BenchRun& run = results.paced[0];
    run.framesPerSecond = 200;
    run.images = 399;
    run.lost = 1;
    run.fps = 199.5;
    run.latenessP50Us = 30.0;
    run.latenessP99Us = 60.0;
    run.timerLatenessP50Us = 60.0;
    run.timerLatenessP99Us = 80.0;
    run.latencyP50Us = 10.0;
    run.latencyP99Us = 30.0;
    run.simulatorCpuPercent = 5.0;
    run.hostCpuPercent = 0.5;
    results.paced[1].framesPerSecond = 1000;
    results.fastest.fps = 500;
    results.fastest.mbPerS = 250;
    return results;
}

host::BenchOptions options() {
    host::BenchOptions options;
    options.format = {1000, 100, 1};
    return options;
}

TEST(BenchTest, TableHasEachNumberBesideItsLimit) {
    std::ostringstream stream;
    printBenchTable(options(), results(), "\u00B5s", stream);
    EXPECT_THAT(stream.str(), StartsWith("250 MB/s at 500 images/s, 0.25 of what memcpy reaches\n"
                                         "1000 x 100 pixels, 1 byte per pixel; 2 s each\n"));
    for (const char* row : {"\nat 200/s              measured       limit          ratio  beside\n",
                            "\nrate                     199.5       200.0 /s        1.00  asked for\n",
                            "\nlateness p99              60.0        80.0 \u00B5s        0.75  bare timer\n",
                            "\nlatency p50               10.0         5.0 \u00B5s        2.00  bare event, one way\n",
                            "\nsimulator's CPU            5.0         2.0 %         2.51  memcpy of each image\n",
                            "\n1 image lost or left out\n", "\nat 1000/s             measured",
                            "\nlateness p50                 -           - \u00B5s           -  bare timer\n",
                            "\nthroughput               250.0     1,000.0 MB/s      0.25  memcpy\n"})
        EXPECT_THAT(stream.str(), HasSubstr(row));
    std::istringstream lines(stream.str());
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
}

TEST(BenchTest, JsonHasEachNumberWithItsUnitAndNullForWhatWasNotMeasured) {
    std::ostringstream stream;
    printBenchJson(options(), results(), stream);
    const auto object = nlohmann::ordered_json::parse(stream.str());
    std::vector<std::string> keys;
    for (const auto& item : object.items()) keys.push_back(item.key());
    EXPECT_THAT(keys, ElementsAre("schema", "width_px", "height_px", "bytes_per_pixel", "seconds", "event_p50_us",
                                  "event_p99_us", "memcpy_mb_per_s", "throughput_fps", "throughput_mb_per_s",
                                  "throughput_ratio", "runs"));
    EXPECT_EQ(object["schema"], "dorven-bench/1");
    EXPECT_EQ(object["throughput_ratio"], 0.25);
    keys.clear();
    for (const auto& item : object["runs"][0].items()) keys.push_back(item.key());
    EXPECT_THAT(keys, ElementsAre("fps", "images", "lost", "fps_mean", "lateness_p50_us", "lateness_p99_us",
                                  "timer_lateness_p50_us", "timer_lateness_p99_us", "lateness_p99_ratio",
                                  "latency_p50_us", "latency_p99_us", "latency_p50_ratio", "simulator_cpu_percent",
                                  "host_cpu_percent", "memcpy_cpu_percent"));
    EXPECT_EQ(object["runs"][0]["lateness_p99_ratio"], 0.75);
    EXPECT_EQ(object["runs"][0]["latency_p50_ratio"], 2.0);
    EXPECT_TRUE(object["runs"][1]["latency_p50_us"].is_null());
    EXPECT_TRUE(object["runs"][1]["latency_p50_ratio"].is_null());
}

TEST(BenchTest, BareLimitsAreMeasured) {
    const auto lateness = host::timerLateness(500, 0.1);
    EXPECT_FALSE(lateness.empty());
    EXPECT_LE(lateness.size(), 50u);
    EXPECT_THAT(lateness, Each(Ge(0.0)));
    EXPECT_GT(host::memcpyMbPerS(100'000, 0.05), 0.0);
    std::string error;
    EXPECT_THAT(host::eventOneWay("/no/such/program", 0.1, error), IsEmpty());
    EXPECT_THAT(error, HasSubstr("/no/such/program: cannot be started"));
}

class BenchOptionsTest : public testing::Test {
protected:
    std::optional<int> parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), {"dorven-host", "bench"});
        _options = {};
        _people.str("");
        std::ostringstream data;
        return parseHostOptions(static_cast<int>(arguments.size()), arguments.data(), _options, data, _people);
    }

    HostOptions _options;
    std::ostringstream _people;
};

TEST_F(BenchOptionsTest, DefaultsAreSensible) {
    EXPECT_EQ(parse({}), std::nullopt);
    EXPECT_EQ(_options.command, HostOptions::Command::bench);
    EXPECT_EQ(_options.bench.format, (frames::ImageFormat{1280, 1024, 1}));
    EXPECT_THAT(_options.bench.rates, ElementsAre(200.0, 1000.0));
    EXPECT_EQ(_options.bench.seconds, 2.0);
    EXPECT_EQ(_options.bench.simulatorPath, "");
}

TEST_F(BenchOptionsTest, EveryOptionIsTaken) {
    EXPECT_EQ(parse({"--size", "640X480", "--bytes-per-pixel", "2", "--fps", "50", "--fps", "59.94", "--seconds", "5",
                     "--simulator", "x", "--json"}),
              std::nullopt)
        << _people.str();
    EXPECT_EQ(_options.bench.format, (frames::ImageFormat{640, 480, 2}));
    EXPECT_THAT(_options.bench.rates, ElementsAre(50.0, 59.94));
    EXPECT_EQ(_options.bench.seconds, 5.0);
    EXPECT_EQ(_options.bench.simulatorPath, "x");
    EXPECT_TRUE(_options.bench.json);
}

TEST(BenchTest, ImagesThatTheMachineCannotHoldAreRefusedInMegabytes) {
    host::BenchOptions options;
    options.format = {65536, 65536, 16};
    std::ostringstream data, people;
    EXPECT_EQ(host::runBench(options, data, people), host::kExitFailed);
    EXPECT_THAT(people.str(), HasSubstr("dorven-host: images of 65536 x 65536 pixels, 16 bytes per pixel, take 1305671 "
                                        "MB, and this machine has "));
    EXPECT_EQ(data.str(), "");
}

TEST_F(BenchOptionsTest, WrongUsageEndsWithTwoAndNamesTheArgument) {
    // clang-format off
    const std::vector<std::pair<std::vector<const char*>, const char*>> wrong = {
        {{"--size", "640"},           "'640' is no image size such as 1280x1024"},
        {{"--size", "0x5"},           "each side from 1 to 65536"               },
        {{"--size", "5x"},            "is no image size"                        },
        {{"--size", "65537x5"},       "is no image size"                        },
        {{"--bytes-per-pixel", "17"}, "1 to 16"                                 },
        {{"--fps", "0"},              "1 to 10000"                              },
        {{"--fps", "10001"},          "1 to 10000"                              },
        {{"--seconds", "0.1"},        "0.2 to 600"                              },
        {{"--plugin", "/no/such"},    "--plugin"                                },
        {{"--secnods", "1"},          "did you mean '--seconds'?"               },
    };
    // clang-format on
    for (const auto& [arguments, named] : wrong) {
        EXPECT_EQ(parse(arguments), 2) << named;
        EXPECT_THAT(_people.str(), HasSubstr(named));
    }
}

}  // namespace
