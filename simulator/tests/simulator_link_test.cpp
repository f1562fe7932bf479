// The simulator as a separate process next to the plugin: it learns the camera's format while images flow.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "DorVenPlugin.h"
#include "camera_config.h"
#include "child_process.h"
#include "fake_camera.h"
#include "inspection.h"
#include "log_recorder.h"
#include "named_claim.h"
#include "object_names.h"
#include "ring_reader.h"
#include "simulator_program.h"
#include "temporary_folder.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

// The simulator's own main with its outputs in files, which works the same on both systems.
CHILD_ROLE(simulatorWithOutputs) {
    if (!std::freopen(arguments.at(0).c_str(), "w", stdout) || !std::freopen(arguments.at(1).c_str(), "w", stderr))
        return 98;
    std::vector<const char*> argv{"dorven-simulator"};
    for (std::size_t index = 2; index < arguments.size(); ++index) argv.push_back(arguments[index].c_str());
    return simulator::simulatorMain(static_cast<int>(argv.size()), argv.data());
}

class SimulatorLinkTest : public testing::Test {
protected:
    test::ChildProcess start(test::Arguments arguments) {
        arguments.insert(arguments.begin(), {_folder.path("out.txt"), _folder.path("err.txt")});
        return {"simulatorWithOutputs", arguments};
    }
    std::string text(const std::string& name) const {
        std::ifstream file(_folder.path(name));
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::string people() const { return text("err.txt"); }
    nlohmann::json data() const { return nlohmann::json::parse(text("out.txt"), nullptr, false); }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
};

// The camera in this process, with a callback that inspects each image.
class GrabbingCamera {
public:
    void open(const std::string& ini) {
        PluginInterfaceParameter<const char*> path(ini.c_str());
        EXPECT_EQ(_device.call(1001, &path, nullptr), kDone);
        PluginInterfaceParameter<PluginInterfaceCallbackData> callback({this, &GrabbingCamera::receive});
        EXPECT_EQ(_device.call(1005, &callback, nullptr), kDone);
        EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
    }
    void freeze() { EXPECT_EQ(_device.call(1004, nullptr, nullptr), kDone); }

    /// Discards the images so far.
    void forget() {
        const std::lock_guard lock(_mutex);
        _whole = 0;
    }

    /// Waits for five whole images of the simulator with that many bytes.
    bool receives(std::uint64_t bytes, std::chrono::seconds limit = 60s) {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (;;) {
            {
                const std::lock_guard lock(_mutex);
                if (_wholeBytes == bytes && _whole >= 5) return true;
            }
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(5ms);
        }
    }

private:
    static int receive(void* context, IMAGEMEMORY* record) {
        static_cast<GrabbingCamera*>(context)->note(*record);
        return 0;
    }
    void note(const IMAGEMEMORY& record) {
        const frames::ImageFormat format{record.width, record.height, static_cast<std::size_t>(record.bytesPerPixel)};
        const bool whole = frames::inspectImage({record.imageBuffer, format}).kind == frames::ImageKind::simulated;
        const std::lock_guard lock(_mutex);
        if (format.bytes() != _wholeBytes) _whole = 0;
        _wholeBytes = format.bytes();
        if (whole) ++_whole;
    }

