#include "grab.h"

#include <atomic>
#include <filesystem>
#include <limits>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_file.h"
#include "platform.h"
#include "scripted_device.h"
#include "simulated_image.h"
#include "temporary_folder.h"

namespace {

using host::Grab;
using host::GrabOptions;
using test::kFormat;
using test::ScriptedDevice;
using test::simulated;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class GrabTest : public testing::Test {
protected:
    GrabTest() { _options.timeoutSeconds = 20; }

    int run(ScriptedDevice& device) {
        device.record.width = device.record.width ? device.record.width : kFormat.width;
        device.record.height = device.record.height ? device.record.height : kFormat.height;
        device.record.bytesPerPixel = 1;
        _grab = std::make_unique<Grab>(device, _options, _people);
        for (host::GrabObserver* const observer : _observers) _grab->watch(*observer);
        _grab->watchSimulator({[this] { return _simulatorRuns.load(); }, _patienceNs});
        const int exitCode = _grab->run();
        host::tellFindings(_grab->findings(), _people);
        EXPECT_EQ(device.function, nullptr) << "no callback is left behind";
        return exitCode;
    }
    std::string people() const { return _people.str(); }

    GrabOptions _options;
    std::ostringstream _people;
    std::vector<host::GrabObserver*> _observers;
    std::unique_ptr<Grab> _grab;
    std::atomic<bool> _simulatorRuns{true};
    std::int64_t _patienceNs = 2'000'000'000;
};

TEST_F(GrabTest, EndsWhenTheWantedImagesHaveComeAndCountsNoMore) {
    _options.imageCount = 5;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 9; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().images, 5u);
    EXPECT_EQ(_grab->results().simulated, 5u);
    EXPECT_EQ(_grab->results().lost, 0u);
    EXPECT_EQ(device.freezes, 1);
    EXPECT_EQ(device.callbacksRemoved, 1);
    EXPECT_EQ(device.openedPath, "(null)");
    EXPECT_THAT(people(), HasSubstr("900 x 20 pixels, 1 byte per pixel; fakes 200 images per second"));
}

TEST_F(GrabTest, EndsWhenItsTimeIsOver) {
    _options.durationNs = 50'000'000;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 3; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_STREQ(_grab->end(), "duration");
    EXPECT_EQ(_grab->results().images, 3u);
    EXPECT_GE(_grab->results().durationS.value_or(0.0), 0.05);
}

TEST_F(GrabTest, EndsAtTheWantedImagesWhenTheyComeBeforeItsTimeIsOver) {
    _options.durationNs = 3'600'000'000'000;
    _options.imageCount = 2;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 3; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_STREQ(_grab->end(), "count");
}

TEST_F(GrabTest, TimeThatIsOverWithoutAnyImageEndsWithThree) {
    _options.durationNs = 50'000'000;
    ScriptedDevice device([](ScriptedDevice&) {});
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_STREQ(_grab->end(), "no_image");
    EXPECT_THAT(people(), HasSubstr("no image came for 0.05 s; "));
}

TEST_F(GrabTest, QuietGrabSaysWhatIsWrongAlone) {
    _options.quiet = true;
    _options.imageCount = 1;
    ScriptedDevice device([](ScriptedDevice& self) { self.deliver(simulated(0).data()); });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(people(), "");
    _options.durationNs = 1'000'000;
    ScriptedDevice silent([](ScriptedDevice&) {});
    EXPECT_EQ(run(silent), host::kExitNoImage);
    EXPECT_THAT(people(), HasSubstr("dorven-host: no image came for 0.001 s"));
}

// Images of a ring that was full before the grab began.
void deliverLeftOver(ScriptedDevice& device, std::uint64_t count) {
    const std::int64_t longAgoNs = platform_monotonicNanoseconds() - 60'000'000'000;
    for (std::uint64_t number = 0; number < count; ++number) device.deliver(simulated(number, longAgoNs).data());
}

