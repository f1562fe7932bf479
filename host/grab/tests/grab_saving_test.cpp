// What a grab leaves in its folder.
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "grab.h"
#include "platform.h"
#include "scripted_device.h"
#include "simulated_image.h"
#include "temporary_folder.h"

namespace {

using test::kFormat;
using test::ScriptedDevice;
using test::simulated;
using testing::ElementsAre;
using testing::HasSubstr;

class GrabSavingTest : public testing::Test {
protected:
    GrabSavingTest() {
        _options.timeoutSeconds = 20;
        _options.save.folder = _folder.path();
        _options.save.format = "raw";
    }

    int run(const std::vector<std::uint64_t>& numbers) {
        _options.imageCount = numbers.size();
        ScriptedDevice device([&](ScriptedDevice& self) {
            for (const std::uint64_t number : numbers) {
                self.record.imageCounter = static_cast<std::uint32_t>(number);
                self.deliver(simulated(number).data());
            }
        });
        device.record.width = kFormat.width;
        device.record.height = kFormat.height;
        device.record.bytesPerPixel = 1;
        device.record.frameTime = 0.5;
        host::Grab grab(device, _options, _people);
        const int exitCode = grab.run();
        _results = grab.results();
        return exitCode;
    }
    std::vector<nlohmann::json> sidecar() {
        std::vector<nlohmann::json> lines;
        std::ifstream file(_folder.path() + "/frames.jsonl");
        for (std::string line; std::getline(file, line);) lines.push_back(nlohmann::json::parse(line));
        return lines;
    }

    test::TemporaryFolder _folder;
    host::GrabOptions _options;
    host::GrabResults _results;
    std::ostringstream _people;
};

TEST_F(GrabSavingTest, SidecarTellsWhatIsKnownAboutEachImage) {
    EXPECT_EQ(run({40, 41}), host::kExitDone);
    const auto lines = sidecar();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1]["file"], "image_000001.raw");
    EXPECT_EQ(lines[1]["image"], 1);
    EXPECT_EQ(lines[1]["counter"], 41);
    EXPECT_EQ(lines[1]["frame_number"], 41);
    EXPECT_EQ(lines[1]["frame_time_us"], 500000.0);
    EXPECT_EQ(lines[1]["kind"], "simulated");
    EXPECT_GE(lines[1]["arrival_ns"], lines[0]["arrival_ns"]);
    EXPECT_THAT(_people.str(), HasSubstr("saving: 16 images may wait to be saved; takes 1 MB of memory\n"));
}

TEST_F(GrabSavingTest, ImagesAroundTheFirstLostFrameAreSaved) {
    _options.save.every = 0;
    _options.save.aroundLoss = 2;
    EXPECT_EQ(run({0, 1, 2, 3, 4, 7, 8, 9, 12, 13}), host::kExitDone);
    std::vector<std::uint64_t> frames;
    for (const auto& line : sidecar()) frames.push_back(line["frame_number"]);
    EXPECT_THAT(frames, ElementsAre(3, 4, 7, 8));
    EXPECT_THAT(_people.str(), HasSubstr(", the latest 2 are kept for a loss; takes 1 MB of memory\n"));
}

TEST_F(GrabSavingTest, ResultsTellWhatWasSavedAndWhatWasNot) {
    _folder.file("image_000001.raw", "somebody's");
    EXPECT_EQ(run({40, 41, 42}), host::kExitFailed);
    EXPECT_EQ(_results.saved, 2u);
    EXPECT_EQ(_results.notSaved, 1u);
    EXPECT_STREQ(_results.notSavedReason, "error");
    _options.save.folder.clear();
    EXPECT_EQ(run({40, 41}), host::kExitDone);
    EXPECT_EQ(_results.saved, std::nullopt) << "nothing was to be saved";
    EXPECT_EQ(_results.notSaved, std::nullopt);
    EXPECT_EQ(_results.notSavedReason, nullptr);
}

TEST_F(GrabSavingTest, ImageWithoutPixelsThatWasToBeSavedFailsTheGrab) {
    _options.imageCount = 2;
    ScriptedDevice device([](ScriptedDevice& self) {
        self.deliver(nullptr);
        self.deliver(simulated(1).data());
    });
    device.record.width = kFormat.width;
    device.record.height = kFormat.height;
    device.record.bytesPerPixel = 1;
    EXPECT_EQ(host::Grab(device, _options, _people).run(), host::kExitFailed);
    EXPECT_THAT(_people.str(), HasSubstr("dorven-host: image 0 came without pixels and cannot be saved\n"));
    EXPECT_EQ(sidecar().size(), 1u);
}

TEST_F(GrabSavingTest, TooLittleMemoryEndsTheGrabBeforeItStarts) {
    _options.save.aroundLoss = 50;
    _options.save.memoryMb = 1;
    EXPECT_EQ(run({0, 1}), host::kExitFailed);
    EXPECT_THAT(_people.str(),
                HasSubstr("101 images of 1 MB have to be kept in memory, and --save-memory allows 1 MB"));
    EXPECT_TRUE(std::filesystem::is_empty(_folder.path()));
}

TEST_F(GrabSavingTest, FolderOfAnEarlierGrabEndsTheGrabBeforeItStarts) {
    EXPECT_EQ(run({5}), host::kExitDone);
    EXPECT_EQ(run({6}), host::kExitFailed);
    EXPECT_THAT(_people.str(), HasSubstr("frames.jsonl: cannot be written: it exists already; --force replaces it"));
    EXPECT_EQ(sidecar().front()["frame_number"], 5);
    _options.save.force = true;
    EXPECT_EQ(run({6}), host::kExitDone);
    EXPECT_EQ(sidecar().front()["frame_number"], 6);
}

}  // namespace
