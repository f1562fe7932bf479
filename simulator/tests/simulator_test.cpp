#include "simulator.h"

#include <atomic>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "log_recorder.h"
#include "msharedmem.h"
#include "named_claim.h"
#include "object_names.h"
#include "platform.h"
#include "ring_reader.h"
#include "simulator_program.h"
#include "temporary_folder.h"

namespace {

using simulator::ImageRing;
using simulator::RenderedImages;
using simulator::Simulator;
using simulator::SimulatorOptions;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

constexpr frames::ImageFormat kFormat{900, 20, 1};

class SimulatorTest : public testing::Test {
protected:
    SimulatorTest() {
        _options.size = kFormat;
        _options.pacing.framesPerSecond = 500;
        _options.pacing.frameCount = 20;
    }

    test::LogRecorder _log;
    SimulatorOptions _options;
    RenderedImages _source{kFormat};
    std::ostringstream _people;
};

TEST_F(SimulatorTest, WithoutAReaderTheRingFillsAndTheRestIsRefused) {
    _options.delivery.lineCount = 5;
    _options.pacing.late = simulator::LatePolicy::burst;  // a busy machine leaves none out
    Simulator simulator(_options, _source, _people);
    EXPECT_EQ(simulator.run(), 0);
    const auto& totals = simulator.totals();
    EXPECT_EQ(totals.written, 5u);
    EXPECT_EQ(totals.refused, 15u);
    EXPECT_THAT(_people.str(), HasSubstr("900 x 20 pixels, 1 byte per pixel, 500 images per second, ring of 5"));
    EXPECT_THAT(_people.str(), HasSubstr("written 5, refused by the full ring 15, skipped as too late 0"));
    EXPECT_FALSE(test::RingReader::memoryExists());
}

TEST_F(SimulatorTest, DeliversWholeStampedImagesWithTheirNumbers) {
    Simulator simulator(_options, _source, _people);
    ASSERT_EQ(simulator.openRing(), ImageRing::OpenResult::opened);
    test::RingReader reader(kFormat);
    reader.attach();
    for (std::uint64_t frame = 0; frame < 30; ++frame) {
        const std::int64_t before = platform_monotonicNanoseconds();
        simulator.deliver(frame);
        const std::int64_t after = platform_monotonicNanoseconds();
        const auto image = reader.take();
        ASSERT_TRUE(image);
        EXPECT_EQ(image->header.imageCounter, frame);
        EXPECT_EQ(image->header.frameTimeS, 0.002);
        ASSERT_EQ(image->inspection.kind, frames::ImageKind::simulated);
        EXPECT_EQ(image->inspection.strip->frameNumber, frame);
        const auto stamp = static_cast<std::int64_t>(image->inspection.strip->timeStampNs);
        EXPECT_GE(stamp, before);
        EXPECT_LE(stamp, after);
        EXPECT_DOUBLE_EQ(image->header.timeStampS, static_cast<double>(stamp) / 1e9);
    }
    EXPECT_EQ(simulator.totals().written, 30u);
}

TEST_F(SimulatorTest, RefusedFrameUsesItsNumberUpAndWakesTheReader) {
    _options.delivery.lineCount = 2;
    Simulator simulator(_options, _source, _people);
    simulator.openRing();
    test::RingReader reader(kFormat);
    reader.attach();
    for (std::uint64_t frame = 0; frame < 4; ++frame) simulator.deliver(frame);
    EXPECT_EQ(simulator.totals().written, 2u);
    EXPECT_EQ(simulator.totals().refused, 2u);
    EXPECT_EQ(reader.take()->header.imageCounter, 0u);
    EXPECT_EQ(reader.take()->header.imageCounter, 1u);
    simulator.deliver(4);
    EXPECT_EQ(reader.take()->header.imageCounter, 4u);
    simulator.deliver(5);
    simulator.deliver(6);
    while (reader.event().Wait(0.0) == 1) {
    }
    simulator.deliver(7);
    EXPECT_EQ(simulator.totals().refused, 3u);
    EXPECT_EQ(reader.event().Wait(0.0), 1);
}

TEST_F(SimulatorTest, ReaderOfARunSeesConsecutiveTimesOnTheGrid) {
    _options.pacing.framesPerSecond = 50;
    _options.delivery.lineCount = 30;
    std::vector<test::RingReader::Image> images;
    std::thread thread([&images] {
        test::RingReader reader(kFormat);
        if (!reader.attachAtSignal()) return;
        while (images.empty() || images.back().header.imageCounter < 19) {
            const auto image = reader.waitAndTake();
            if (!image) return;
            images.push_back(*image);
        }
    });
    Simulator simulator(_options, _source, _people);
    EXPECT_EQ(simulator.run(), 0);
    thread.join();
    EXPECT_EQ(images.size(), simulator.totals().written);
    ASSERT_GE(images.size(), 2u);
    for (std::size_t index = 1; index < images.size(); ++index) {
        EXPECT_GT(images[index].header.imageCounter, images[index - 1].header.imageCounter);
        EXPECT_GT(images[index].header.timeStampS, images[index - 1].header.timeStampS);
        // No image is ahead of its slot: it comes n periods after the first one, which itself may have been late.
        const double slots = static_cast<double>(images[index].header.imageCounter - images[0].header.imageCounter);
        EXPECT_GT(images[index].header.timeStampS - images[0].header.timeStampS, slots * 0.02 - 0.02);
    }
}

TEST_F(SimulatorTest, RunTakesAsLongAsItsGrid) {
    _options.pacing.framesPerSecond = 100;
    _options.pacing.frameCount = 31;
    Simulator simulator(_options, _source, _people);
    const std::int64_t before = platform_monotonicNanoseconds();
    simulator.run();
    EXPECT_GE(platform_monotonicNanoseconds() - before, 300'000'000);
    EXPECT_EQ(simulator.totals().written + simulator.totals().refused + simulator.totals().skipped, 31u);
}

TEST_F(SimulatorTest, RunOfADurationDeliversTheFramesThatAreDueWithinItAndEndsThen) {
    _options.pacing.framesPerSecond = 100;
    _options.pacing.frameCount = 0;
    _options.pacing.durationNs = 100'000'000;
    Simulator simulator(_options, _source, _people);
    const std::int64_t before = platform_monotonicNanoseconds();
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_GE(platform_monotonicNanoseconds() - before, 100'000'000);
    EXPECT_EQ(simulator.totals().written + simulator.totals().refused + simulator.totals().skipped, 10u);
}

TEST_F(SimulatorTest, CountThatIsReachedBeforeTheDurationEndsTheRun) {
    _options.pacing.durationNs = 3'600'000'000'000;
    Simulator simulator(_options, _source, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written + simulator.totals().refused + simulator.totals().skipped, 20u);
}

TEST_F(SimulatorTest, DurationThatEndsBeforeTheCountEndsTheRun) {
    _options.pacing.frameCount = std::uint64_t{1} << 53;
    _options.pacing.durationNs = 20'000'000;
    Simulator simulator(_options, _source, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written + simulator.totals().refused + simulator.totals().skipped, 10u);
}

TEST_F(SimulatorTest, QuietRunTellsItsTotalsAlone) {
    _options.quiet = true;
    _options.pacing.frameCount = 2;
    Simulator simulator(_options, _source, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_THAT(_people.str(), HasSubstr("dorven-simulator: written "));
    EXPECT_THAT(_people.str(), Not(HasSubstr("images per second")));
}

// Draws so slowly that slots are missed, and reads in between what is there.
class SlowImages : public RenderedImages {
public:
    using RenderedImages::RenderedImages;
    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frame, std::optional<std::uint64_t> before) override {
        if (!_reader.attached()) _reader.attach();
        takeAll();
        std::this_thread::sleep_for(50ms);
        ++drawn;
        return RenderedImages::draw(pixels, frame, before);
    }
    void takeAll() {
        while (const auto image = _reader.take()) numbers.push_back(image->header.imageCounter);
    }

    std::vector<std::uint64_t> numbers;
    std::uint64_t drawn = 0;

private:
    test::RingReader _reader{kFormat};
};

TEST_F(SimulatorTest, FramesThatComeTooLateAreSkippedAndLeaveAGap) {
    _options.pacing.framesPerSecond = 100;
    _options.delivery.lineCount = 3;
    SlowImages slow(kFormat);
    Simulator simulator(_options, slow, _people);
    simulator.run();
    slow.takeAll();
    EXPECT_GE(simulator.totals().skipped, 12u);
    EXPECT_EQ(simulator.totals().refused, 0u);
    EXPECT_EQ(simulator.totals().written, slow.numbers.size());
    EXPECT_EQ(slow.drawn, slow.numbers.size());  // none was drawn ahead that had to be skipped
    EXPECT_EQ(simulator.totals().written + simulator.totals().skipped, 20u);
    EXPECT_EQ(slow.numbers.front(), 0u);
    EXPECT_EQ(slow.numbers.back(), 19u);
}

TEST_F(SimulatorTest, FramesThatAreLateByNoMoreThanHalfARingAreMadeUpFor) {
    _options.pacing.framesPerSecond = 100;
    _options.delivery.lineCount = 1000;
    SlowImages slow(kFormat);
    Simulator simulator(_options, slow, _people);
    simulator.run();
    EXPECT_EQ(simulator.totals().written, 20u);
    EXPECT_EQ(simulator.totals().skipped, 0u);
}

TEST_F(SimulatorTest, NothingOfFormerFramesStaysInASlotThatIsUsedAgain) {
    const frames::ImageFormat format{900, 200, 1};
    RenderedImages source(format);
    RenderedImages whole(format);
    _options.delivery.lineCount = 2;
    Simulator simulator(_options, source, _people);
    simulator.openRing();
    test::RingReader reader(format);
    reader.attach();
    std::vector<std::uint8_t> expected(format.bytes());
    for (const std::uint64_t frame : {0u, 1u, 2u, 3u, 40u, 41u, 42u, 100u, 7u}) {
        simulator.deliver(frame);
        whole.draw(expected.data(), frame, std::nullopt);
        const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetReadLine(reader.memory()));
        ASSERT_TRUE(line);
        const std::size_t below = frames::stripLines(format) * format.lineBytes();
        EXPECT_EQ(std::memcmp(line + 24 + below, expected.data() + below, format.bytes() - below), 0) << frame;
        MMemLineFifo_ReleaseLine(reader.memory());
    }
}