TEST_F(GrabTest, ImagesFromBeforeAreNeitherTheWantedOnesNorSaved) {
    const test::TemporaryFolder folder;
    _options.imageCount = 3;
    _options.save.folder = folder.path();
    ScriptedDevice device([](ScriptedDevice& self) {
        deliverLeftOver(self, 8);
        for (std::uint64_t number = 50; number < 53; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().images, 3u);
    EXPECT_EQ(_grab->results().stale, 8u);
    EXPECT_EQ(_grab->saved().saved, 3u);
    frames::GreyImage first;
    std::string error;
    ASSERT_TRUE(frames::readGreyImage(folder.path() + "/image_000000.png", first, error)) << error;
    EXPECT_EQ(frames::inspectImage({first.pixels.data(), kFormat}).strip->frameNumber, 50u);
}

TEST_F(GrabTest, SimulatorThatHangsAndLeftImagesInItsRingEndsWithThree) {
    _options.timeoutSeconds = 0.2;
    _options.imageCount = 8;
    ScriptedDevice device([](ScriptedDevice& self) { deliverLeftOver(self, 8); });
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_EQ(_grab->results().images, 0u);
    EXPECT_THAT(people(),
                HasSubstr("no image came for 0.2 s; 8 had waited from before the grab: the simulator may hang "
                          "or be paused\n"));
}

TEST_F(GrabTest, FakedImageAfterImagesFromBeforeIsALostConnection) {
    ScriptedDevice device([](ScriptedDevice& self) {
        deliverLeftOver(self, 2);
        std::vector<unsigned char> fake(kFormat.bytes(), 10);
        self.deliver(fake.data());
    });
    EXPECT_EQ(run(device), host::kExitConnectionLost);
}

TEST_F(GrabTest, ConfigurationFileIsHandedToOpen) {
    _options.imageCount = 1;
    _options.configFile = "some/camera.ini";
    ScriptedDevice device([](ScriptedDevice& self) { self.deliver(simulated(0).data()); });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(device.openedPath, "some/camera.ini");
}

TEST_F(GrabTest, FrameTornInTheMiddleIsFoundExactly) {
    _options.imageCount = 10;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 10; ++number) {
            auto image = simulated(number);
            if (number == 6) std::fill(image.begin() + 18 * 900, image.end(), static_cast<unsigned char>(7));
            self.deliver(image.data());
        }
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().torn, 1u);
    EXPECT_EQ(_grab->results().simulated, 9u);
    EXPECT_EQ(_grab->results().lost, 0u);
    EXPECT_THAT(people(), HasSubstr("torn frames: 6\n"));
}

TEST_F(GrabTest, LostFramesAreNamed) {
    _options.imageCount = 5;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (const std::uint64_t number : {1u, 3u, 4u, 9u, 10u}) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().lost, 5u);
    EXPECT_THAT(people(), HasSubstr("lost frames: 2 5-8\n"));
}

TEST_F(GrabTest, FramesLostBeforeTheSimulatorBeganAnewAreNamedToo) {
    _options.imageCount = 4;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (const std::uint64_t number : {500u, 503u, 0u, 2u}) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().lost, 3u);
    EXPECT_THAT(people(), HasSubstr("lost frames: 1 501-502\n"));
}

TEST_F(GrabTest, OnlyTheFirstHundredRangesOfLostFramesAreNamed) {
    _options.imageCount = 151;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number <= 300; number += 2) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_THAT(people(), HasSubstr(" 197 199 and 50 more\n"));
}

TEST_F(GrabTest, NoImageInTimeEndsWithThree) {
    _options.timeoutSeconds = 0.2;
    ScriptedDevice device([](ScriptedDevice&) {});
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_EQ(_grab->results().images, 0u);
    EXPECT_THAT(people(), HasSubstr("no image came for 0.2 s; another host may hold the camera's images, or one was "
                                    "killed: restart the simulator"));
    EXPECT_EQ(device.freezes, 1);
}

TEST_F(GrabTest, NoImageInTimeSaysThatNoSimulatorIsRunning) {
    _options.timeoutSeconds = 0.2;
    _simulatorRuns = false;
    ScriptedDevice device([](ScriptedDevice&) {});
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_THAT(people(), EndsWith("dorven-host: no image came for 0.2 s; no simulator is running: start "
                                   "dorven-simulator; `dorven-host doctor` tells more\n"));
}

