// How the simulator's images follow the camera.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "camera_config.h"
#include "fake_camera.h"
#include "image_choice.h"
#include "log_recorder.h"
#include "object_names.h"
#include "ring_reader.h"
#include "simulator.h"
#include "stopwatch.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::AskingPace;
using simulator::CameraLink;
using simulator::ImageRing;
using simulator::RenderedImages;
using simulator::Simulator;
using simulator::SimulatorOptions;
using test::FakeCamera;
using test::RingReader;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

constexpr ImageFormat kSmall{320, 240, 1};
constexpr ImageFormat kLarge{640, 480, 2};
constexpr ImageFormat kHuge{1280, 1024, 2};  // the memory has no room for it from the beginning

class SimulatorCameraTest : public testing::Test {
protected:
    /// The simulator's next step after new information from the camera.
    void follow(Simulator& simulator) {
        const auto end = std::chrono::steady_clock::now() + 60s;
        const std::string before = _people.str();
        while (_people.str() == before && std::chrono::steady_clock::now() < end) {
            simulator.followCamera();
            std::this_thread::sleep_for(1ms);
        }
    }

    test::LogRecorder _log;
    SimulatorOptions _options;
    RenderedImages _source{simulator::kDefaultFormat};
    std::ostringstream _people;
    FakeCamera _camera{kSmall};
    CameraLink _link{AskingPace{20ms, 20ms, 60s}};  // a busy camera is not taken for one that has gone
};

TEST_F(SimulatorCameraTest, FirstImageHasTheCamerasFormatAlready) {
    _options.pacing.frameCount = 1;
    Simulator simulator(_options, _source, _people, &_link);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.format(), kSmall);
    EXPECT_EQ(simulator.totals().written, 1u);
    EXPECT_EQ(_people.str().find("dorven-simulator: the camera has 320 x 240 pixels, 1 byte per pixel\n"), 0u);
    EXPECT_THAT(_people.str(),
                HasSubstr("320 x 240 pixels, 1 byte per pixel, 100 images per second, ring of 8 (1 MB)"));
}

TEST_F(SimulatorCameraTest, RingIsLaidAnewWhenTheCameraHasChanged) {
    Simulator simulator(_options, _source, _people, &_link);
    follow(simulator);
    ASSERT_EQ(simulator.openRing(), ImageRing::OpenResult::opened);
    simulator.deliver(0);
    {
        RingReader reader(kSmall);
        ASSERT_TRUE(reader.attach());
        EXPECT_EQ(reader.take()->inspection.kind, frames::ImageKind::simulated);
    }
    for (const ImageFormat format : {kLarge, ImageFormat{640, 480, 1}, kSmall}) {
        _camera.setFormat(format);
        follow(simulator);
        EXPECT_EQ(simulator.format(), format);
        simulator.deliver(7);
        RingReader reader(format);
        ASSERT_TRUE(reader.attach());
        EXPECT_EQ(static_cast<LineFifoHeader*>(reader.memory())->lineLength, 24 + format.bytes());
        const auto image = reader.take();
        ASSERT_TRUE(image);
        EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
        EXPECT_EQ(image->header.imageCounter, 7u);
        EXPECT_FALSE(reader.take());
    }
    std::ostringstream people;
    Simulator second(_options, _source, people);
    EXPECT_EQ(second.openRing(), ImageRing::OpenResult::otherWriter);
}

TEST_F(SimulatorCameraTest, RingThatHasToGrowWaitsForSmallerMemoryAndRefusesFramesMeanwhile) {
    _options.pacing.frameCount = 500;
    Simulator simulator(_options, _source, _people, &_link);
    int exitCode = -1;
    std::thread thread([&] { exitCode = simulator.run(); });
    {
        RingReader holder(kSmall);
        EXPECT_TRUE(holder.attachAtSignal());
        EXPECT_TRUE(holder.waitAndTake());
        _camera.setFormat(kHuge);
        EXPECT_TRUE(test::becomesTrue([&] { return !holder.writerAttached(); }));
        std::this_thread::sleep_for(1s);  // a hundred frames, which are refused
        while (holder.event().Wait(0.0) == 1) {
        }
        EXPECT_EQ(holder.event().Wait(60.0), 1) << "a reader has to hear that the ring was left";
    }
    RingReader reader(kHuge);
    EXPECT_TRUE(reader.attachAtSignal());
    const auto image = reader.waitAndTake();
    reader.detach();
    thread.join();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
    EXPECT_GT(image->header.imageCounter, 50u);
    EXPECT_EQ(exitCode, 0);
    EXPECT_GT(simulator.totals().refused, 50u);
    const std::string said = _people.str();
    const std::size_t first = said.find("a host still holds smaller image memory from before");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(said.find("a host still holds", first + 1), std::string::npos);
}

