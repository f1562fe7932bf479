// The camera and simulators in other processes, which start, end, die and start again.
#include "acquisition_processes.h"

#include "object_names.h"

namespace {

using namespace test::processes;
using testing::Contains;
using testing::IsEmpty;

const std::string kFakingText = "no dorven connected, faking images";
const std::string kClosed = "closed connection to image fifo -  DorVenImages";
const std::string kGrabbing = "grabbing from dorven";

/// arguments: first and last counter
CHILD_ROLE(writesImages) {
    test::SimulatorRing ring(kPixelBytes, 8);
    return test::writeImages(ring, std::stoul(arguments.at(0)), std::stoul(arguments.at(1))) ? 0 : 1;
}

CHILD_ROLE(writesForEver) {
    test::SimulatorRing ring(kPixelBytes, 8);
    return test::writeImages(ring, 1, 1000000000) ? 0 : 1;
}

/// Creates its ring three times, each time with other slots, and writes ten images into each.
CHILD_ROLE(laysItsRingAnew) {
    test::SimulatorRing ring(kPixelBytes, 8);
    for (std::uint64_t part = 0; part < 3; ++part) {
        ring.lay(8 - part);
        if (!test::writeImages(ring, 10 * part + 1, 10 * part + 10)) return 1;
    }
    return 0;
}

TEST_F(ProcessTest, KilledSimulatorIsFakedForAndTheNextOneGrabbedFromAtItsFirstSignal) {
    ASSERT_TRUE(_source.grab());
    {
        test::ChildProcess simulator("writesForEver");
        ASSERT_TRUE(waitForReal(100));
        simulator.kill();
    }
    ASSERT_TRUE(_event->waitForSilence());
    const auto before = real();
    EXPECT_EQ(before, test::consecutive(1, static_cast<std::uint32_t>(before.size())));
    const std::size_t fakesBefore = faked().size();  // of a slow start
    ASSERT_TRUE(waitForFaked(fakesBefore + 5));
    EXPECT_EQ(faked().at(fakesBefore), before.back() + 1);
    EXPECT_THAT(_log.traces(), Contains(kFakingText));
    EXPECT_THAT(_log.traces(), Contains(kClosed));

    const std::size_t grabbed = traced(kGrabbing);
    test::ChildProcess next("writesImages", {"1", "50"});
    EXPECT_EQ(next.join(60s), 0);
    EXPECT_TRUE(waitForReal(before.size() + 50));
    EXPECT_EQ(traced(kGrabbing), grabbed + 1);
    EXPECT_TRUE(_source.freeze());
    auto expected = before;
    const auto again = test::consecutive(1, 50);
    expected.insert(expected.end(), again.begin(), again.end());
    EXPECT_EQ(real(), expected);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(ProcessTest, RingThatIsLaidAnewIsReadOnWithoutLoss) {
    ASSERT_TRUE(_source.grab());
    test::ChildProcess simulator("laysItsRingAnew");
    EXPECT_EQ(simulator.join(60s), 0);
    EXPECT_TRUE(waitForReal(30));
    EXPECT_TRUE(_source.freeze());
    EXPECT_EQ(real(), test::consecutive(1, 30));
    EXPECT_GE(traced(kGrabbing), 3u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(ProcessTest, FreezeReturnsWhileASimulatorFloods) {
    ASSERT_TRUE(_source.grab());
    test::ChildProcess simulator("writesForEver");
    ASSERT_TRUE(waitForReal(10));
    EXPECT_TRUE(_source.freeze());
    const auto images = real();
    simulator.kill();
    EXPECT_EQ(images, test::consecutive(1, static_cast<std::uint32_t>(images.size())));
}

TEST(TwoCameras, OneGetsTheSimulatorsImagesAndTheOtherSaysWhyNot) {
    test::LogRecorder log;
    test::ReceivedImages received[2];
    SmallSource sources[2] = {SmallSource(std::make_shared<MProcessEvent>(image_road::kImagesEvent)),
                              SmallSource(std::make_shared<MProcessEvent>(image_road::kImagesEvent))};
    for (int i = 0; i < 2; ++i) {
        sources[i].setCallback(&received[i], &test::ReceivedImages::callback);
        ASSERT_TRUE(sources[i].grab());
    }
    test::ChildProcess simulator("writesImages", {"1", "300"});
    EXPECT_EQ(simulator.join(60s), 0);
    for (auto& source : sources) EXPECT_TRUE(source.freeze());
    const int reader = received[0].count() > 0 ? 0 : 1;
    EXPECT_EQ(received[reader].counters(), test::consecutive(1, 300));
    EXPECT_EQ(received[1 - reader].count(), 0u);
    EXPECT_THAT(log.errors(), Contains("could not link image line fifo: DorVenImages"));
    test::dropImagesMemory();
}

}  // namespace