TEST_F(GrabTest, SilenceAfterTheSimulatorHasEndedSaysSo) {
    _options.timeoutSeconds = 0.2;
    _simulatorRuns = false;
    ScriptedDevice device([](ScriptedDevice& self) { self.deliver(simulated(0).data()); });
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_THAT(people(),
                HasSubstr("no image came for 0.2 s; the simulator has ended: start dorven-simulator again\n"));
}

TEST_F(GrabTest, PeopleAreToldOnceThatNoSimulatorIsRunning) {
    _options.timeoutSeconds = 2.5;  // longer than the second between two looks
    _patienceNs = 0;
    _simulatorRuns = false;
    ScriptedDevice device([](ScriptedDevice&) {});
    EXPECT_EQ(run(device), host::kExitNoImage);
    const std::string advice = std::string("dorven-host: ") + host::kNoSimulator + "\n";
    const std::size_t first = people().find(advice);
    ASSERT_NE(first, std::string::npos) << people();
    EXPECT_EQ(people().find(advice, first + 1), std::string::npos) << people();
}

TEST_F(GrabTest, NobodyIsToldWhileASimulatorRunsOrImagesCome) {
    _options.timeoutSeconds = 0.2;
    _patienceNs = 0;
    ScriptedDevice silent([](ScriptedDevice&) {});
    EXPECT_EQ(run(silent), host::kExitNoImage);
    EXPECT_THAT(people(), Not(HasSubstr("no simulator is running")));
}

class AdvisedObserver : public host::GrabObserver {
public:
    void onSecond(const host::SecondNumbers& numbers) override { sawNone = sawNone || numbers.noSimulator; }
    bool showsAdvice() const override { return true; }
    bool goesOn() const override { return !sawNone; }
    bool sawNone = false;
};

TEST_F(GrabTest, LiveLineShowsTheAdviceInPlaceOfAMessage) {
    _patienceNs = 0;
    _simulatorRuns = false;
    AdvisedObserver observer;
    _observers = {&observer};
    ScriptedDevice device([](ScriptedDevice&) {});
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_TRUE(observer.sawNone);
    EXPECT_THAT(people(), Not(HasSubstr("no simulator is running")));
}

void deliverFakes(ScriptedDevice& device, int count) {
    std::vector<unsigned char> fake(kFormat.bytes(), 10);
    for (int image = 0; image < count; ++image) device.deliver(fake.data());
}

TEST_F(GrabTest, FakedImageBeforeTheRequiredSimulatorEndsWithThreeAndIsNotTaken) {
    const test::TemporaryFolder folder;
    _options.requireSimulator = true;
    _options.imageCount = 3;
    _options.save.folder = folder.path();
    _simulatorRuns = false;
    ScriptedDevice device([](ScriptedDevice& self) { deliverFakes(self, 3); });
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_EQ(_grab->results().images, 0u);
    EXPECT_EQ(_grab->saved().saved, 0u);
    EXPECT_STREQ(_grab->end(), "no_simulator");
    EXPECT_THAT(people(), HasSubstr("dorven-host: the camera began to fake images before a simulator sent one, and the "
                                    "limits or --require-simulator need one; no simulator is running: start "
                                    "dorven-simulator; `dorven-host doctor` tells more\n"));
}

TEST_F(GrabTest, RequiredSimulatorThatRunsAndSendsNothingIsToldAsThat) {
    _options.requireSimulator = true;
    ScriptedDevice device([](ScriptedDevice& self) { deliverFakes(self, 1); });
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_THAT(people(), HasSubstr("a simulator runs and sends nothing: it may hang or be paused"));
}

TEST_F(GrabTest, LimitThatCountsImagesRequiresASimulator) {
    _options.limits[0] = 0.0;  // --max-lost
    ScriptedDevice device([](ScriptedDevice& self) { deliverFakes(self, 3); });
    EXPECT_EQ(run(device), host::kExitNoImage);
}

TEST_F(GrabTest, SimulatorThatIsNotRequiredMayBeMissingWhateverTheLimits) {
    _options.limits[0] = 0.0;
    _options.requireSimulator = false;
    _options.imageCount = 3;
    ScriptedDevice device([](ScriptedDevice& self) { deliverFakes(self, 3); });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().faked, 3u);
}

