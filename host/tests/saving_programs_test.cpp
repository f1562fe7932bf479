// Saving and doctor, with host, plugin and simulator as real processes. The role hostWithOutputs is that of
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
    test::ChildProcess startSimulator() {
        return test::ChildProcess::program("dorven-simulator", {"--config", _config, "--fps", "50"});
    }
    std::string text(const std::string& path) const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
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
        EXPECT_THAT(people(), HasSubstr("saved 3 images in " + output));
        EXPECT_TRUE(std::filesystem::exists(output + "/image_000002." + format));
    }
    simulator.kill();
    const std::string raw = text(_folder.path("raw/image_000001.raw"));
    ASSERT_EQ(raw.size(), 36000u);
    const frames::ImageView view{
        reinterpret_cast<const std::uint8_t*>(raw.data()), {450, 40, 2}
    };
    EXPECT_EQ(frames::inspectImage(view).kind, frames::ImageKind::simulated) << "the sum over every byte fits";
    EXPECT_EQ(text(_folder.path("pgm/image_000001.pgm")).size(), 36000u + 16u);
    frames::GreyImage image;
    std::string error;
    EXPECT_TRUE(frames::readGreyImage(_folder.path("png/image_000001.png"), image, error)) << error;
    EXPECT_EQ(image.width, 450u);
}

TEST_F(SavingProgramsTest, SnapSavesOneImageOfNow) {
    auto simulator = startSimulator();
    const std::string out = _folder.path("snap.png");
    EXPECT_EQ(host({"snap", out, "--config", _config}), 0) << people();
    EXPECT_THAT(people(), HasSubstr("snap.png: 450 x 40 pixels, 2 bytes per pixel, simulated, frame "));
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
    while (grab.running()) EXPECT_EQ(host({"doctor", "--config", _config, "--json"}), 0);
    EXPECT_EQ(grab.join(60s), 0) << text(_folder.path("grab_err.txt"));
    const auto result = nlohmann::json::parse(text(_folder.path("grab.txt")));
    EXPECT_EQ(result["simulated"], 100);
    EXPECT_EQ(result["lost"], 0);
    EXPECT_EQ(result["torn"], 0);
    EXPECT_EQ(host({"doctor"}), host::kExitFailed) << "images of 1280x1024 are larger than the ring's";
    EXPECT_THAT(people(), HasSubstr("  problem  lines of 36024 bytes are shorter than images of 1280x1024"));
    simulator.kill();
}

TEST_F(SavingProgramsTest, DoctorToldOfFilesThatAreNotThereFindsThem) {
    EXPECT_EQ(host({"doctor", "--plugin", "/no/such/plugin", "--config", "/no/such.ini"}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("plugin: there is no such file"));
    EXPECT_THAT(people(), HasSubstr("/no/such.ini: there is no such file: the camera takes it for empty"));
    EXPECT_THAT(people(), HasSubstr("2 problems"));
}

}  // namespace
