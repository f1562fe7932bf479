// Saving, doctor and bench, with host, plugin and simulator as real processes. The role hostWithOutputs is that of
// programs_test.cpp.
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "child_process.h"
#include "host_options.h"
#include "image_file.h"
#include "inspection.h"
#include "object_look.h"
#include "temporary_folder.h"

namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

class SavingProgramsTest : public testing::Test {
protected:
    SavingProgramsTest() {
        _config = _folder.file("camera.ini", "[image]\nimage_size_x=450\nimage_size_y=40\nbytes_per_pixel=2\n");
    }

    int host(test::Arguments arguments) {
        arguments.insert(arguments.begin(), {_folder.path("out.txt"), _folder.path("err.txt")});
        return test::ChildProcess("hostWithOutputs", arguments).join(60s);
    }
    // With a ring that lets a busy machine be seconds late, and with the size from the start: a camera that is just
    // being opened may still answer with its own.
    test::ChildProcess startSimulator() {
        return test::ChildProcess::program(
            "dorven-simulator",
            {"--config", _config, "--size", "450x40", "--bytes-per-pixel", "2", "--fps", "50", "--lines", "500"});
    }
    std::string text(const std::string& path) const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::string answer() const { return text(_folder.path("out.txt")); }
    std::string people() const { return text(_folder.path("err.txt")); }

    test::TemporaryFolder _folder;
    std::string _config;
};

TEST_F(SavingProgramsTest, SixteenBitImagesAreSavedWithoutLossInEveryFormat) {
    auto simulator = startSimulator();
    for (const std::string format : {"raw", "pgm", "png"}) {
        const std::string output = _folder.path() + "/" + format;
        EXPECT_EQ(host({"grab", "--config", _config, "--count", "3", "--output", output, "--format", format}), 0)
            << people();
        EXPECT_THAT(answer(), HasSubstr("saved 3 images in " + output));
        EXPECT_TRUE(std::filesystem::exists(output + "/image_000002." + format));
    }
    simulator.kill();
    const std::string raw = text(_folder.path("raw/image_000001.raw"));
    ASSERT_EQ(raw.size(), 36000u);
    const frames::ImageView view{reinterpret_cast<const std::uint8_t*>(raw.data()), {450, 40, 2}};
    EXPECT_EQ(frames::inspectImage(view).kind, frames::ImageKind::simulated) << "the sum over every byte fits";
    EXPECT_EQ(text(_folder.path("pgm/image_000001.pgm")).size(), 36000u + 16u);
    frames::GreyImage image;
    std::string error;
    EXPECT_TRUE(frames::readGreyImage(_folder.path("png/image_000001.png"), image, error)) << error;
    EXPECT_EQ(image.width, 450u);
}