TEST_F(GrabTest, RequiredSimulatorThatCameAndWentEndsWithFourAlsoWithoutStrips) {
    _options.requireSimulator = true;
    ScriptedDevice device([](ScriptedDevice& self) {
        std::vector<unsigned char> stripless(kFormat.bytes(), 77);
        self.deliver(stripless.data());
        deliverFakes(self, 2);
    });
    EXPECT_EQ(run(device), host::kExitConnectionLost);
    EXPECT_EQ(_grab->results().faked, 1u);
}

TEST_F(GrabTest, SilenceAfterImagesEndsWithThreeAndKeepsWhatWasMeasured) {
    _options.timeoutSeconds = 0.2;
    ScriptedDevice device([](ScriptedDevice& self) { self.deliver(simulated(0).data()); });
    EXPECT_EQ(run(device), host::kExitNoImage);
    EXPECT_EQ(_grab->results().simulated, 1u);
}

TEST_F(GrabTest, FakedImageAfterSimulatedOnesIsALostConnection) {
    ScriptedDevice device([](ScriptedDevice& self) {
        self.deliver(simulated(0).data());
        std::vector<unsigned char> fake(kFormat.bytes(), 10);
        self.deliver(fake.data());
        self.deliver(fake.data());
    });
    EXPECT_EQ(run(device), host::kExitConnectionLost);
    EXPECT_EQ(_grab->results().images, 2u);
    EXPECT_EQ(_grab->results().faked, 1u);
    EXPECT_THAT(people(), HasSubstr("the connection to the simulator was lost"));
}

