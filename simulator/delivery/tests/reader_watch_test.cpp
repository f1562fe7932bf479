#include "reader_watch.h"

#include <gtest/gtest.h>

namespace {

using simulator::ReaderWatch;

TEST(ReaderWatchTest, ReaderThatDoesNotMoveForItsTimeIsDeadOnce) {
    ReaderWatch watch(100);
    EXPECT_FALSE(watch.isDead(3, 1000));
    EXPECT_FALSE(watch.isDead(3, 1099));
    EXPECT_TRUE(watch.isDead(3, 1100));
    EXPECT_FALSE(watch.isDead(3, 1101));
    EXPECT_TRUE(watch.isDead(3, 1201));
}

TEST(ReaderWatchTest, ReaderThatMovesOrLeavesRoomIsAlive) {
    ReaderWatch watch(100);
    EXPECT_FALSE(watch.isDead(3, 1000));
    EXPECT_FALSE(watch.isDead(4, 1100));
    EXPECT_FALSE(watch.isDead(4, 1199));
    watch.roomSeen();
    EXPECT_FALSE(watch.isDead(4, 1200));
    EXPECT_TRUE(watch.isDead(4, 1300));
}

TEST(ReaderWatchTest, WithoutAReaderOrATimeNobodyIsDead) {
    ReaderWatch watch(100);
    EXPECT_FALSE(watch.isDead({}, 1000));
    EXPECT_FALSE(watch.isDead({}, 9000));
    EXPECT_FALSE(watch.isDead(0, 9000)) << "one that comes is watched from then on";
    ReaderWatch never(0);
    EXPECT_FALSE(never.isDead(3, 0));
    EXPECT_FALSE(never.isDead(3, INT64_MAX));
}

}  // namespace