TEST_F(SimulatorTest, SlotThatAReaderDrewIntoStillGivesAWholeImage) {
    _options.delivery.lineCount = 1;
    Simulator simulator(_options, _source, _people);
    simulator.openRing();
    test::RingReader reader(kFormat);
    reader.attach();
    for (std::uint64_t frame = 0; frame < 6; ++frame) {
        simulator.deliver(frame);
        auto* line = static_cast<std::uint8_t*>(MMemLineFifo_GetReadLine(reader.memory()));
        ASSERT_TRUE(line);
        EXPECT_EQ(frames::inspectImage({line + 24, kFormat}).kind, frames::ImageKind::simulated) << frame;
        std::memset(line + 24, 1, kFormat.bytes());
        MMemLineFifo_ReleaseLine(reader.memory());
    }
}

TEST_F(SimulatorTest, SmallImagesAreDeliveredWithAWarningThatTheyCannotBeVerified) {
    RenderedImages small({100, 20, 1});
    _options.pacing.late = simulator::LatePolicy::burst;  // a busy machine leaves none out
    Simulator simulator(_options, small, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written, 8u);
    EXPECT_THAT(_people.str(), HasSubstr("images this small carry no strip"));
}

TEST_F(SimulatorTest, AStripOverMoreThanATenthOfTheImageIsToldUnlessItIsLeftOut) {
    RenderedImages line({512, 16, 1});
    Simulator(_options, line, _people).run();
    EXPECT_THAT(_people.str(), HasSubstr("dorven-simulator: the strip covers 8 of 16 lines (50 %); --strip-cell line "
                                         "takes 1\n"));
    _people.str("");
    _options.delivery.strip = false;
    Simulator(_options, line, _people).run();
    EXPECT_THAT(_people.str(), Not(HasSubstr("the strip covers")));
}