TEST_F(GrabTest, FakedImagesAloneAreNoLostConnection) {
    _options.imageCount = 3;
    ScriptedDevice device([](ScriptedDevice& self) {
        std::vector<unsigned char> fake(kFormat.bytes(), 10);
        for (int image = 0; image < 3; ++image) self.deliver(fake.data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().faked, 3u);
}

TEST_F(GrabTest, SimulatorThatStartsLaterThanTheGrabIsNoLostConnection) {
    _options.imageCount = 2;
    ScriptedDevice device([](ScriptedDevice& self) {
        std::vector<unsigned char> fake(kFormat.bytes(), 10);
        self.deliver(fake.data());
        self.deliver(simulated(0).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
}

TEST_F(GrabTest, ImageWithoutPixelsIsUnverifiedAndNotSaved) {
    const test::TemporaryFolder folder;
    _options.imageCount = 1;
    _options.save.folder = folder.path();
    ScriptedDevice device([](ScriptedDevice& self) { self.deliver(nullptr); });
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(_grab->results().unverified, 1u);
    EXPECT_EQ(_grab->saved().saved, 0u);
}

TEST_F(GrabTest, EveryNthImageIsSavedAndComesBackWithItsStrip) {
    const test::TemporaryFolder folder;
    _options.imageCount = 7;
    _options.save.folder = folder.path() + "/made/for/it";
    _options.save.every = 3;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 40; number < 47; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->saved().saved, 3u);
    for (const int index : {0, 3, 6}) {
        frames::GreyImage image;
        std::string error;
        const std::string path = _options.save.folder + "/image_00000" + std::to_string(index) + ".png";
        ASSERT_TRUE(frames::readGreyImage(path, image, error)) << error;
        const auto inspection = frames::inspectImage({image.pixels.data(), kFormat});
        EXPECT_EQ(inspection.kind, frames::ImageKind::simulated);
        ASSERT_TRUE(inspection.strip);
        EXPECT_EQ(inspection.strip->frameNumber, 40u + static_cast<unsigned>(index));
    }
}

TEST_F(GrabTest, OutputThatIsAFileFailsBeforeTheCameraIsOpened) {
    const test::TemporaryFolder folder;
    _options.save.folder = folder.file("taken", "");
    ScriptedDevice device([](ScriptedDevice&) {});
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(device.openedPath, "");
    EXPECT_THAT(people(), HasSubstr("taken: cannot be made a folder for images"));
}

TEST_F(GrabTest, ImagesThatCannotBeWrittenFailTheGrabWithTheReason) {
    const test::TemporaryFolder folder;
    std::filesystem::create_directories(folder.path() + "/image_000000.png");
    _options.imageCount = 2;
    _options.save.folder = folder.path();
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 2; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(_grab->saved().failed, 1u);
    EXPECT_EQ(_grab->saved().saved, 1u);
    EXPECT_THAT(people(), HasSubstr("image_000000.png: cannot be written"));
}

// The record claims more bytes than possible.
TEST_F(GrabTest, WhatTheCallbackThrowsStaysInItAndFailsTheGrab) {
    const test::TemporaryFolder folder;
    _options.save.folder = folder.path();
    int answer = -1;
    ScriptedDevice device([&answer](ScriptedDevice& self) {
        unsigned char pixel = 5;
        self.record.height = 1;
        self.record.width = std::numeric_limits<std::size_t>::max();
        answer = self.deliver(&pixel);
    });
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(answer, 1);
    EXPECT_THAT(people(), HasSubstr("an image could not be handled: "));
    EXPECT_EQ(device.freezes, 1);
}

TEST_F(GrabTest, ImageThatReachesBeyondReadableMemoryFailsTheGrabUntouched) {
    unsigned char pixel = 5;
    ScriptedDevice device([&pixel](ScriptedDevice& self) { self.deliver(&pixel); });
    device.record.width = std::size_t{1} << 20;
    device.record.height = std::size_t{1} << 20;
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(_grab->results().images, 0u);
    EXPECT_THAT(people(), HasSubstr("the simulator's images are smaller than the camera's 1048576x1048576; give both "
                                    "the same --config"));
}

TEST_F(GrabTest, GeometryWhoseSizeCannotBeToldIsRefusedAtOpen) {
    for (const std::size_t size :
         {std::numeric_limits<std::size_t>::max(), std::size_t{1} << 32, (std::size_t{1} << 20) + 1}) {
        ScriptedDevice device([](ScriptedDevice&) {});
        device.record.width = size;
        device.record.height = size;
        EXPECT_EQ(run(device), host::kExitFailed);
        EXPECT_EQ(device.freezes, 0);
        EXPECT_THAT(people(), HasSubstr("the camera's images are impossibly large: " + std::to_string(size) + " x "));
    }
}

// Accepts text until it breaks.
class BreakingBuffer : public std::stringbuf {
public:
    std::atomic<bool> broken{false};

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return broken ? 0 : std::stringbuf::xsputn(text, count);
    }
};

TEST_F(GrabTest, CameraIsStoppedWhenTheWaitForTheEndThrows) {
    _options.timeoutSeconds = 0.1;
    BreakingBuffer buffer;
    std::ostream people(&buffer);
    people.exceptions(std::ios::badbit);
    ScriptedDevice device([&buffer](ScriptedDevice&) { buffer.broken = true; });
    device.record.width = kFormat.width;
    device.record.height = kFormat.height;
    device.record.bytesPerPixel = 1;
    Grab grab(device, _options, people);
    EXPECT_THROW(grab.run(), std::ios::failure);
    EXPECT_EQ(device.freezes, 1);
    EXPECT_EQ(device.callbacksRemoved, 1);
}

TEST_F(GrabTest, RefusedOpenIsToldWithItsStatus) {
    ScriptedDevice device([](ScriptedDevice&) {});
    device.openStatus = NUV::kNotSupported;
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("the camera did not open the camera: command 1001 answered (-4, 0)"));
}

TEST_F(GrabTest, CameraWithoutImageMemoryFails) {
    ScriptedDevice device([](ScriptedDevice&) {});
    device.hasMemory = false;
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("the camera has no image memory"));
}

TEST_F(GrabTest, RefusedGrabRemovesTheCallbackAgain) {
    ScriptedDevice device([](ScriptedDevice&) {});
    device.grabStatus = NUV::kNotSupported;
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(device.callbacksRemoved, 1);
    EXPECT_EQ(device.freezes, 0);
    EXPECT_THAT(people(), HasSubstr("command 1002 answered (-4, 0)"));
}

TEST_F(GrabTest, GoodGrabTellsNoFindings) {
    _options.imageCount = 2;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 2; ++number) self.deliver(simulated(number).data());
    });
    run(device);
    EXPECT_THAT(people(), Not(HasSubstr("frames:")));
}

class Recorder : public host::GrabObserver {
public:
    void onSecond(const host::SecondNumbers& numbers) override { seconds.push_back(numbers); }
    bool wantsFrames() const override { return frames; }
    void onFrames(std::span<const host::FrameRow> some) override { rows.insert(rows.end(), some.begin(), some.end()); }
    void onEnd() override { ++ends; }

