#include "trace.h"

#include <limits>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST(Trace, LevelsUpToTheMasterLevelAreWanted) {
    for (int master = 0; master <= 5; ++master) {
        const test::LogRecorder recorder(master);
        for (int level = 0; level <= 6; ++level) {
            EXPECT_EQ(MTrace_TestMasterLevel(level) != 0, level <= master);
            EXPECT_EQ(_MTrace_Location("file", 1, "default", level) != 0, level <= master);
        }
    }
}

TEST(Trace, AMessageCarriesItsLocationChannelAndLevel) {
    const test::LogRecorder recorder;
    _MTrace_Location("Dorven/TeskImages", 31, "default", 4);
    _MTrace_Always("%s - grabbing.", "name");
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    const test::LogEntry entry = recorder.entries()[0];
    EXPECT_EQ(entry.sink, LogSink::trace);
    EXPECT_EQ(entry.file, "Dorven/TeskImages");
    EXPECT_EQ(entry.line, 31);
    EXPECT_EQ(entry.channel, "default");
    EXPECT_EQ(entry.level, 4);
    EXPECT_EQ(entry.text, "name - grabbing.");
}

TEST(Trace, AMessageWithoutLocationIsWrittenWithDefaults) {
    const test::LogRecorder recorder;
    _MTrace_Location("file", 31, "channel", 4);
    _MTrace_Always("located");
    _MTrace_Always("not located");
    ASSERT_THAT(recorder.entries(), SizeIs(2));
    const test::LogEntry entry = recorder.entries()[1];
    EXPECT_EQ(entry.file, "");
    EXPECT_EQ(entry.line, 0);
    EXPECT_EQ(entry.channel, "default");
    EXPECT_EQ(entry.level, 0);
}

TEST(Trace, OfTwoLocationsTheLastCounts) {
    const test::LogRecorder recorder;
    _MTrace_Location("first", 1, "one", 1);
    _MTrace_Location("second", 2, "two", 2);
    _MTrace_Always("text");
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    EXPECT_EQ(recorder.entries()[0].file + recorder.entries()[0].channel, "secondtwo");
}

TEST(Trace, ALocationOutlivesTheTextsItWasGivenFrom) {
    const test::LogRecorder recorder;
    {
        std::string file = "file";
        std::string channel = "channel";
        _MTrace_Location(file.c_str(), 1, channel.c_str(), 1);
        file.assign("gone");
        channel.assign("gone");
    }
    _MTrace_Always("text");
    EXPECT_EQ(recorder.entries().at(0).file, "file");
    EXPECT_EQ(recorder.entries().at(0).channel, "channel");
}

TEST(Trace, OfALongFileNameTheEndIsKept) {
    const test::LogRecorder recorder;
    for (const std::size_t length : {258u, 259u, 260u, 500u}) {
        const std::string name = std::string(length - 4, 'x') + "/end";
        _MTrace_Location(name.c_str(), 1, "default", 0);
        _MTrace_Always("text");
        EXPECT_EQ(recorder.entries().back().file, name.substr(name.size() - std::min<std::size_t>(name.size(), 259)));
    }
}

TEST(Trace, MissingTextsAreTakenForEmptyOnes) {
    const test::LogRecorder recorder;
    const char* none = nullptr;
    _MTrace_Location(none, 1, none, 0);
    _MTrace_Always(none);
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    EXPECT_EQ(recorder.entries()[0].file, "");
    EXPECT_EQ(recorder.entries()[0].text, "");
}

TEST(Trace, TextsOfAnyLengthAreComplete) {
    const test::LogRecorder recorder;
    std::vector<std::string> texts;
    for (const std::size_t length : {0u, 1u, 1022u, 1023u, 1024u, 1025u, 100000u}) {
        texts.push_back(std::string(length, 'y'));
        _MTrace_Always("%s", texts.back().c_str());
    }
    EXPECT_EQ(recorder.traces(), texts);
}

TEST(Trace, ANegativeLevelIsWantedAlways) {
    const test::LogRecorder recorder(0);
    EXPECT_NE(MTrace_TestMasterLevel(std::numeric_limits<int>::min()), 0);
}

}  // namespace