/// Pictures that come at their own times, far apart, until they end or break off.
class LiveImages : public RenderedImages {
public:
    LiveImages(int pictures, Supply end) : RenderedImages(kFormat), _left(pictures), _end(end) {}

    Supply await(std::int64_t) override {
        if (_left == 0) return _end;
        _waiting = !_waiting;
        if (_waiting) return Supply::waiting;
        constexpr std::int64_t kSeventyMsNs = 70'000'000;
        platform_sleepUntil(platform_monotonicNanoseconds() + kSeventyMsNs);
        --_left;
        return Supply::ready;
    }
    bool isLive() const override { return true; }
    std::string problem() const override { return "standard input: ends within a picture"; }

private:
    int _left;
    Supply _end;
    bool _waiting = false;
};

TEST_F(SimulatorTest, LivePicturesAreDeliveredAsTheyComeAndNoneIsSkipped) {
    LiveImages live(5, simulator::ImageSource::Supply::ended);
    _options.pacing.framesPerSecond = 100;  // each picture is late by more than half a ring
    _options.pacing.frameCount = 0;
    Simulator simulator(_options, live, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written, 5u);
    EXPECT_EQ(simulator.totals().skipped, 0u);
}

TEST_F(SimulatorTest, DurationEndsARunWhoseLivePicturesStopComing) {
    LiveImages live(2, simulator::ImageSource::Supply::waiting);
    _options.pacing.frameCount = 0;
    _options.pacing.durationNs = 300'000'000;
    Simulator simulator(_options, live, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written, 2u);
}

