#include "image_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frames::ImageKind;
using host::Finding;
using host::FindingKind;
using host::FrameRange;
using host::ImageCheck;
using host::ReceivedImage;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr std::int64_t kStartNs = 5'000'000'000;
constexpr std::int64_t kPeriodNs = 10'000'000;
constexpr std::int64_t kLatencyNs = 50'000;

// Time of a frame in a grab whose frame 100 was complete when the grab began.
std::int64_t timeOf(std::uint64_t number) { return kStartNs + (static_cast<std::int64_t>(number) - 100) * kPeriodNs; }

ReceivedImage good(std::uint64_t number) {
    ReceivedImage image;
    image.inspection = {ImageKind::simulated, frames::Strip{0, number, static_cast<std::uint64_t>(timeOf(number)), 0}};
    image.format = {900, 40, 1};
    image.counter = static_cast<std::uint32_t>(number);
    image.timeStampUs = static_cast<std::uint64_t>(timeOf(number)) / 1000;
    image.arrivalNs = timeOf(number) + kLatencyNs;
    return image;
}

ReceivedImage delayed(std::uint64_t number, std::int64_t byNs) {
    ReceivedImage image = good(number);
    image.arrivalNs += byNs;
    return image;
}

ReceivedImage torn(std::uint64_t number) {
    ReceivedImage image = good(number);
    image.inspection.kind = ImageKind::torn;
    return image;
}

ReceivedImage stamped(std::uint64_t number, std::int64_t timeStampNs) {
    ReceivedImage image = good(number);
    image.inspection.strip->timeStampNs = static_cast<std::uint64_t>(timeStampNs);
    return image;
}

ReceivedImage counted(std::uint64_t number, std::uint32_t counter) {
    ReceivedImage image = good(number);
    image.counter = counter;
    return image;
}

ReceivedImage withoutStrip(std::uint32_t counter, ImageKind kind = ImageKind::unverified) {
    ReceivedImage image = good(counter);
    image.inspection = {kind, std::nullopt};
    return image;
}

ReceivedImage wider(ReceivedImage image) {
    image.format.width = 901;
    return image;
}

class ImageCheckTest : public testing::Test {
protected:
    void add(const std::vector<ReceivedImage>& images) {
        for (const ReceivedImage& image : images) _check.add(image);
    }
    std::vector<Finding> found() const { return _check.findings().kept(); }

    static Finding one(FindingKind kind, std::uint64_t number, std::optional<double> latencyUs = {}) {
        return {kind, {number, number}, latencyUs};
    }

    ImageCheck _check{{kStartNs, 5'000'000, 1000}};
};

TEST_F(ImageCheckTest, NothingIsFoundInAGoodSequence) {
    add({good(100), good(101), good(102)});
    EXPECT_THAT(found(), IsEmpty());
    EXPECT_THAT(_check.sight(), Optional(FrameRange{100, 102}));
    EXPECT_EQ(_check.restarts(), 0u);
}

TEST_F(ImageCheckTest, EachImageTellsItsNumberAndLatency) {
    const auto told = _check.add(good(100));
    EXPECT_EQ(told.number, 100u);
    EXPECT_EQ(told.latencyNs, kLatencyNs);
    EXPECT_EQ(_check.add(withoutStrip(101, ImageKind::faked)).number, std::nullopt);
}

TEST_F(ImageCheckTest, LostFramesAreARange) {
    add({good(100), good(104), good(105), good(107)});
    EXPECT_THAT(found(), ElementsAre(Finding{FindingKind::lost, {101, 103}, {}}, one(FindingKind::lost, 106)));
}

TEST_F(ImageCheckTest, RepeatedFrameIsFoundEachTimeAndItsAgeIsNotJudged) {
    add({good(100), good(101), delayed(101, 2'000'000'000), delayed(101, 2'000'000'001), good(102)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::repeated, 101), one(FindingKind::repeated, 101)));
}

TEST_F(ImageCheckTest, ReorderedFrameIsNotLostNorLateNorBackInTime) {
    add({good(100), good(102), delayed(101, 2 * kPeriodNs), good(103)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::reordered, 101)));
}

TEST_F(ImageCheckTest, FrameBeforeTheFirstOneIsReorderedAndInSight) {
    add({good(101), delayed(100, 2 * kPeriodNs), good(102)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::reordered, 100)));
    EXPECT_THAT(_check.sight(), Optional(FrameRange{100, 102}));
}

TEST_F(ImageCheckTest, TornFrameIsThereAndNotLost) {
    add({good(100), torn(101), good(102)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::torn, 101)));
}

TEST_F(ImageCheckTest, TornFrameThatIsRepeatedIsTornOnce) {
    add({good(100), torn(101), torn(101), torn(102)});
    EXPECT_THAT(found(),
                ElementsAre(one(FindingKind::repeated, 101), one(FindingKind::torn, 101), one(FindingKind::torn, 102)));
}

TEST_F(ImageCheckTest, RepetitionAloneCanBeTorn) {
    add({good(100), good(101), torn(101)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::repeated, 101), one(FindingKind::torn, 101)));
}