    bool frames = true;
    std::vector<host::SecondNumbers> seconds;
    std::vector<host::FrameRow> rows;
    int ends = 0;
};

TEST_F(GrabTest, ObserverIsToldOfTheRestAtTheEnd) {
    Recorder recorder;
    _observers = {&recorder};
    _options.imageCount = 4;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (const std::uint64_t number : {5u, 6u, 8u, 9u}) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(recorder.ends, 1);
    ASSERT_FALSE(recorder.seconds.empty());
    const host::SecondNumbers& last = recorder.seconds.back();
    EXPECT_EQ(last.totals.images, 4u);
    EXPECT_EQ(last.totals.lost, 1u);
    EXPECT_GT(last.elapsedS, 0.0);
    EXPECT_GT(last.lengthS, 0.0);
    EXPECT_TRUE(last.second.cpuPercent);
    EXPECT_STREQ(_grab->end(), "count");
    EXPECT_GT(_grab->results().durationS.value_or(0), 0.0);
    EXPECT_GE(_grab->results().cpuPercent.value_or(-1), 0.0);
}

TEST_F(GrabTest, ObserverIsToldOnceASecondAndTheSecondsSumUp) {
    Recorder recorder;
    recorder.frames = false;
    _observers = {&recorder};
    _options.imageCount = 24;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 24; ++number) {
            self.deliver(simulated(number).data());
            platform_sleepUntil(platform_monotonicNanoseconds() + 100'000'000);
        }
    });
    EXPECT_EQ(run(device), host::kExitDone);
    ASSERT_GE(recorder.seconds.size(), 3u);
    double images = 0;
    double seconds = 0;
    for (const auto& look : recorder.seconds) {
        images += look.second.fpsMean.value_or(0) * look.lengthS;
        seconds += look.lengthS;
    }
    for (std::size_t index = 0; index + 1 < recorder.seconds.size(); ++index)
        EXPECT_GE(recorder.seconds[index].lengthS, 1.0);
    EXPECT_NEAR(images, 24.0, 1e-6);
    EXPECT_NEAR(seconds, recorder.seconds.back().elapsedS, 1e-6);
    EXPECT_THAT(recorder.rows, IsEmpty()) << "it wants no frames";
}