TEST_F(SimulatorCameraTest, MemoryHasRoomForTheUsualFormatFromTheBeginning) {
    Simulator simulator(_options, _source, _people, &_link);
    follow(simulator);
    ASSERT_EQ(simulator.openRing(), ImageRing::OpenResult::opened);
    RingReader reader(simulator::kDefaultFormat);
    ASSERT_TRUE(reader.attach());
    _camera.setFormat(simulator::kDefaultFormat);
    follow(simulator);
    simulator.deliver(0);
    EXPECT_THAT(_people.str(), Not(HasSubstr("still holds smaller")));
    ASSERT_TRUE(reader.attach());
    EXPECT_TRUE(reader.take());
}

TEST_F(SimulatorCameraTest, CameraIsFollowedBetweenImagesThatAreFarApart) {
    _options.pacing.framesPerSecond = {1, 5};
    _options.pacing.frameCount = 2;
    Simulator simulator(_options, _source, _people, &_link);
    std::thread thread([&] { simulator.run(); });
    {
        RingReader reader(kSmall);
        EXPECT_TRUE(reader.attachAtSignal());
        EXPECT_TRUE(reader.waitAndTake());
    }
    _camera.setFormat({100, 240, 1});
    bool empty = false;
    EXPECT_TRUE(test::becomesTrue([&] {
        RingReader reader({100, 240, 1});
        if (!reader.attach()) return false;
        const std::atomic_ref<std::uint64_t> length(static_cast<LineFifoHeader*>(reader.memory())->lineLength);
        empty = MMemLineFifo_GetCount(reader.memory()) == 0;
        return length.load(std::memory_order_acquire) == 24 + 100 * 240;
    }));
    EXPECT_TRUE(empty) << "laid before the next image, not for it";
    thread.join();
    EXPECT_EQ(simulator.totals().written, 2u);
    EXPECT_THAT(_people.str(), HasSubstr("images this small carry no strip"));
}

TEST_F(SimulatorCameraTest, OptionsWinOverTheCamera) {
    _options.size = ImageFormat{900, 20, 1};
    Simulator simulator(_options, _source, _people, &_link);
    follow(simulator);
    EXPECT_EQ(simulator.format(), (ImageFormat{900, 20, 1}));
    _camera.setFormat({320, 240, 3});
    follow(simulator);
    EXPECT_EQ(simulator.format(), (ImageFormat{900, 20, 3}));
    _options.bytesPerPixel = 2;
    RenderedImages source({900, 20, 2});
    Simulator other(_options, source, _people, &_link);
    _camera.setFormat({320, 240, 4});
    follow(other);
    EXPECT_EQ(other.format(), (ImageFormat{900, 20, 2}));
    EXPECT_THAT(_people.str(), HasSubstr("the camera has 320 x 240 pixels, 4 bytes per pixel, but the options ask for "
                                         "900 x 20 pixels, 2 bytes per pixel\n"));
}

TEST_F(SimulatorCameraTest, CameraWinsOverTheConfigurationFile) {
    const test::TemporaryFolder folder;
    _options.configFile = folder.file("camera.ini", "[image]\nimage_size_x=640\nimage_size_y=480\n");
    Simulator simulator(_options, _source, _people, &_link);
    follow(simulator);
    EXPECT_EQ(simulator.format(), kSmall);
}

TEST_F(SimulatorCameraTest, PicturesOfAnotherSizeAreReplayedAsTheyAreWithALine) {
    const test::TemporaryFolder folder;
    folder.file("pictures/a.pgm", "P5 900 20 255\n" + std::string(18000, 'a'));
    _options.pictures.images = {folder.path("pictures/a.pgm").substr(0, folder.path("pictures").size())};
    std::string error;
    const auto pictures = makeImageSource(_options, error);
    Simulator simulator(_options, *pictures, _people, &_link);
    follow(simulator);
    EXPECT_EQ(simulator.format(), (ImageFormat{900, 20, 1}));
    EXPECT_THAT(_people.str(), HasSubstr("a.pgm: has 900 x 20 pixels, but the camera has 320 x 240; going on with "
                                         "900 x 20 pixels, 1 byte per pixel\n"));
    simulator.openRing();
    simulator.deliver(0);
    EXPECT_EQ(simulator.totals().written, 1u);
    _camera.setFormat({900, 20, 2});
    follow(simulator);
    EXPECT_EQ(simulator.format(), (ImageFormat{900, 20, 2}));
}