TEST_F(SimulatorTest, LivePicturesThatComeSeldomEndWithTheDurationAndNotWithItsFrames) {
    LiveImages live(1000, simulator::ImageSource::Supply::ended);
    _options.pacing.framesPerSecond = 1000;
    _options.pacing.frameCount = 0;
    _options.pacing.durationNs = 250'000'000;
    Simulator simulator(_options, live, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_LE(simulator.totals().written, 4u) << "one each 70 ms";
}

TEST_F(SimulatorTest, EndOfLivePicturesEndsTheRunBeforeTheDurationIsOver) {
    LiveImages live(1, simulator::ImageSource::Supply::ended);
    _options.pacing.frameCount = 0;
    _options.pacing.durationNs = 3'600'000'000'000;
    Simulator simulator(_options, live, _people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().written, 1u);
}

TEST_F(SimulatorTest, LivePicturesThatBreakOffEndTheRunWithTheirReason) {
    LiveImages live(1, simulator::ImageSource::Supply::failed);
    Simulator simulator(_options, live, _people);
    EXPECT_EQ(simulator.run(), 1);
    EXPECT_EQ(simulator.totals().written, 1u);
    EXPECT_THAT(_people.str(), HasSubstr("dorven-simulator: standard input: ends within a picture\n"));
}

TEST_F(SimulatorTest, SecondSimulatorSaysSoAndFails) {
    Simulator first(_options, _source, _people);
    first.openRing();
    std::ostringstream people;
    Simulator second(_options, _source, people);
    EXPECT_EQ(second.run(), 1);
    EXPECT_THAT(people.str(), HasSubstr("dorven-simulator: another simulator is running; end it first\n"));
}

constexpr const char* kOtherKind = "is the name of an object of another kind already; end the program that made it\n";

TEST_F(SimulatorTest, NameThatAnObjectOfAnotherKindHasIsNoOtherSimulator) {
    void* const taken = MSharedMem_Create(image_road::kImagesWriter, 100);
    ASSERT_TRUE(taken);
    EXPECT_EQ(Simulator(_options, _source, _people).run(), 1);
    MSharedMem_Destroy(taken);
    EXPECT_THAT(_people.str(), HasSubstr(std::string("dorven-simulator: no event \"DorVenImagesWriter\": "
                                                     "\"DorVenImagesWriter\" ") +
                                         kOtherKind));
    EXPECT_THAT(_people.str(), Not(HasSubstr("another simulator is running")));
}

TEST_F(SimulatorTest, EventThatCannotBeMadeEndsTheSimulatorWithItsReason) {
    void* const taken = MSharedMem_Create(image_road::kImagesEvent, 100);
    ASSERT_TRUE(taken);
    EXPECT_EQ(Simulator(_options, _source, _people).run(), 1);
    MSharedMem_Destroy(taken);
    EXPECT_THAT(_people.str(), HasSubstr(std::string("dorven-simulator: no event \"DorVenImagesEvent\": "
                                                     "\"DorVenImagesEvent\" ") +
                                         kOtherKind));
}

TEST_F(SimulatorTest, MemoryThatCannotBeMadeEndsTheSimulatorWithItsReason) {
    NamedClaim taken(image_road::kImagesMemory);
    ASSERT_TRUE(taken.claim());
    EXPECT_EQ(Simulator(_options, _source, _people).run(), 1);
    EXPECT_THAT(_people.str(), HasSubstr("dorven-simulator: no shared memory of 162280 bytes for the images: "));
    EXPECT_THAT(_people.str(), HasSubstr(std::string("\"DorVenImages\" ") + kOtherKind));
}

TEST_F(SimulatorTest, ReaderComesBackToASimulatorThatWasStartedAgain) {
    test::RingReader reader(kFormat);
    {
        Simulator first(_options, _source, _people);
        first.openRing();
        reader.attach();
        first.deliver(0);
        EXPECT_TRUE(reader.take());
    }
    Simulator second(_options, _source, _people);
    EXPECT_EQ(second.openRing(), ImageRing::OpenResult::opened);
    while (reader.event().Wait(0.0) == 1) {
    }
    second.deliver(0);
    EXPECT_EQ(reader.event().Wait(0.0), 1);
    EXPECT_FALSE(reader.attached());
    ASSERT_TRUE(reader.attach());
    const auto image = reader.take();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
}

// Reads one image, says so, and stays without reading any more.
CHILD_ROLE(readsOneImageAndStays) {
    test::RingReader reader(kFormat);
    if (!reader.attachAtSignal() || !reader.waitAndTake()) return 1;
    MProcessEvent(arguments.at(0).c_str()).Set();
    std::this_thread::sleep_for(60s);
    return 0;
}

TEST_F(SimulatorTest, RingOfAReaderThatDiedIsLaidAnewForTheNextOne) {
    const std::string readName = test::uniqueName("read");
    MProcessEvent read(readName.c_str());
    test::ChildProcess dying("readsOneImageAndStays", {readName});
    _options.pacing.framesPerSecond = 100;
    _options.pacing.frameCount = 0;
    _options.delivery.readerTimeoutSeconds = 0.3;
    Simulator simulator(_options, _source, _people);
    ASSERT_EQ(simulator.openRing(), ImageRing::OpenResult::opened);
    std::uint64_t frame = 0;
    const auto deliverUntil = [&](auto done) {
        const auto end = std::chrono::steady_clock::now() + 60s;
        while (!done() && std::chrono::steady_clock::now() < end) {
            simulator.deliver(frame++);
            std::this_thread::sleep_for(5ms);
        }
    };
    deliverUntil([&] { return read.Wait(0.0) == 1; });
    dying.kill();
    test::RingReader next(kFormat);
    EXPECT_FALSE(next.attach());  // the dead one's mark is still there
    deliverUntil([&] { return simulator.totals().unread > 0; });
    EXPECT_THAT(_people.str(),
                HasSubstr("the reader has not moved for 0.3 s; the ring is laid anew, and 8 images are lost"));
    ASSERT_TRUE(next.attach());
    const auto image = next.take();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->header.imageCounter, frame - 1);
}

