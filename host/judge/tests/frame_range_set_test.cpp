#include "frame_range_set.h"

#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::FrameRange;
using host::FrameRangeBag;
using host::FrameRangeSet;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr FrameRange kAll{0, UINT64_MAX};

TEST(FrameRangeSetTest, EmptySetCoversNothing) {
    const FrameRangeSet set;
    EXPECT_FALSE(set.covers({5, 5}));
    EXPECT_THAT(set.outside(kAll), ElementsAre(kAll));
}

TEST(FrameRangeSetTest, WhatIsOutsideComesInOrder) {
    FrameRangeSet set;
    set.add({5, 9});
    set.add({20, 20});
    EXPECT_THAT(set.outside({0, 30}), ElementsAre(FrameRange{0, 4}, FrameRange{10, 19}, FrameRange{21, 30}));
    EXPECT_THAT(set.outside({7, 20}), ElementsAre(FrameRange{10, 19}));
    EXPECT_THAT(set.outside({6, 8}), IsEmpty());
    EXPECT_TRUE(set.covers({5, 9}));
    EXPECT_FALSE(set.covers({5, 10}));
}

TEST(FrameRangeSetTest, GreatestNumberIsANumberLikeOthers) {
    FrameRangeSet set;
    set.add({UINT64_MAX, UINT64_MAX});
    EXPECT_THAT(set.outside(kAll), ElementsAre(FrameRange{0, UINT64_MAX - 1}));
    set.add(kAll);
    EXPECT_TRUE(set.covers(kAll));
}

TEST(FrameRangeSetTest, AgreesWithASetOfNumbers) {
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        FrameRangeSet set;
        std::set<std::uint64_t> numbers;
        for (int range = 0; range < 6; ++range) {
            const std::uint64_t first = random() % 40;
            const std::uint64_t last = first + random() % 6;
            set.add({first, last});
            for (std::uint64_t number = first; number <= last; ++number) numbers.insert(number);
        }
        for (std::uint64_t number = 0; number < 50; ++number)
            EXPECT_EQ(set.covers({number, number}), numbers.count(number) == 1) << number;
        std::uint64_t outside = 0;
        for (const FrameRange& range : set.outside({0, 99})) outside += range.frames();
        EXPECT_EQ(outside + numbers.size(), 100u);
    }
}

TEST(FrameRangeBagTest, TakesOutOfTheMiddleAndTellsWhatWasNotThere) {
    FrameRangeBag bag;
    bag.add({5, 9});
    bag.add({12, 12});
    EXPECT_THAT(bag.take({6, 7}), IsEmpty());
    EXPECT_THAT(bag.ranges(), ElementsAre(FrameRange{5, 5}, FrameRange{8, 9}, FrameRange{12, 12}));
    EXPECT_THAT(bag.take({4, 20}),
                ElementsAre(FrameRange{4, 4}, FrameRange{6, 7}, FrameRange{10, 11}, FrameRange{13, 20}));
    EXPECT_THAT(bag.ranges(), IsEmpty());
    EXPECT_THAT(bag.take({3, 3}), ElementsAre(FrameRange{3, 3}));
}

TEST(FrameRangeBagTest, NumberThatIsThereTwiceIsTakenTwice) {
    FrameRangeBag bag;
    bag.add({5, 5});
    bag.add({5, 5});
    bag.add({6, 6});
    EXPECT_THAT(bag.take({5, 6}), IsEmpty());
    EXPECT_THAT(bag.ranges(), ElementsAre(FrameRange{5, 5}));
    EXPECT_THAT(bag.take({5, 6}), ElementsAre(FrameRange{6, 6}));
    EXPECT_THAT(bag.take({5, 5}), ElementsAre(FrameRange{5, 5}));
}

TEST(FrameRangeBagTest, GreatestNumberIsANumberLikeOthers) {
    FrameRangeBag bag;
    bag.add({3, UINT64_MAX});
    EXPECT_THAT(bag.take({UINT64_MAX, UINT64_MAX}), IsEmpty());
    EXPECT_THAT(bag.take(kAll), ElementsAre(FrameRange{0, 2}, FrameRange{UINT64_MAX, UINT64_MAX}));
}

}  // namespace