// A host that opens the camera again and again must not delay the images.
TEST_F(SimulatorCameraTest, PicturesAreNotLoadedAgainForACameraThatHasTheirFormat) {
    const test::TemporaryFolder folder;
    _options.pictures.images = {folder.file("a.pgm", "P5 320 240 255\n" + std::string(320 * 240, 'a'))};
    std::string error;
    const auto pictures = makeImageSource(_options, error);
    ASSERT_TRUE(pictures) << error;
    std::remove(_options.pictures.images[0].c_str());
    Simulator simulator(_options, *pictures, _people, &_link);
    follow(simulator);
    EXPECT_EQ(_people.str(), "dorven-simulator: the camera has 320 x 240 pixels, 1 byte per pixel\n");
}

TEST_F(SimulatorCameraTest, ImagesThatTakeMoreMemoryThanTheyMayAreRefusedWithALine) {
    _options.maxMemoryMb = 100;
    _camera.setFormat({4000, 4000, 1});
    Simulator simulator(_options, _source, _people, &_link);
    while (_people.str().find("4000 x 4000") == std::string::npos) follow(simulator);  // asked before it was set
    EXPECT_EQ(simulator.format(), simulator::kDefaultFormat);
    EXPECT_THAT(_people.str(),
                HasSubstr("the camera has 4000 x 4000 pixels, 1 byte per pixel; images of 4000 x 4000 pixels, 1 byte "
                          "per pixel, take 162 MB with a ring of 8 and the images so far, and --max-memory allows 100 "
                          "MB: allow more, or take smaller images or fewer --lines; going on with "));
}

TEST_F(SimulatorCameraTest, AbsurdAnswerIsToldAndChangesNothing) {
    _camera.setFormat({0, 240, 1});
    Simulator simulator(_options, _source, _people, &_link);
    follow(simulator);
    if (simulator.format() == kSmall) follow(simulator);  // asked before it was set
    EXPECT_THAT(_people.str(),
                HasSubstr("the camera says 0 x 240 pixels, 1 byte per pixel, which cannot be made; going "
                          "on with "));
    EXPECT_NE(simulator.format(), (ImageFormat{0, 240, 1}));
}

TEST(SimulatorWithoutCameraTest, SaysInOneLineThatNobodyAnswersAndDeliversWhatItHas) {
    const test::LogRecorder log;
    SimulatorOptions options;
    options.pacing.frameCount = 30;
    options.pacing.late = simulator::LatePolicy::burst;  // a busy machine leaves none out
    RenderedImages source({900, 20, 1});
    std::ostringstream people;
    CameraLink link({20ms, 20ms, 100ms});
    Simulator simulator(options, source, people, &link);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written, 8u);
    EXPECT_EQ(people.str().find("dorven-simulator: no camera answers yet; going on without, and asking again\n"
                                "dorven-simulator: 900 x 20 pixels"),
              0u);
    EXPECT_THAT(people.str(), Not(HasSubstr("any more")));
    EXPECT_THAT(log.errors(), testing::IsEmpty());
}

TEST(SimulatorWithoutCameraTest, SaysWhenTheCameraHasLeftAndWhenTheLinkIsTaken) {
    const test::LogRecorder log;
    SimulatorOptions options;
    options.pacing.frameCount = 100;
    RenderedImages source({900, 20, 1});
    std::ostringstream people;
    NamedClaim other(image_road::finishedOf(image_road::kSimulatorAsks));
    ASSERT_TRUE(other.claim());
    CameraLink link({20ms, 20ms, 100ms});
    EXPECT_TRUE(link.waitForNews(60s));
    Simulator simulator(options, source, people, &link);
    simulator.followCamera();
    EXPECT_EQ(
        people.str(),
        "dorven-simulator: another simulator has the link to the camera; going on with 900 x 20 pixels, 1 byte per "
        "pixel\n");
    other.release();
    {
        FakeCamera camera({900, 20, 1});
        test::becomesTrue([&] {
            simulator.followCamera();
            return people.str().find("has 900") != std::string::npos;
        });
        EXPECT_THAT(people.str(), HasSubstr("the camera has 900 x 20 pixels, 1 byte per pixel\n"));
    }
    EXPECT_TRUE(test::becomesTrue([&] {
        simulator.followCamera();
        return people.str().find("any more") != std::string::npos;
    }));
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_THAT(people.str(),
                HasSubstr("the camera does not answer any more; going on with 900 x 20 pixels, 1 byte per pixel\n"));
}

}  // namespace
