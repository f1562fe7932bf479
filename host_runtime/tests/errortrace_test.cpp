#include "errortrace.h"

#include <thread>

#include <gmock/gmock.h>

#include "errorlog.h"
#include "log_recorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

void add(int line, const std::string& text) {
    _MErrTrace_Location(0, "low", line);
    _MErrTrace_Add("%s", text.c_str());
}

void dump(int line, const std::string& text) {
    _MErrTrace_Location(0, "dumper", line);
    _MErrTrace_DumpContextToMErrLog("%s", text.c_str());
}

std::vector<std::string> numbered(int first, int last) {
    std::vector<std::string> texts;
    for (int i = first; i <= last; ++i) texts.push_back(std::to_string(i));
    return texts;
}

class ErrorTraceTest : public testing::Test {
protected:
    void begin() {
        MErrTrace_BeginContext(nullptr);
        ++_open;
    }
    void end() {
        MErrTrace_EndContext();
        --_open;
    }
    ~ErrorTraceTest() override {
        while (_open > 0) end();
    }

    test::LogRecorder recorder{0};

private:
    int _open = 0;
};

TEST_F(ErrorTraceTest, AnEntryIsWrittenAtOnceWithItsLocation) {
    add(12, "MSharedMem_Unlink(): unknown");
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    const test::LogEntry entry = recorder.entries()[0];
    EXPECT_EQ(entry.sink, LogSink::errorTrace);
    EXPECT_EQ(entry.file, "low");
    EXPECT_EQ(entry.line, 12);
    EXPECT_EQ(entry.text, "MSharedMem_Unlink(): unknown");
}

TEST_F(ErrorTraceTest, AnEntryInAContextIsWrittenAtOnceAndOnlyThere) {
    begin();
    add(12, "text");
    EXPECT_THAT(recorder.errorTraces(), ElementsAre("text"));
    EXPECT_THAT(recorder.errors(), IsEmpty());
}

TEST_F(ErrorTraceTest, ALocationServesOneEntry) {
    add(12, "located");
    _MErrTrace_Add("not located");
    EXPECT_EQ(recorder.entries().at(1).file, "");
    EXPECT_EQ(recorder.entries().at(1).line, 0);
}

TEST_F(ErrorTraceTest, DumpWritesWhatWasCollectedInOrderThenItsMessage) {
    begin();
    add(1, "first");
    add(2, "second");
    recorder.clear();
    dump(5, "the message");
    std::vector<std::string> found;
    for (const test::LogEntry& entry : recorder.entries(LogSink::errorLog))
        found.push_back(entry.file + ":" + std::to_string(entry.line) + " " + entry.text);
    EXPECT_THAT(found, ElementsAre("low:1 first", "low:2 second", "dumper:5 the message"));
    EXPECT_THAT(recorder.errorTraces(), IsEmpty());
}

TEST_F(ErrorTraceTest, DumpedTextsAreVerbatimAndOfAnyLength) {
    const std::string longText(5000, 'x');
    begin();
    add(1, "100%s %n");
    add(2, longText);
    dump(5, longText + "!");
    EXPECT_THAT(recorder.errors(), ElementsAre("100%s %n", longText, longText + "!"));
}

TEST_F(ErrorTraceTest, DumpWithoutContextWritesTheMessageAlone) {
    add(1, "not collected");
    dump(5, "the message");
    EXPECT_THAT(recorder.errors(), ElementsAre("the message"));
}

TEST_F(ErrorTraceTest, DumpWithoutLocationIsWrittenWithDefaults) {
    dump(5, "located");
    _MErrTrace_DumpContextToMErrLog("not located");
    EXPECT_EQ(recorder.entries().at(1).file, "");
    EXPECT_EQ(recorder.entries().at(1).line, 0);
}

TEST_F(ErrorTraceTest, DumpKeepsTheErrorLogsOwnLocation) {
    _MErrLog_Location(0, "reporter", 3);
    dump(5, "the message");
    _MErrLog_Add("text");
    EXPECT_EQ(recorder.entries().at(1).file, "reporter");
}

TEST_F(ErrorTraceTest, DumpForgetsNothing) {
    begin();
    add(1, "collected");
    dump(5, "once");
    dump(6, "twice");
    EXPECT_THAT(recorder.errors(), ElementsAre("collected", "once", "collected", "twice"));
}

TEST_F(ErrorTraceTest, ClearForgetsWhatWasCollected) {
    begin();
    add(1, "forgotten");
    MErrTrace_ClearContext();
    add(2, "kept");
    dump(5, "the message");
    EXPECT_THAT(recorder.errors(), ElementsAre("kept", "the message"));
}

TEST_F(ErrorTraceTest, ClearWithoutContextDoesNothing) {
    MErrTrace_ClearContext();
    EXPECT_THAT(recorder.entries(), IsEmpty());
}

TEST_F(ErrorTraceTest, TheInnermostContextCollects) {
    begin();
    add(1, "outer");
    begin();
    add(2, "inner");
    dump(5, "from inside");
    EXPECT_THAT(recorder.errors(), ElementsAre("inner", "from inside"));
}

TEST_F(ErrorTraceTest, TheOuterContextGoesOnAfterTheInnerOne) {
    begin();
    add(1, "outer");
    begin();
    add(2, "inner");
    end();
    add(3, "outer again");
    dump(5, "from outside");
    EXPECT_THAT(recorder.errors(), ElementsAre("outer", "outer again", "from outside"));
}

TEST_F(ErrorTraceTest, ClearLeavesTheOuterContext) {
    begin();
    add(1, "outer");
    begin();
    MErrTrace_ClearContext();
    end();
    dump(5, "the message");
    EXPECT_THAT(recorder.errors(), ElementsAre("outer", "the message"));
}

TEST_F(ErrorTraceTest, AnEndedContextIsForgotten) {
    begin();
    add(1, "gone");
    end();
    begin();
    dump(5, "the message");
    EXPECT_THAT(recorder.errors(), ElementsAre("the message"));
}

TEST_F(ErrorTraceTest, AnEndWithoutBeginDoesNothing) {
    MErrTrace_EndContext();
    begin();
    add(1, "collected");
    dump(5, "the message");
    EXPECT_THAT(recorder.errors(), ElementsAre("collected", "the message"));
}

TEST_F(ErrorTraceTest, ContextsNestDeeply) {
    for (int depth = 0; depth < 200; ++depth) {
        begin();
        add(depth, std::to_string(depth));
    }
    for (int depth = 199; depth >= 0; --depth) {
        recorder.clear();
        dump(5, "the message");
        EXPECT_THAT(recorder.errors(), ElementsAre(std::to_string(depth), "the message"));
        end();
    }
}

TEST_F(ErrorTraceTest, AContextKeepsTheNewestSixteenEntries) {
    begin();
    for (const std::string& text : numbered(1, 16)) add(1, text);
    dump(5, "full");
    std::vector<std::string> expected = numbered(1, 16);
    expected.push_back("full");
    EXPECT_EQ(recorder.errors(), expected);

    recorder.clear();
    add(1, "17");
    dump(5, "overfull");
    expected = numbered(2, 17);
    expected.push_back("overfull");
    EXPECT_EQ(recorder.errors(), expected);
}

TEST_F(ErrorTraceTest, AContextBelongsToItsThread) {
    begin();
    add(1, "here");
    std::thread([] {
        add(2, "there");
        dump(6, "from there");
        MErrTrace_EndContext();
    }).join();
    dump(5, "from here");
    EXPECT_THAT(recorder.errors(), ElementsAre("from there", "here", "from here"));
}

}  // namespace
