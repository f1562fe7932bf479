#include "log_row.h"

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;

class LogRowTest : public testing::Test {
protected:
    using Step = LogRow::Step;

    static LogEntryView entry(const char* text) { return {LogSink::errorLog, 0, "file", 7, "", text, 0}; }

    // Does what LogCore does with an entry.
    Step add(const LogEntryView& entry, std::chrono::milliseconds at) {
        const auto now = LogRow::Clock::time_point(1h) + at;
        const Step step = row.next(entry, now);
        if (step == Step::write) row.begin(entry, now);
        return step;
    }

    LogRow row;
};

TEST_F(LogRowTest, AnEqualEntryIsCounted) {
    EXPECT_EQ(add(entry("a"), 0ms), Step::write);
    EXPECT_EQ(add(entry("a"), 1ms), Step::counted);
    EXPECT_EQ(add(entry("a"), 2ms), Step::counted);
    EXPECT_EQ(row.takeRepeats(), 2u);
    EXPECT_FALSE(row.hasRepeats());
    EXPECT_STREQ(row.entry().text, "a");
}

TEST_F(LogRowTest, AnEntryThatDiffersInAnyPartIsWritten) {
    add(entry("a"), 0ms);
    LogEntryView other = entry("a");
    other.line = 8;
    EXPECT_EQ(add(other, 1ms), Step::write);
    other.level = 1;
    EXPECT_EQ(add(other, 1ms), Step::write);
    other.file = "other";
    EXPECT_EQ(add(other, 1ms), Step::write);
    other.text = "b";
    EXPECT_EQ(add(other, 1ms), Step::write);
    EXPECT_EQ(add(other, 1ms), Step::counted);
}

TEST_F(LogRowTest, ARowThatGoesOnIsSummedUpEverMoreSeldom) {
    std::vector<std::chrono::milliseconds> sums;
    add(entry("a"), 0ms);
    for (std::chrono::milliseconds at = 5ms; at <= 300s; at += 5ms) {
        if (add(entry("a"), at) != Step::sumUp) continue;
        sums.push_back(at);
        EXPECT_GT(row.takeRepeats(), 100u);
    }
    EXPECT_THAT(sums, testing::ElementsAre(1s, 3s, 7s, 15s, 31s, 63s, 127s, 191s, 255s));
}

TEST_F(LogRowTest, AnEntryThatComesEverySecondIsWrittenEachTime) {
    for (std::chrono::milliseconds at = 0ms; at < 10s; at += 1s) EXPECT_EQ(add(entry("a"), at), Step::write);
}

TEST_F(LogRowTest, ARowThatHasEndedBeginsWithShortIntervalsAgain) {
    add(entry("a"), 0ms);
    for (std::chrono::milliseconds at = 5ms; at < 100s; at += 5ms) {
        if (add(entry("a"), at) == Step::sumUp) row.takeRepeats();
    }
    row.takeRepeats();
    EXPECT_EQ(add(entry("a"), 200s), Step::write);
    EXPECT_EQ(add(entry("a"), 200s + 5ms), Step::counted);
    EXPECT_EQ(add(entry("a"), 201s), Step::sumUp);
}

}  // namespace