    std::mutex _mutex;
    std::uint64_t _wholeBytes = 0;
    int _whole = 0;
    DorVenPlugin _device{"folder"};
};

TEST_F(SimulatorLinkTest, ImagesFlowWhenNobodyAnswers) {
    auto program = start({"--fps", "50", "--count", "300"});
    test::RingReader reader(simulator::kDefaultFormat);
    ASSERT_TRUE(reader.attachAtSignal());
    for (int count = 0; count < 10; ++count) ASSERT_TRUE(reader.waitAndTake());
    EXPECT_EQ(program.join(60s), 0);
    const std::string said = people();
    EXPECT_THAT(said, HasSubstr("no camera answers yet; going on without, and asking again\n"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
    EXPECT_THAT(text("out.txt"), HasSubstr("written ")) << "the totals are the answer";
}

TEST_F(SimulatorLinkTest, WithNoAskTheCameraIsNotAsked) {
    test::FakeCamera camera({320, 240, 1});
    EXPECT_EQ(start({"--fps", "100", "--count", "100", "--no-ask"}).join(60s), 0);
    EXPECT_EQ(people().find("dorven-simulator: 1280 x 1024"), 0u);
    EXPECT_THAT(people(), Not(HasSubstr("320")));
}

TEST_F(SimulatorLinkTest, AskPrintsTheThreeAnswers) {
    test::FakeCamera camera({320, 240, 2});
    EXPECT_EQ(start({"ask", "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["schema"], "dorven-ask/1");
    EXPECT_EQ(data()["width"], 320);
    EXPECT_EQ(data()["height"], 240);
    EXPECT_EQ(data()["bytes_per_pixel"], 2);
    EXPECT_EQ(data()["pixel_width_um"], 2.5);
    EXPECT_EQ(data()["pixel_height_um"], 3.5);
    EXPECT_GT(data()["round_trip_p50_us"], 0.0);
    EXPECT_EQ(start({"ask"}).join(60s), 0);
    EXPECT_THAT(text("out.txt"), testing::StartsWith("image size    320 x 240 pixels\n"
                                                     "pixel size    2.5 x 3.5 um\n"
                                                     "image format  2 bytes per pixel\n"
                                                     "round trip    p50 "));
}

TEST_F(SimulatorLinkTest, AskTellsAP99OfEnoughRoundTripsThatItIsNotTheLongestOneOrNone) {
    test::FakeCamera camera({320, 240, 2});
    EXPECT_EQ(start({"ask", "--json"}).join(60s), 0) << people();
    const auto result = data();
    if (result["round_trips"] < 100) {  // a busy machine, on which a hundred take more than a second
        EXPECT_TRUE(result["round_trip_p99_us"].is_null());
    } else {
        EXPECT_GE(result["round_trip_p99_us"], result["round_trip_p50_us"]);
    }
    EXPECT_GT(result["round_trips"], 3);
}

TEST_F(SimulatorLinkTest, AskEndsWithThreeWhenNoAnswerComesInTime) {
    EXPECT_EQ(start({"ask", "--timeout", "0.3"}).join(60s), 3);
    EXPECT_EQ(people(),
              "dorven-simulator: no answer: no host has the camera open; start one, or open the camera in it\n");
    test::FakeCamera camera({320, 240, 2});
    camera.refuseFormat();
    EXPECT_EQ(start({"ask", "--timeout", "0.3"}).join(60s), 3);
    EXPECT_THAT(people(),
                HasSubstr("no answer, though a host has the camera open: it hangs, refuses, or another host"));
}

TEST_F(SimulatorLinkTest, AskIsAnsweredWhileTwoHostsHaveTheCamera) {
    DorVenPlugin first{"folder"};
    DorVenPlugin second{"folder"};
    for (DorVenPlugin* const device : {&first, &second}) {
        PluginInterfaceParameter<const char*> path(nullptr);
        ASSERT_EQ(device->call(1001, &path, nullptr), kDone);
    }
    for (int round = 0; round < 5; ++round) EXPECT_EQ(start({"ask", "--timeout", "60"}).join(60s), 0) << people();
}

TEST_F(SimulatorLinkTest, AskFailsWhileASimulatorAsksAndDoesNotDisturbIt) {
    test::FakeCamera camera({320, 240, 1});
    auto program = test::ChildProcess::program("dorven-simulator", {"--fps", "50"});
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!NamedClaim::isTaken(image_road::finishedOf(image_road::kSimulatorAsks)) &&
           std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(start({"ask"}).join(60s), 1);
    EXPECT_THAT(people(),
                HasSubstr("another simulator has the link to the camera; end it, or start it with --no-ask\n"));
    camera.setFormat({300, 200, 1});
    test::RingReader anew({300, 200, 1});
    bool arrived = false;
    for (int round = 0; round < 300 && !arrived; ++round) {
        const auto image = anew.waitAndTake(1.0);
        arrived = image && image->inspection.kind == frames::ImageKind::simulated;
    }
    EXPECT_TRUE(arrived);
    program.kill();
}

TEST_F(SimulatorLinkTest, AskWorksBesideASimulatorThatDoesNotAsk) {
    test::FakeCamera camera({320, 240, 1});
    auto program = test::ChildProcess::program("dorven-simulator", {"--size", "900x20", "--no-ask"});
    test::RingReader reader({900, 20, 1});
    ASSERT_TRUE(reader.attachAtSignal());
    EXPECT_EQ(start({"ask"}).join(60s), 0) << people();
    program.kill();
}

TEST_F(SimulatorLinkTest, WatchAsksAgainEachSecondAndEndsWithThreeWhenTheCameraIsGone) {
    auto camera = std::make_unique<test::FakeCamera>(frames::ImageFormat{320, 240, 1});
    auto program = start({"ask", "--watch", "--json", "--timeout", "0.5"});
    const auto lines = [this] {
        const std::string said = text("out.txt");
        return std::count(said.begin(), said.end(), '\n');
    };
    const auto begin = std::chrono::steady_clock::now();
    while (lines() < 3 && std::chrono::steady_clock::now() - begin < 60s) std::this_thread::sleep_for(10ms);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, 1900ms);
    camera.reset();
    EXPECT_EQ(program.join(60s), 3);
    const std::string said = text("out.txt");
    const auto third = nlohmann::json::parse(said.substr(said.rfind('{')), nullptr, false);
    EXPECT_GE(third["round_trips"], 9);
}

// ---- with the plugin, last: a process whose plugin has seen a recreated ring keeps its memory until it ends

TEST_F(SimulatorLinkTest, SimulatorLearnsTheConfiguredSizeWhileThePluginGrabs) {
    GrabbingCamera camera;
    camera.open(_folder.file("x.ini", "[image]\nimage_size_x=320\nimage_size_y=240\n"));
    auto program = test::ChildProcess::program("dorven-simulator", {"--fps", "50"});
    EXPECT_TRUE(camera.receives(76800));
    camera.freeze();
    program.kill();
}

TEST_F(SimulatorLinkTest, SizesOfACameraThatIsOpenedAnewArrive) {
    auto program = start({"--fps", "50"});
    GrabbingCamera camera;
    camera.open(_folder.file("x.ini", "[image]\nimage_size_x=320\nimage_size_y=240\n"));
    EXPECT_TRUE(camera.receives(76800)) << people();
    camera.freeze();
    camera.open(_folder.file("y.ini", "[image]\nimage_size_x=640\nimage_size_y=480\nbytes_per_pixel=3\n"));
    EXPECT_TRUE(camera.receives(640 * 480 * 3)) << people();
    camera.freeze();
    camera.open(_folder.file("z.ini", "[image]\nimage_size_x=300\nimage_size_y=200\n"));
    EXPECT_TRUE(camera.receives(300 * 200)) << people();
    camera.freeze();
    program.kill();
    EXPECT_THAT(people(), HasSubstr("the camera has 640 x 480 pixels, 3 bytes per pixel"));
    EXPECT_THAT(people(), Not(HasSubstr("any more"))) << "a camera is away for a moment when it is opened anew";
}

TEST_F(SimulatorLinkTest, ImagesComeBackWhicheverFieldOfTheRingAHostHasOverwritten) {
    auto program = start({"--fps", "200", "--size", "900x60", "--no-ask", "--reader-timeout", "0"});
    GrabbingCamera camera;
    camera.open(_folder.file("x.ini", "[image]\nimage_size_x=900\nimage_size_y=60\n"));
    ASSERT_TRUE(camera.receives(54000));
    auto* const header = static_cast<LineFifoHeader*>(MSharedMem_Link(image_road::kImagesMemory));
    ASSERT_TRUE(header);
    for (const auto field : {&LineFifoHeader::writerMark, &LineFifoHeader::writeIndex, &LineFifoHeader::readerMark,
                             &LineFifoHeader::readIndex, &LineFifoHeader::lineLength, &LineFifoHeader::slotCount}) {
        for (const std::uint64_t value : {std::uint64_t{0}, std::uint64_t{7}, UINT64_MAX}) {
            std::atomic_ref(header->*field).store(value);
            camera.forget();
            ASSERT_TRUE(camera.receives(54000)) << value << '\n' << people();
        }
    }
    MSharedMem_Unlink(header);
    EXPECT_TRUE(program.running());
    camera.freeze();
    program.kill();
    const std::string said = people();
    const std::string damage = "another process has overwritten the ring's ";
    EXPECT_THAT(said, HasSubstr(damage));
    EXPECT_EQ(said.find(damage), said.rfind(damage)) << said;
}

}  // namespace