TEST_F(ImageCheckTest, ImagesFromBeforeTheGrabAreStaleAndNothingElse) {
    add({good(90), good(91), good(99), good(120), good(121)});
    EXPECT_THAT(found(),
                ElementsAre(one(FindingKind::stale, 90), one(FindingKind::stale, 91), one(FindingKind::stale, 99)));
    EXPECT_THAT(_check.sight(), Optional(FrameRange{120, 121}));
    EXPECT_EQ(_check.add(good(122)).latencyNs, kLatencyNs);
}

TEST_F(ImageCheckTest, SizeAndMissingStripOfImagesFromBeforeTheGrabAreNotJudged) {
    const ReceivedImage noStrip = withoutStrip(92);
    add({wider(good(90)), good(91)});
    EXPECT_TRUE(_check.add(noStrip).fromBefore);
    EXPECT_FALSE(_check.add(good(120)).fromBefore);
    EXPECT_THAT(found(),
                ElementsAre(one(FindingKind::stale, 90), one(FindingKind::stale, 91), one(FindingKind::stale, 92)));
}

TEST_F(ImageCheckTest, ImageWithoutAStripIsFreshUnlessItsTimeStampMayBeOnTheStripsClock) {
    ReceivedImage longAgo = withoutStrip(88);
    longAgo.arrivalNs += 60'000'000'000;
    EXPECT_FALSE(_check.add(longAgo).fromBefore) << "no image waits for a minute: it is another clock";
    EXPECT_TRUE(_check.add(withoutStrip(89)).fromBefore) << "no strip has told of the record's clock";
    ReceivedImage otherClock = good(90);
    otherClock.timeStampUs = 7;
    EXPECT_TRUE(_check.add(otherClock).fromBefore);
    EXPECT_FALSE(_check.add(withoutStrip(91)).fromBefore);
}

TEST_F(ImageCheckTest, ImageFromBeforeTheGrabTellsNoLatencyButIsTornWhenItIs) {
    EXPECT_EQ(_check.add(torn(90)).latencyNs, std::nullopt);
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::torn, 90), one(FindingKind::stale, 90)));
    EXPECT_EQ(_check.sight(), std::nullopt);
}

