#include "kept_log.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;

class KeptLogTest : public testing::Test {
protected:
    void add(const std::string& text, LogSink sink = LogSink::errorLog, int line = 7, long long nowMs = 0) {
        _log->add({sink, 0, "folder/file", line, "", text.c_str(), 1}, nowMs);
    }
    std::vector<LogKeptEntry> kept() const {
        std::vector<LogKeptEntry> entries;
        LogKeptEntry entry{};
        for (unsigned long long number = 0; _log->next(number, entry);) entries.push_back(entry);
        return entries;
    }
    // "TEXT xTIMES"
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const LogKeptEntry& entry : kept())
            all.push_back(std::string(entry.text) + " x" + std::to_string(entry.times));
        return all;
    }

    std::unique_ptr<KeptLog> _log = std::make_unique<KeptLog>();
};

TEST_F(KeptLogTest, EmptyOneHasNoEntry) { EXPECT_THAT(kept(), SizeIs(0)); }

TEST_F(KeptLogTest, EntriesComeInTheirOrderWithAllThatTheyTell) {
    _log->add({LogSink::trace, 4, "folder/file", 12, "default", "first", 1}, 1000);
    add("second", LogSink::errorTrace);
    const auto entries = kept();
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].sink, LogSink::trace);
    EXPECT_EQ(entries[0].level, 4);
    EXPECT_STREQ(entries[0].file, "folder/file");
    EXPECT_EQ(entries[0].line, 12);
    EXPECT_STREQ(entries[0].text, "first");
    EXPECT_EQ(entries[0].firstMs, 1000);
    EXPECT_STREQ(entries[1].text, "second");
}

TEST_F(KeptLogTest, EntriesThatAlternateAreCountedWhereTheyStand) {
    for (int i = 0; i < 500; ++i) {
        add("cause", LogSink::errorTrace, 7, i);
        add("error", LogSink::errorLog, 7, i);
    }
    EXPECT_THAT(texts(), ElementsAre("cause x500", "error x500"));
    EXPECT_EQ(kept()[0].firstMs, 0);
    EXPECT_EQ(kept()[0].lastMs, 499);
}

TEST_F(KeptLogTest, SameTextOfAnotherSinkOrLineIsAnotherEntry) {
    add("text", LogSink::errorLog, 7);
    add("text", LogSink::errorTrace, 7);
    add("text", LogSink::errorLog, 8);
    EXPECT_THAT(texts(), ElementsAre("text x1", "text x1", "text x1"));
}

TEST_F(KeptLogTest, EntryThatComesAgainAfterManyOthersTakesAPlaceOfItsOwn) {
    add("text");
    for (std::size_t i = 0; i < KeptLog::kCompared - 1; ++i) add("other " + std::to_string(i));
    add("text");
    EXPECT_EQ(texts().front(), "text x2");
    add("one more");
    add("text");
    EXPECT_EQ(texts().front(), "text x2");
    EXPECT_EQ(texts().back(), "text x1");
}

TEST_F(KeptLogTest, NewestThousandAreKept) {
    for (int i = 0; i < 1005; ++i) add("entry " + std::to_string(i));
    const auto all = texts();
    ASSERT_THAT(all, SizeIs(1000));
    EXPECT_EQ(all.front(), "entry 5 x1");
    EXPECT_EQ(all.back(), "entry 1004 x1");
}

TEST_F(KeptLogTest, ReaderGoesOnBehindWhatItHasSeen) {
    add("first");
    unsigned long long number = 0;
    LogKeptEntry entry{};
    EXPECT_TRUE(_log->next(number, entry));
    EXPECT_FALSE(_log->next(number, entry));
    add("second");
    EXPECT_TRUE(_log->next(number, entry));
    EXPECT_STREQ(entry.text, "second");
}

TEST_F(KeptLogTest, ControlCharactersAreEscaped) {
    add("a\nb\tc\x1B[31m\xC2\x9B");
    EXPECT_STREQ(kept()[0].text, "a\\nb\\tc\\x1b[31m\\xc2\\x9b");
}

TEST_F(KeptLogTest, LongTextEndsWithDotsAndNeverInTheMiddleOfACharacter) {
    constexpr std::size_t kRoom = sizeof(LogKeptEntry::text) - 1;
    add(std::string(kRoom, 'x'));
    EXPECT_EQ(kept().back().text, std::string(kRoom, 'x'));
    add(std::string(kRoom + 1, 'y'));
    EXPECT_EQ(kept().back().text, std::string(kRoom - 3, 'y') + "...");
    std::string umlauts;
    while (umlauts.size() < 2 * kRoom) umlauts += "\xC3\xA4";
    for (const char* begin : {"", "z"}) {
        add(begin + umlauts);
        std::string text = kept().back().text;
        ASSERT_THAT(text, EndsWith("\xA4..."));
        EXPECT_GE(text.size(), kRoom - 1);
    }
}

}  // namespace