TEST_F(SimulatorTest, ReaderThatWasOnlyPausedComesBackAndTheGapShows) {
    _options.delivery.lineCount = 2;
    _options.delivery.readerTimeoutSeconds = 0.05;
    Simulator simulator(_options, _source, _people);
    simulator.openRing();
    test::RingReader reader(kFormat);
    reader.attach();
    simulator.deliver(0);
    EXPECT_EQ(reader.take()->header.imageCounter, 0u);
    for (std::uint64_t frame = 1; frame < 4; ++frame) simulator.deliver(frame);
    EXPECT_EQ(simulator.totals().refused, 1u);
    EXPECT_TRUE(reader.attached());
    std::this_thread::sleep_for(60ms);
    simulator.deliver(4);
    EXPECT_FALSE(reader.attached());
    EXPECT_EQ(simulator.totals().unread, 2u);
    const auto image = reader.waitAndTake();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->header.imageCounter, 4u);
    EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
}

TEST_F(SimulatorTest, RingThatAnotherProcessHasOverwrittenIsToldOnceCountedAndRecreated) {
    const test::TemporaryFolder folder;
    _options.faults.logFile = folder.path("faults.jsonl");
    _options.delivery.readerTimeoutSeconds = 0;
    _options.pacing.framesPerSecond = 1000;
    _options.pacing.frameCount = 30;
    // Before each frame is published, reads everything there is; overwrites the header twice.
    class OverwritingHost : public RenderedImages {
    public:
        OverwritingHost() : RenderedImages(kFormat) {}
        void record(std::uint64_t frame) override {
            if (!_reader.attached()) _reader.attach();
            while (const auto image = _reader.take()) numbers.push_back(image->header.imageCounter);
            if (frame != 13 && frame != 23) return;
            auto& header = *static_cast<LineFifoHeader*>(_reader.memory());
            std::atomic_ref(frame == 13 ? header.lineLength : header.readIndex).store(1'000'000);
        }
        std::vector<std::uint64_t> numbers;

    private:
        test::RingReader _reader{kFormat};
    };
    std::string error;
    const auto faults = openFaults(_options, _people, error);
    ASSERT_TRUE(faults) << error;
    OverwritingHost host;
    _options.pacing.late = simulator::LatePolicy::burst;  // a busy machine leaves none out
    Simulator simulator(_options, host, _people, nullptr, faults.get());
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(simulator.totals().ringDamaged, 2u);
    EXPECT_EQ(simulator.totals().written, 30u);
    EXPECT_THAT(host.numbers, testing::IsSupersetOf({10u, 11u, 12u, 15u, 20u, 21u, 22u, 25u, 28u}));
    EXPECT_THAT(_people.str(),
                HasSubstr("another process has overwritten the ring's line length with 1000000 (it was " +
                          std::to_string((24 + kFormat.bytes() + 7) / 8 * 8) +
                          "). The ring is recreated; unread images lost: 1. Look for a stray write in the "
                          "host; further ones are counted in the totals\n"));
    EXPECT_THAT(_people.str(), Not(HasSubstr("read index")));
    EXPECT_THAT(_people.str(), HasSubstr(", ring damaged 2"));
    std::ifstream file(folder.path("faults.jsonl"));
    const std::string log{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(log, HasSubstr(R"("note":"ring-damaged","first":13,"last":13)"));
    EXPECT_THAT(log, HasSubstr(R"({"event":"end","next_frame":30,"ring_damaged":2})"));
}

TEST_F(SimulatorTest, ScenarioThatChangesWhileItRunsIsFollowed) {
    const test::TemporaryFolder folder;
    const auto scenario = [&folder](const char* faults) {
        return folder.file("s.json", R"({"schema":"dorven-scenario/1","faults":[)" + std::string(faults) + "]}");
    };
    _options.faults.scenarioFile = scenario("");
    _options.pacing.framesPerSecond = 50;
    _options.pacing.frameCount = 10'000;
    std::string error;
    const auto faults = openFaults(_options, _people, error);
    ASSERT_TRUE(faults) << error;
    // Ends the run once the fault has struck.
    class WatchedImages : public RenderedImages {
    public:
        explicit WatchedImages(std::function<void(std::uint64_t)> made)
            : RenderedImages(kFormat), _made(std::move(made)) {}
        void record(std::uint64_t frame) override { _made(frame); }
        std::function<void(std::uint64_t)> _made;
    };
    test::RingReader reader(kFormat);
    std::uint64_t changedAt = 0;
    std::uint64_t lost = 0;
    std::uint64_t expected = 0;
    WatchedImages images([&](std::uint64_t frame) {
        if (!reader.attached()) reader.attach();
        while (reader.take()) {
        }
        if (frame == 5) scenario(R"("drop")");
        if (frame == 5) changedAt = frame;
        if (frame != expected) lost = expected;
        if (lost != 0) throw std::runtime_error("seen");
        expected = frame + 1;
        if (frame > 2000) throw std::runtime_error("never seen");
    });
    Simulator simulator(_options, images, _people, nullptr, faults.get());
    EXPECT_THROW(simulator.run(), std::runtime_error);
    EXPECT_EQ(changedAt, 5u);
    EXPECT_GT(lost, changedAt);
    EXPECT_EQ(simulator.totals().faults, 1u);
    EXPECT_THAT(_people.str(), HasSubstr("1 fault in force from frame " + std::to_string(lost) + " on"));
}

CHILD_ROLE(holdsSmallMemory) {
    void* memory = MSharedMem_Create(image_road::kImagesMemory, 1000);
    MProcessEvent(arguments.at(0).c_str()).Set();
    const int woken = MProcessEvent(arguments.at(1).c_str()).Wait(60.0);
    MSharedMem_Unlink(memory);
    return memory && woken == 1 ? 0 : 1;
}

TEST_F(SimulatorTest, WaitsForSmallerMemoryToGoAndSaysSoOnce) {
    const std::string holdingName = test::uniqueName("holding");
    const std::string leaveName = test::uniqueName("leave");
    MProcessEvent holding(holdingName.c_str());
    MProcessEvent leave(leaveName.c_str());
    test::ChildProcess holder("holdsSmallMemory", {holdingName, leaveName});
    ASSERT_EQ(holding.Wait(60.0), 1);
    Simulator simulator(_options, _source, _people);
    std::thread release([&leave] {
        std::this_thread::sleep_for(2500ms);  // more than two tries
        leave.Set();
    });
    EXPECT_EQ(simulator.run(), 0);
    release.join();
    EXPECT_EQ(holder.join(60s), 0);
    EXPECT_GT(simulator.totals().written, 0u);
    const auto& totals = simulator.totals();
    EXPECT_EQ(totals.written + totals.refused + totals.skipped,
              _options.pacing.frameCount);  // skipped: on a busy machine
    EXPECT_LE(totals.written, 8u);
    const std::string said = _people.str();
    const std::size_t first = said.find("a host still holds smaller image memory from before");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(said.find("a host still holds", first + 1), std::string::npos);
    EXPECT_THAT(_log.errorTraces(), testing::IsEmpty());
}

TEST(SimulatorProgramTest, EndsWithTheDocumentedExitCodes) {
    const auto exitCode = [](const test::Arguments& arguments) {
        return test::ChildProcess::program("dorven-simulator", arguments).join(60s);
    };
    EXPECT_EQ(exitCode({"--size", "900x20", "--count", "3", "--fps", "1000"}), 0);
    EXPECT_EQ(exitCode({"--version"}), 0);
    const test::TemporaryFolder empty;
    EXPECT_EQ(exitCode({"--images", empty.path()}), 1);
    EXPECT_EQ(exitCode({"--bogus"}), 2);
}

TEST(SimulatorProgramTest, ReplaysPicturesThatAReaderInThisProcessReceives) {
    const test::TemporaryFolder folder;
    folder.file("a.pgm", "P5 900 20 255\n" + std::string(18000, 'a'));
    folder.file("b.pgm", "P5 900 20 255\n" + std::string(18000, 'b'));
    auto program = test::ChildProcess::program(
        "dorven-simulator", {"--images", folder.path(), "--count", "200", "--fps", "50", "--lines", "200"});
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attachAtSignal());
    for (int count = 0; count < 10; ++count) {
        const auto image = reader.waitAndTake();
        ASSERT_TRUE(image);
        EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
        EXPECT_EQ(image->inspection.strip->flags, frames::kStripReplayed);
    }
    EXPECT_EQ(program.join(60s), 0);
    EXPECT_FALSE(reader.writerAttached());
}

}  // namespace