TEST_F(ImageCheckTest, ImageOlderThanASecondIsStale) {
    ImageCheck check({kStartNs, {}, 10});
    check.add(delayed(100, 1'000'000'000 - kLatencyNs));
    EXPECT_THAT(check.findings().kept(), IsEmpty()) << "a second is not more than one";
    check.add(delayed(101, 1'000'000'000 - kLatencyNs + 1));
    ASSERT_EQ(check.findings().kept().size(), 1u);
    EXPECT_EQ(check.findings().kept()[0].kind, FindingKind::stale);
    EXPECT_THAT(check.findings().kept()[0].latencyUs, Optional(testing::DoubleEq(1'000'000.001)));
}

TEST_F(ImageCheckTest, LateFromTheLimitOn) {
    add({delayed(100, 5'000'000 - kLatencyNs - 1), delayed(101, 5'000'000 - kLatencyNs), good(102)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::late, 101, 5000.0)));
}

TEST_F(ImageCheckTest, NoImageIsLateWithoutALimit) {
    ImageCheck check({kStartNs, {}, 10});
    check.add(delayed(100, 900'000'000));
    EXPECT_THAT(check.findings().kept(), IsEmpty());
}

TEST_F(ImageCheckTest, TimeStampThatGoesBackIsFoundAndItsAgeIsNotJudged) {
    add({good(100), good(101), stamped(102, timeOf(101) - 1'000'000'000), good(103)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::timeBack, 102)));
    EXPECT_EQ(_check.frames(FindingKind::timeBack), 1u);
}

TEST_F(ImageCheckTest, EachOfSeveralTimeStampsThatLieBackIsFound) {
    add({good(100), stamped(101, timeOf(100) - 1'000'000'000), stamped(102, timeOf(101) - 1'000'000'000), good(103)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::timeBack, 101), one(FindingKind::timeBack, 102)));
}

TEST_F(ImageCheckTest, OvertakenFrameWhoseTimeStampWentBackIsBoth) {
    ReceivedImage back = stamped(101, timeOf(100) - 1'000'000'000);
    add({good(100), good(102), back, good(103)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::reordered, 101), one(FindingKind::timeBack, 101)));
}

TEST_F(ImageCheckTest, FrameThatOvertakesWithATimeStampThatWentBackIsNoNewBeginning) {
    add({good(100), stamped(102, timeOf(100) - 1'000'000'000), good(101), good(103)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::reordered, 101), one(FindingKind::timeBack, 102)));
    EXPECT_EQ(_check.restarts(), 0u);
}

TEST_F(ImageCheckTest, TimeStampOfTheFutureMakesNoOtherLookOld) {
    add({good(100), stamped(101, std::numeric_limits<std::int64_t>::max()), good(102), good(103)});
    EXPECT_THAT(found(), IsEmpty());
    ReceivedImage beyond = good(104);
    beyond.inspection.strip->timeStampNs = UINT64_MAX;
    add({beyond, good(105)});
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(ImageCheckTest, CounterThatJumpsIsFoundWhereItJumps) {
    add({good(100), counted(101, 0xFFFF'FFFF), counted(102, 0), counted(103, 1), counted(104, 104)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::counter, 101), one(FindingKind::counter, 104)));
}

TEST_F(ImageCheckTest, CounterThatRunsAheadByTheSameNumberIsNoFinding) {
    add({counted(100, 7), counted(102, 9), counted(103, 10)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::lost, 101)));
}

TEST_F(ImageCheckTest, CounterOfNumbersBeyondItsWidthWraps) {
    ImageCheck check({0, {}, 10});
    for (std::uint64_t number = 0xFFFF'FFFE; number < 0x1'0000'0003; ++number) {
        ReceivedImage image = good(100);
        image.inspection.strip->frameNumber = number;
        image.counter = static_cast<std::uint32_t>(number);
        check.add(image);
    }
    EXPECT_THAT(check.findings().kept(), IsEmpty());
}

TEST_F(ImageCheckTest, OtherSizeThanTheFirstImagesIsAnotherFormat) {
    add({good(100), wider(good(101)), good(102)});
    ReceivedImage deeper = good(103);
    deeper.format.bytesPerPixel = 2;
    ReceivedImage higher = good(104);
    higher.format.height = 41;
    add({deeper, higher});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::format, 101), one(FindingKind::format, 103),
                                     one(FindingKind::format, 104)));
}

TEST_F(ImageCheckTest, ImageWithoutAStripWhereOthersHaveOneIsAnotherFormatAndNotLost) {
    add({counted(100, 7), withoutStrip(8), wider(withoutStrip(9)), counted(103, 10)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::format, 101), one(FindingKind::format, 102)));
    add({withoutStrip(11)});
    EXPECT_EQ(_check.sight()->last, 104u);
}

TEST_F(ImageCheckTest, ImageWithoutAStripWhoseCounterIsFarOffMakesNoLoss) {
    add({good(100), withoutStrip(1101), good(101)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::format, 1101)));
    add({withoutStrip(0), good(102)});
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::format, 0), one(FindingKind::format, 1101)));
    ImageCheck check({kStartNs, {}, 10});
    check.add(good(100));
    check.add(withoutStrip(static_cast<std::uint32_t>(-2)));
    EXPECT_THAT(check.findings().kept(), ElementsAre(one(FindingKind::format, 0))) << "there is no frame below 0";
}

TEST_F(ImageCheckTest, ImagesWithoutAStripAreNoFindingWhereNoneHasOne) {
    add({withoutStrip(100), withoutStrip(101), good(102)});
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(ImageCheckTest, ImagesThatTheCameraMakesAreNoFinding) {
    add({good(100), withoutStrip(101, ImageKind::faked), good(101)});
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(ImageCheckTest, StopIsFoundBehindTheGreatestFrame) {
    add({good(100), good(102), good(101)});
    _check.stopped();
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::reordered, 101), one(FindingKind::stopped, 103)));
}

TEST_F(ImageCheckTest, StopBehindImagesFromBeforeTheGrabIsFoundToo) {
    add({good(90), good(91)});
    _check.stopped();
    EXPECT_THAT(found(),
                ElementsAre(one(FindingKind::stale, 90), one(FindingKind::stale, 91), one(FindingKind::stopped, 92)));
}

TEST_F(ImageCheckTest, StopWithoutAnyStripHasNoFrame) {
    _check.stopped();
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(ImageCheckTest, StopBehindTheGreatestNumberThereIsStaysThere) {
    ReceivedImage image = good(100);
    image.inspection.strip->frameNumber = UINT64_MAX;
    add({image});
    _check.stopped();
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::stopped, UINT64_MAX)));
}

TEST_F(ImageCheckTest, SimulatorThatBeginsAnewIsNoFindingAndCounted) {
    add({good(500), good(502)});
    for (std::uint64_t number = 0; number < 3; ++number) {
        ReceivedImage image = counted(number, static_cast<std::uint32_t>(number) + 77);
        image.inspection.strip->timeStampNs = static_cast<std::uint64_t>(timeOf(600 + number));
        image.arrivalNs = timeOf(600 + number);
        add({image});
    }
    EXPECT_THAT(found(), ElementsAre(one(FindingKind::lost, 501)));
    EXPECT_EQ(_check.restarts(), 1u);
    EXPECT_THAT(_check.sight(), Optional(FrameRange{0, 2}));
}

TEST_F(ImageCheckTest, FindingsAreBoundedAndCountedBeyond) {
    ImageCheck check({kStartNs, {}, 3});
    for (std::uint64_t number = 100; number < 120; number += 2) check.add(torn(number));
    const auto findings = check.findings();
    EXPECT_EQ(findings.kept().size(), 3u);
    EXPECT_EQ(findings.frames(FindingKind::torn), 10u);
    EXPECT_EQ(findings.frames(FindingKind::lost), 9u);
    EXPECT_EQ(findings.omitted(), 16u);
}

}  // namespace