TEST_F(GrabTest, EachImageIsARowInTheOrderOfArrival) {
    Recorder recorder;
    _observers = {&recorder};
    _options.imageCount = 3;
    ScriptedDevice device([](ScriptedDevice& self) {
        std::vector<unsigned char> fake(kFormat.bytes(), 10);
        self.deliver(fake.data());
        self.record.imageCounter = 77;
        self.record.timeStamp = 1234;
        self.deliver(simulated(41).data());
        auto torn = simulated(43);
        torn.back() = static_cast<unsigned char>(~torn.back());
        self.deliver(torn.data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    ASSERT_EQ(recorder.rows.size(), 3u);
    EXPECT_EQ(recorder.rows[0].kind, frames::ImageKind::faked);
    EXPECT_EQ(recorder.rows[0].number, std::nullopt);
    EXPECT_EQ(recorder.rows[0].periodNs, std::nullopt);
    const host::FrameRow& row = recorder.rows[1];
    EXPECT_EQ(row.image, 1u);
    EXPECT_EQ(row.kind, frames::ImageKind::simulated);
    EXPECT_EQ(row.number, 41u);
    EXPECT_EQ(row.counter, 77u);
    EXPECT_EQ(row.recordTimeStampUs, 1234u);
    EXPECT_EQ(row.periodNs, row.arrivalNs - recorder.rows[0].arrivalNs);
    ASSERT_TRUE(row.timeStampNs);
    EXPECT_EQ(row.latencyNs, row.arrivalNs - static_cast<std::int64_t>(*row.timeStampNs));
    EXPECT_EQ(recorder.rows[2].kind, frames::ImageKind::torn);
    EXPECT_EQ(recorder.rows[2].number, 43u);
    EXPECT_EQ(_grab->framesOmitted(), 0u);
}

TEST_F(GrabTest, ImagesFromBeforeAreNoRows) {
    Recorder recorder;
    _observers = {&recorder};
    _options.imageCount = 1;
    ScriptedDevice device([](ScriptedDevice& self) {
        deliverLeftOver(self, 3);
        self.deliver(simulated(50).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    ASSERT_EQ(recorder.rows.size(), 1u);
    EXPECT_EQ(recorder.rows[0].image, 0u);
    EXPECT_EQ(recorder.rows[0].number, 50u);
    EXPECT_EQ(recorder.seconds.back().totals.stale, 3u);
}

// The observer blocks the thread that calls it, as a full pipe does; the camera's thread continues.
class StuckObserver : public Recorder {
public:
    void onFrames(std::span<const host::FrameRow> some) override {
        Recorder::onFrames(some);
        stuck = true;
        while (!freed) platform_sleepUntil(platform_monotonicNanoseconds() + 1'000'000);
    }
    std::atomic<bool> stuck{false}, freed{false};
};

TEST_F(GrabTest, ImagesThatAStuckObserverHasNoRoomForAreCounted) {
    StuckObserver observer;
    _observers = {&observer};
    constexpr std::uint64_t kRoom = 65'536;
    _options.imageCount = kRoom + 11;
    ScriptedDevice device([&observer](ScriptedDevice& self) {
        unsigned char pixel = 5;
        self.record.width = self.record.height = 1;
        self.deliver(&pixel);
        while (!observer.stuck) platform_sleepUntil(platform_monotonicNanoseconds() + 1'000'000);
        for (std::uint64_t number = 1; number < kRoom + 11; ++number) self.deliver(&pixel);
        observer.freed = true;
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().images, kRoom + 11);
    EXPECT_EQ(_grab->framesOmitted(), 10u);
    EXPECT_EQ(observer.rows.size(), kRoom + 1);
}

TEST_F(GrabTest, EndsAreNamedAndASilentOrLostSimulatorIsFoundAsStopped) {
    _options.timeoutSeconds = 0.2;
    ScriptedDevice silent([](ScriptedDevice& self) { self.deliver(simulated(41).data()); });
    EXPECT_EQ(run(silent), host::kExitNoImage);
    EXPECT_STREQ(_grab->end(), "no_image");
    EXPECT_THAT(people(), HasSubstr("nothing came from this frame on: 42\n"));
    ScriptedDevice lost([](ScriptedDevice& self) {
        self.deliver(simulated(7).data());
        std::vector<unsigned char> fake(kFormat.bytes(), 10);
        self.deliver(fake.data());
    });
    EXPECT_EQ(run(lost), host::kExitConnectionLost);
    EXPECT_STREQ(_grab->end(), "connection_lost");
    EXPECT_THAT(people(), HasSubstr("nothing came from this frame on: 8\n"));
    ScriptedDevice refused([](ScriptedDevice&) {});
    refused.grabStatus = NUV::kNotSupported;
    EXPECT_EQ(run(refused), host::kExitFailed);
    EXPECT_STREQ(_grab->end(), "failed");
    EXPECT_EQ(_grab->results().durationS, std::nullopt);
}

TEST_F(GrabTest, LatencyLimitMakesLateImages) {
    _options.limits[6] = 0.001;
    _options.imageCount = 2;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 2; ++number) self.deliver(simulated(number).data());
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_EQ(_grab->results().late, 2u);
    EXPECT_THAT(people(), HasSubstr("late frames: 0-1\n"));
}

// A record whose counter or size differs from what the pixels say.
TEST_F(GrabTest, RecordsAreCheckedAgainstThePixels) {
    _options.imageCount = 4;
    ScriptedDevice device([](ScriptedDevice& self) {
        for (std::uint64_t number = 0; number < 4; ++number) {
            self.record.imageCounter = static_cast<std::uint32_t>(number) + (number == 2 ? 5 : 0);
            self.record.height = number == 1 ? kFormat.height - 1 : kFormat.height;
            self.deliver(simulated(number).data());
        }
    });
    EXPECT_EQ(run(device), host::kExitDone);
    EXPECT_THAT(people(), HasSubstr("or without a strip unlike others: 1\n"));
    EXPECT_THAT(people(), HasSubstr("record's counter jumped: 2-3\n"));
}

}  // namespace
