#include "sequence_check.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::SequenceCheck;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

struct Frame {
    std::uint64_t number;
    std::uint64_t timeStampNs;
};

SequenceCheck after(const std::vector<Frame>& frames) {
    SequenceCheck check;
    for (const Frame& frame : frames) check.add(frame.number, frame.timeStampNs);
    return check;
}

#define EXPECT_FOUND(check, lostCount, repeatedCount, reorderedCount) \
    EXPECT_EQ((check).lost(), lostCount);                             \
    EXPECT_EQ((check).repeated(), repeatedCount);                     \
    EXPECT_EQ((check).reordered(), reorderedCount)

TEST(SequenceCheckTest, NothingIsFoundInNothing) {
    const SequenceCheck check;
    EXPECT_FOUND(check, 0u, 0u, 0u);
}

TEST(SequenceCheckTest, ConsecutiveFramesAreAllWell) {
    const auto check = after({{7, 70}, {8, 80}, {9, 90}});
    EXPECT_FOUND(check, 0u, 0u, 0u);
    EXPECT_THAT(check.missing(), IsEmpty());
}

TEST(SequenceCheckTest, FramesBeforeTheFirstOneAreNotLost) { EXPECT_FOUND(after({{1000, 1}, {1001, 2}}), 0u, 0u, 0u); }

TEST(SequenceCheckTest, EveryNumberLeftOutIsLost) {
    const auto check = after({{0, 0}, {2, 20}, {3, 30}, {7, 70}});
    EXPECT_FOUND(check, 4u, 0u, 0u);
    EXPECT_THAT(check.missing(), ElementsAre(Pair(1u, 1u), Pair(4u, 6u)));
}

TEST(SequenceCheckTest, SameNumberAgainIsRepeated) {
    EXPECT_FOUND(after({{0, 0}, {1, 10}, {1, 10}, {1, 10}, {2, 20}}), 0u, 2u, 0u);
}

TEST(SequenceCheckTest, EarlierFrameAgainIsRepeated) {
    EXPECT_FOUND(after({{0, 0}, {1, 10}, {2, 20}, {1, 10}}), 0u, 1u, 0u);
}

TEST(SequenceCheckTest, FirstFrameAgainIsRepeated) { EXPECT_FOUND(after({{5, 50}, {6, 60}, {5, 50}}), 0u, 1u, 0u); }

TEST(SequenceCheckTest, MissingFrameThatComesLaterIsReorderedAndNotLost) {
    const auto check = after({{0, 0}, {1, 10}, {3, 30}, {2, 20}, {4, 40}});
    EXPECT_FOUND(check, 0u, 0u, 1u);
    EXPECT_THAT(check.missing(), IsEmpty());
}

TEST(SequenceCheckTest, LateFrameSplitsTheGapThatItCameFrom) {
    const auto check = after({{0, 0}, {10, 100}, {5, 50}});
    EXPECT_FOUND(check, 8u, 0u, 1u);
    EXPECT_THAT(check.missing(), ElementsAre(Pair(1u, 4u), Pair(6u, 9u)));
    EXPECT_FOUND(after({{0, 0}, {10, 100}, {5, 50}, {1, 10}, {9, 90}}), 6u, 0u, 3u);
}

TEST(SequenceCheckTest, LateFrameThatComesTwiceIsRepeatedTheSecondTime) {
    EXPECT_FOUND(after({{0, 0}, {2, 20}, {1, 10}, {1, 10}}), 0u, 1u, 1u);
}

TEST(SequenceCheckTest, FrameFromBeforeTheFirstOneIsReordered) {
    EXPECT_FOUND(after({{5, 50}, {4, 40}, {6, 60}}), 0u, 0u, 1u);
}

TEST(SequenceCheckTest, SimulatorThatBeganAnewIsNoFault) {
    EXPECT_FOUND(after({{500, 50}, {501, 60}, {0, 900}, {1, 910}}), 0u, 0u, 0u);
}

TEST(SequenceCheckTest, LossBeforeANewBeginningStaysCounted) {
    const auto check = after({{500, 50}, {503, 60}, {0, 900}, {3, 910}});
    EXPECT_FOUND(check, 4u, 0u, 0u);
    EXPECT_THAT(check.missing(), ElementsAre(Pair(1u, 2u)));
}

// Its successor's time stamp went back, so its own is later than all others.
TEST(SequenceCheckTest, OvertakenFrameThatIsStampedLaterIsReordered) {
    const auto check = after({{500, 5000}, {502, 4000}, {501, 5010}, {503, 5030}});
    EXPECT_FOUND(check, 0u, 0u, 1u);
}

TEST(SequenceCheckTest, GapFarBehindIsNoPlaceForAFrameThatIsStampedLater) {
    const auto check = after({{500, 5000}, {502, 5020}, {517, 5170}, {501, 6000}});
    EXPECT_FOUND(check, 14u, 0u, 1u);
    EXPECT_FOUND(after({{500, 5000}, {502, 5020}, {518, 5180}, {501, 6000}}), 16u, 0u, 0u);
}

TEST(SequenceCheckTest, EachFrameTellsHowItFollows) {
    using host::Follows;
    SequenceCheck check;
    EXPECT_EQ(check.add(10, 100), Follows::first);
    EXPECT_EQ(check.add(11, 110), Follows::ahead);
    EXPECT_EQ(check.add(13, 130), Follows::ahead);
    EXPECT_EQ(check.add(12, 120), Follows::reordered);
    EXPECT_EQ(check.add(12, 120), Follows::repeated);
    EXPECT_EQ(check.add(9, 90), Follows::reordered);
    EXPECT_EQ(check.add(0, 900), Follows::anew);
}

TEST(SequenceCheckTest, RangesFromBeforeANewBeginningAreKept) {
    const auto check = after({{500, 50}, {503, 60}, {0, 900}, {3, 910}});
    EXPECT_THAT(check.settled(), ElementsAre(host::FrameRange{501, 502}));
    EXPECT_EQ(check.omittedRanges(), 0u);
}

TEST(SequenceCheckTest, RangesAreBoundedAndTheLossStaysCounted) {
    SequenceCheck check;
    constexpr std::uint64_t kRanges = 200'003;
    for (std::uint64_t frame = 0; frame <= kRanges; ++frame) check.add(frame * 3, frame);
    EXPECT_EQ(check.lost(), kRanges * 2);
    EXPECT_EQ(check.missing().size(), 100'000u);
    EXPECT_EQ(check.settled().size(), 100'000u);
    EXPECT_EQ(check.settled().front(), (host::FrameRange{1, 2}));
    EXPECT_EQ(check.omittedRanges(), 3u);
    EXPECT_EQ(check.omittedFrames(), 6u);
}

}  // namespace