// One image may wait, so one thread compresses. At this rate even the slowest machine that draws images and the fastest
// that compresses noise are far apart.
TEST_F(SavingProgramsTest, ImagesThatCouldNotBeSavedFailTheGrabAndAreNamed) {
    auto simulator = test::ChildProcess::program(
        "dorven-simulator",
        {"--size", "1280x1024", "--pattern", "noise", "--fps", "500", "--lines", "50", "--late", "burst"});
    const std::string config = _folder.file("large.ini", "[image]\nimage_size_x=1280\nimage_size_y=1024\n");
    const auto grab = [&](const std::string& output, test::Arguments more) {
        test::Arguments arguments{"grab",     "--config", config,          "--count", "100",
                                  "--output", output,     "--save-memory", "2",       "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return host(arguments);
    };
    EXPECT_EQ(grab(_folder.path("a"), {}), host::kExitFailed) << people();
    auto result = nlohmann::json::parse(text(_folder.path("out.txt")), nullptr, false);
    ASSERT_TRUE(result["not_saved"].is_number());
    EXPECT_GT(result["not_saved"], 0);
    EXPECT_EQ(result["saved"].get<int>() + result["not_saved"].get<int>(), 100);
    EXPECT_EQ(result["not_saved_reason"], "compressor");
    EXPECT_EQ(result["limits_broken"][0]["option"], "--max-not-saved");
    EXPECT_THAT(people(), HasSubstr("the PNG compressor could not keep up with "));
    EXPECT_THAT(people(),
                HasSubstr("dorven-host: limit broken: --max-not-saved 0 (the default with --output): not_saved "));
    EXPECT_EQ(grab(_folder.path("b"), {"--max-not-saved", "100"}), 0) << people();
    simulator.kill();
}

TEST_F(SavingProgramsTest, SnapSavesOneImageOfNow) {
    auto simulator = startSimulator();
    const std::string out = _folder.path("snap.png");
    EXPECT_EQ(host({"snap", out, "--config", _config}), 0) << people();
    EXPECT_THAT(answer(), HasSubstr("snap.png: 450 x 40 pixels, 2 bytes per pixel, simulated, frame "));
    EXPECT_EQ(host({"snap", out, "--config", _config}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("--force"));
    EXPECT_EQ(host({"snap", out, "--config", _config, "--force", "--json"}), 0) << people();
    EXPECT_EQ(nlohmann::json::parse(text(_folder.path("out.txt")))["kind"], "simulated");
    simulator.kill();
    EXPECT_EQ(host({"snap", _folder.path("none.png"), "--timeout", "0.3"}), host::kExitNoImage);
}

TEST_F(SavingProgramsTest, DoctorFindsARunningPairWellAndDisturbsNeither) {
    auto simulator = startSimulator();
    test::ChildProcess grab("hostWithOutputs", {_folder.path("grab.txt"), _folder.path("grab_err.txt"), "grab",
                                                "--config", _config, "--count", "100", "--json"});
    EXPECT_EQ(host({"doctor", "--config", _config, "--json"}), 0) << text(_folder.path("out.txt"));
    while (grab.running())
        EXPECT_EQ(host({"doctor", "--config", _config, "--json"}), 0) << text(_folder.path("out.txt"));
    EXPECT_EQ(grab.join(60s), 0) << text(_folder.path("grab_err.txt"));
    const auto result = nlohmann::json::parse(text(_folder.path("grab.txt")));
    EXPECT_EQ(result["simulated"], 100);
    EXPECT_EQ(result["lost"], 0);
    EXPECT_EQ(result["torn"], 0);
    EXPECT_EQ(host({"doctor"}), host::kExitFailed) << "images of 1280x1024 are larger than the ring's";
    EXPECT_THAT(answer(), HasSubstr("\nproblem  ring: lines of 36024 bytes are shorter than images of 1280x1024"));
    simulator.kill();
}

TEST_F(SavingProgramsTest, DoctorToldOfFilesThatAreNotThereFindsThem) {
    EXPECT_EQ(host({"doctor", "--plugin", "/no/such/plugin", "--config", "/no/such.ini"}), host::kExitFailed);
    EXPECT_THAT(answer(), HasSubstr("plugin: there is no such file"));
    EXPECT_THAT(answer(), HasSubstr("/no/such.ini: there is no such file: the camera takes it for empty"));
    EXPECT_THAT(answer(), HasSubstr("2 problems"));
}

TEST_F(SavingProgramsTest, BenchMeasuresEveryNumberAndLeavesNothingBehind) {
    EXPECT_EQ(host({"bench", "--json", "--seconds", "0.3", "--size", "320x240", "--fps", "50", "--fps", "100"}), 0)
        << people();
    const auto result = nlohmann::json::parse(text(_folder.path("out.txt")));
    EXPECT_EQ(result["width_px"], 320);
    for (const char* key : {"event_p50_us", "memcpy_mb_per_s", "throughput_fps", "throughput_mb_per_s"})
        EXPECT_GT(result[key], 0.0) << key;
    ASSERT_EQ(result["runs"].size(), 2u);
    for (const auto& run : result["runs"]) {
        EXPECT_GT(run["images"], 0);
        for (const char* key : {"fps_mean", "lateness_p99_us", "timer_lateness_p99_us", "latency_p50_us"})
            EXPECT_GT(run[key], 0.0) << key;
    }
    EXPECT_EQ(host({"doctor", "--json"}), 0) << "nothing runs and nothing is left";
}

TEST_F(SavingProgramsTest, BenchHasObjectNamesOfItsOwnOrRefusesWhileTheyAreTaken) {
    auto simulator = startSimulator();
    while (host({"doctor", "--config", _config, "--json"}) != 0 ||
           text(_folder.path("out.txt")).find("a simulator runs") == std::string::npos)
        continue;
    const int exitCode = host({"bench", "--seconds", "0.2", "--size", "320x240", "--fps", "50"});
    simulator.kill();
    if (platform_lookAtObjectFolder().has) {
        EXPECT_EQ(exitCode, 0) << people();
        EXPECT_THAT(answer(), HasSubstr("\nthroughput "));
    } else {
        EXPECT_EQ(exitCode, host::kExitFailed);
        EXPECT_THAT(people(), HasSubstr("a simulator runs: end it first"));
    }
}

TEST_F(SavingProgramsTest, BenchWithoutASimulatorFailsWithTheReason) {
    EXPECT_EQ(host({"bench", "--simulator", "/no/such/program"}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("/no/such/program: there is no such program; name it with --simulator"));
    EXPECT_EQ(host({"bench", "--seconds", "0.2", "--simulator", _folder.file("none.exe", "text")}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("none.exe: cannot be started"));
    // A program that does not know the simulator's options.
    const std::string otherProgram =
        test::programFolder() + "dorven-host" + std::filesystem::path(test::programPath()).extension().string();
    EXPECT_EQ(host({"bench", "--seconds", "0.2", "--simulator", otherProgram}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("the simulator ended at once; try it by itself"));
}

}  // namespace
