// The simulator while the system refuses what the link or a larger ring needs.
#include <chrono>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_camera.h"
#include "log_recorder.h"
#include "object_names.h"
#include "platform_fault.h"
#include "ring_reader.h"
#include "simulator.h"
#include "stopwatch.h"

PLATFORM_FAULT(HANDLE, CreateEventA,
               (SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initialState, LPCSTR name),
               (attributes, manualReset, initialState, name))
PLATFORM_FAULT(HANDLE, CreateFileMappingA,
               (HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protection, DWORD sizeHigh, DWORD sizeLow,
                LPCSTR name),
               (file, attributes, protection, sizeHigh, sizeLow, name))

namespace {

using simulator::CameraLink;
using simulator::CameraNews;
using simulator::ImageRing;
using simulator::Simulator;
using testing::HasSubstr;
using namespace std::chrono_literals;

const std::string kLinkEvents[] = {image_road::eventOf(image_road::kCameraAsks),
                                   image_road::eventOf(image_road::kSimulatorAsks)};

/// CreateEventA while the system refuses one event.
auto refusing(const std::string& refused) {
    return [refused](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name) -> HANDLE {
        if (!name || name != refused) return real_CreateEventA(attributes, manualReset, initialState, name);
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    };
}

std::optional<CameraNews> newsOf(CameraLink& link) {
    std::optional<CameraNews> news;
    test::becomesTrue([&] { return (news = link.takeNews()).has_value(); });
    return news;
}

TEST(SimulatorFaults, LinkThatCannotBeMadeIsToldAndTriedAgain) {
    const test::LogRecorder log;
    for (const std::string& refused : kLinkEvents) {
        test::FakeCamera camera({320, 240, 1});
        std::optional<CameraLink> link;
        std::optional<CameraNews> news;
        {
            const test::Fault fault(fault_CreateEventA, refusing(refused));
            link.emplace(simulator::AskingPace{20ms, 500ms, 60s});
            news = newsOf(*link);
        }
        ASSERT_TRUE(news) << refused;
        EXPECT_EQ(news->kind, CameraNews::Kind::unavailable);
        EXPECT_THAT(news->problem, testing::StartsWith("no link to the camera: "));
        news = newsOf(*link);
        ASSERT_TRUE(news) << refused;
        EXPECT_EQ(news->kind, CameraNews::Kind::format);
    }
}

TEST(SimulatorFaults, LinkThatCannotBeMadeAnyMoreWhenTheCameraComesIsTold) {
    const test::LogRecorder log;
    std::optional<CameraLink> link(std::in_place, simulator::AskingPace{20ms, 20ms, 60s});
    EXPECT_EQ(link->refusal(), "");
    EXPECT_FALSE(link->waitForNews(50ms));
    const test::Fault fault(fault_CreateEventA, refusing(kLinkEvents[1]));
    test::FakeCamera camera({320, 240, 1});
    const auto news = newsOf(*link);
    link.reset();
    ASSERT_TRUE(news);
    EXPECT_EQ(news->kind, CameraNews::Kind::unavailable);
    EXPECT_THAT(news->problem, testing::StartsWith("no link to the camera: "));
}

TEST(SimulatorFaults, RunThatIsToAskFailsWhenTheLinkCannotBeMade) {
    const test::LogRecorder log;
    for (const std::string& refused : kLinkEvents) {
        const test::Fault fault(fault_CreateEventA, refusing(refused));
        simulator::SimulatorOptions options;
        options.pacing.frameCount = 20;
        options.pacing.framesPerSecond = 500;
        simulator::RenderedImages source({900, 20, 1});
        std::ostringstream people;
        CameraLink link;
        EXPECT_EQ(Simulator(options, source, people, &link).run(), 1);
        EXPECT_THAT(people.str(), testing::StartsWith("dorven-simulator: no link to the camera: "));
        EXPECT_THAT(people.str(), testing::EndsWith("; --no-ask does without the link\n"));
    }
}

TEST(SimulatorFaults, RingGoesOnAsItWasWhenThereIsNoMemoryForTheCamerasNewFormat) {
    const test::LogRecorder log;
    simulator::SimulatorOptions options;
    simulator::RenderedImages source({900, 20, 1});
    std::ostringstream people;
    test::FakeCamera camera({900, 20, 1});
    CameraLink link({20ms, 20ms, 60s});
    Simulator simulator(options, source, people, &link);
    const auto follow = [&](const char* text) {
        test::becomesTrue([&] {
            simulator.followCamera();
            return people.str().find(text) != std::string::npos;
        });
    };
    follow("has 900");
    ASSERT_EQ(simulator.openRing(), ImageRing::OpenResult::opened);
    {
        const test::Fault fault(fault_CreateFileMappingA,
                                [](HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protection, DWORD high,
                                   DWORD low, LPCSTR name) -> HANDLE {
                                    if (low > 20'000'000) return nullptr;
                                    return real_CreateFileMappingA(file, attributes, protection, high, low, name);
                                });
        camera.setFormat({1280, 1024, 2});
        follow("has 1280");
    }
    EXPECT_THAT(people.str(), HasSubstr("dorven-simulator: no shared memory of "));
    EXPECT_THAT(people.str(), HasSubstr("dorven-simulator: going on with 900 x 20 pixels, 1 byte per pixel\n"));
    simulator.deliver(3);
    test::RingReader reader({900, 20, 1});
    ASSERT_TRUE(reader.attach());
    const auto image = reader.take();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
    EXPECT_EQ(image->header.imageCounter, 3u);
}

TEST(SimulatorFaults, RunFailsWhenTheRingCannotBeLaidAgainAtAll) {
    const test::LogRecorder log;
    simulator::SimulatorOptions options;
    options.pacing.frameCount = 1000;
    simulator::RenderedImages source({900, 20, 1});
    std::ostringstream people;
    test::FakeCamera camera({900, 20, 1});
    CameraLink link({20ms, 20ms, 60s});
    Simulator simulator(options, source, people, &link);
    EXPECT_TRUE(link.waitForNews(60s));
    int exitCode = -1;
    std::thread thread([&] { exitCode = simulator.run(); });
    while (!test::RingReader::memoryExists()) std::this_thread::sleep_for(1ms);
    const test::Fault fault(fault_CreateFileMappingA,
                            [](HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protection, DWORD high, DWORD low,
                               LPCSTR name) -> HANDLE {
                                if (name && name == std::string(image_road::kImagesMemory)) return nullptr;
                                return real_CreateFileMappingA(file, attributes, protection, high, low, name);
                            });
    camera.setFormat({640, 480, 1});
    thread.join();
    EXPECT_EQ(exitCode, 1);
    EXPECT_LT(simulator.totals().written + simulator.totals().refused, 1000u);
}

std::string peopleOfARunThatFails() {
    simulator::SimulatorOptions options;
    options.pacing.frameCount = 20;
    options.pacing.framesPerSecond = 500;
    simulator::RenderedImages source({900, 20, 1});
    std::ostringstream people;
    EXPECT_EQ(Simulator(options, source, people).run(), 1);
    return people.str();
}

TEST(SimulatorFaults, EventsThatTheSystemRefusesAreNoOtherSimulator) {
    const test::LogRecorder log;
    for (const std::string refused : {image_road::kImagesWriter, image_road::kImagesEvent}) {
        const test::Fault fault(fault_CreateEventA, refusing(refused));
        const std::string people = peopleOfARunThatFails();
        EXPECT_THAT(people, HasSubstr("dorven-simulator: no event \"" + refused + "\": "));
        EXPECT_THAT(people, testing::Not(HasSubstr("another simulator")));
    }
}

TEST(SimulatorFaults, MemoryForWhichThereIsNoRoomIsToldWithWhatIsNeeded) {
    const test::LogRecorder log;
    const test::Fault fault(fault_CreateFileMappingA,
                            [](HANDLE, SECURITY_ATTRIBUTES*, DWORD, DWORD, DWORD, LPCSTR) -> HANDLE {
                                SetLastError(ERROR_COMMITMENT_LIMIT);
                                return nullptr;
                            });
    const std::string people = peopleOfARunThatFails();
    EXPECT_THAT(people, HasSubstr("dorven-simulator: no shared memory of 162280 bytes for the images: "));
    EXPECT_THAT(people, HasSubstr(" needed; "));
    EXPECT_THAT(people, HasSubstr("; a ring of fewer --lines needs less\n"));
}

}  // namespace
