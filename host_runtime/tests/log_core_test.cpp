#include "log_core.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <list>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

#include "child_process.h"
#include "errorlog.h"
#include "errortrace.h"
#include "log_file_fixture.h"
#include "log_recorder.h"
#include "platform.h"
#include "temporary_folder.h"
#include "trace.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

void traceAt(int level) {
    if (MTrace_TestMasterLevel(level) && _MTrace_Location("folder/traced", 10 + level, "default", level))
        _MTrace_Always("message of level %d", level);
}

CHILD_ROLE(reportsToEverySink) {
    beginReporter(arguments);
    for (int level = 0; level <= 5; ++level) traceAt(level);
    _MErrLog_Location(0, "folder/logged", 7);
    _MErrLog_Add("an error");
    _MErrTrace_Location(0, "folder/low", 8);
    _MErrTrace_Add("a low-level error");
    return 0;
}

CHILD_ROLE(reportsText) {
    beginReporter(arguments);
    for (std::size_t i = 3; i < arguments.size(); ++i) {
        _MErrLog_Location(0, "folder/logged", 7);
        _MErrLog_Add("%s", arguments[i].c_str());
    }
    return 0;
}

CHILD_ROLE(reportsControlCharacters) {
    beginReporter(arguments);
    _MErrLog_Location(0, "a\nfile", 1);
    _MErrLog_Add("%s", "one\ntwo\r\tthree \x1b[1m \x7f \\n \xc3\xa4");
    return 0;
}

CHILD_ROLE(reportsAndEndsWithoutCleaningUp) {
    beginReporter(arguments);
    _MErrLog_Add("the last words");
    std::_Exit(3);
}

CHILD_ROLE(reportsWithoutLocation) {
    beginReporter(arguments);
    _MErrLog_Add("from nowhere");
    return 0;
}

CHILD_ROLE(reportsAroundACapture) {
    beginReporter(arguments);
    _MErrLog_Add("before");
    {
        const test::LogRecorder recorder;
        _MErrLog_Add("captured");
    }
    _MErrLog_Add("after");
    return 0;
}

// In its own time zone, if the system reads one from the environment, so that UTC differs from local time.
CHILD_ROLE(comparesTheTimeOfItsEntry) {
    setEnvironment("TZ", "TST-05:30");
    beginReporter(arguments);
    const auto localTime = [] {
        const std::time_t now = std::time(nullptr);
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
        return std::string(text);
    };
    const std::string before = localTime();
    _MErrLog_Add("now");
    const std::string after = localTime();
    const std::string time = linesOf(arguments.at(1)).at(0).substr(0, before.size());
    return before <= time && time <= after ? 0 : 1;
}

CHILD_ROLE(answersMasterLevel) {
    beginReporter(arguments);
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) thread = std::thread([] { LogCore_MasterLevel(); });
    for (std::thread& thread : threads) thread.join();
    return LogCore_MasterLevel();
}

constexpr int kLinesPerWriter = 400;

CHILD_ROLE(reportsManyLines) {
    beginReporter(arguments);
    const std::string& writer = arguments.at(3);
    const HANDLE ready = OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(4).c_str());
    const HANDLE go = OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(5).c_str());
    SetEvent(ready);
    if (WaitForMultipleObjects(1, &go, FALSE, 60000) != WAIT_OBJECT_0) return 1;
    for (int i = 0; i < kLinesPerWriter; ++i) {
        _MErrLog_Location(0, "writer", i);
        _MErrLog_Add("%s", lineText(writer, i).c_str());
    }
    CloseHandle(ready);
    CloseHandle(go);
    return 0;
}

MATCHER_P(IsTimeAnd, rest, "") {
    const std::string form = "0000-00-00 00:00:00.000 ";
    std::string time = arg.substr(0, form.size());
    std::replace_if(
        time.begin(), time.end(), [](char character) { return character >= '0' && character <= '9'; }, '0');
    return time == form && arg.substr(form.size()) == rest;
}

TEST_F(LogFileTest, ALineHoldsTimeSinkLevelFileLineAndText) {
    ASSERT_EQ(run("reportsToEverySink", "1", log), 0);
    EXPECT_THAT(logged(), ElementsAre(IsTimeAnd("trace 0 folder/traced:10 message of level 0"),
                                      IsTimeAnd("trace 1 folder/traced:11 message of level 1"),
                                      IsTimeAnd("errorlog 0 folder/logged:7 an error"),
                                      IsTimeAnd("errortrace 0 folder/low:8 a low-level error")));
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(LogFileTest, TimeIsTheLocalTimeOfTheEntry) {
    EXPECT_EQ(run("comparesTheTimeOfItsEntry", "", log), 0);
    EXPECT_THAT(logged(), SizeIs(1));
}

class LogLevelTest : public LogFileTest, public testing::WithParamInterface<std::pair<const char*, int>> {};

TEST_P(LogLevelTest, WritesTracesUpToTheLevelAndErrorsAlways) {
    const auto [text, level] = GetParam();
    ASSERT_EQ(run("reportsToEverySink", text, log), 0);
    const std::vector<std::string> lines = logged();
    ASSERT_THAT(lines, SizeIs(static_cast<std::size_t>(level) + 3));
    for (int i = 0; i <= level; ++i)
        EXPECT_THAT(lines[static_cast<std::size_t>(i)], EndsWith("message of level " + std::to_string(i)));
    EXPECT_THAT(lines[lines.size() - 2], EndsWith(" an error"));
    EXPECT_THAT(lines.back(), EndsWith(" a low-level error"));
    EXPECT_THAT(said(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Levels, LogLevelTest,
                         testing::Values(std::pair("", 0), std::pair("0", 0), std::pair("1", 1), std::pair("2", 2),
                                         std::pair("3", 3), std::pair("4", 4), std::pair("5", 5)));

class WrongLogLevelTest : public LogFileTest, public testing::WithParamInterface<std::pair<const char*, int>> {};

TEST_P(WrongLogLevelTest, IsReportedOnceAndTheNearestLevelUsed) {
    const auto [text, level] = GetParam();
    EXPECT_EQ(run("answersMasterLevel", text, log), level);
    EXPECT_THAT(said(), ElementsAre(std::string("DORVEN_LOG_LEVEL is \"") + text +
                                    "\", not a number from 0 to 5: level " + std::to_string(level) + " is used."));
}

INSTANTIATE_TEST_SUITE_P(Levels, WrongLogLevelTest,
                         testing::Values(std::pair("6", 5), std::pair("-1", 0), std::pair("99999999999999999999", 5),
                                         std::pair("-99999999999999999999", 0), std::pair("all", 0), std::pair("3x", 0),
                                         std::pair(" 3", 0), std::pair("2.5", 0)));

TEST_F(LogFileTest, AGivenFileIsAppendedTo) {
    folder.file("log.txt", "what stood there\n");
    ASSERT_EQ(run("reportsText", "", log, {"first"}), 0);
    ASSERT_EQ(run("reportsText", "", log, {"second"}), 0);
    EXPECT_THAT(logged(), ElementsAre("what stood there", EndsWith(":7 first"), EndsWith(":7 second")));
}

TEST_F(LogFileTest, FoldersMayBeSeparatedByEitherSlash) {
    ASSERT_EQ(run("reportsText", "", folder.path() + "\\log.txt", {"text"}), 0);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(":7 text")));
}

TEST_F(LogFileTest, WithoutAFileEntriesGoToStandardError) {
    ASSERT_EQ(run("reportsText", "", "", {"first", "second"}), 0);
    EXPECT_THAT(said(), ElementsAre(EndsWith(":7 first"), EndsWith(":7 second")));
}

TEST_F(LogFileTest, AFileThatCannotBeOpenedIsReportedOnceAndEntriesGoToStandardError) {
    const std::string path = folder.path() + "/no such folder/log.txt";
    ASSERT_EQ(run("reportsText", "", path, {"first", "second"}), 0);
    EXPECT_THAT(said(), testing::UnorderedElementsAre("The log file \"" + path +
                                                          "\" (DORVEN_LOG_FILE) cannot be opened: entries go to "
                                                          "standard error.",
                                                      EndsWith(":7 first"), EndsWith(":7 second")));
}

TEST_F(LogFileTest, ADeviceWithoutRoomLosesLinesButNotTheProcess) {
    EXPECT_EQ(run("reportsText", "", "/dev/full", {"first", "second"}), 0);
}

TEST_F(LogFileTest, ControlCharactersAreEscapedSoThatAnEntryIsOneLine) {
    ASSERT_EQ(run("reportsControlCharacters", "", log), 0);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(" a\\nfile:1 one\\ntwo\\r\\tthree \\x1b[1m \\x7f \\n \xc3\xa4")));
}

TEST_F(LogFileTest, AnEntryWithoutLocationNamesAnUnknownFile) {
    ASSERT_EQ(run("reportsWithoutLocation", "", log), 0);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(" errorlog 0 ?:0 from nowhere")));
}

TEST_F(LogFileTest, AProcessThatEndsWithoutCleaningUpHasLostNothing) {
    ASSERT_EQ(run("reportsAndEndsWithoutCleaningUp", "", log), 3);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(" the last words")));
}

TEST_F(LogFileTest, WhatIsCapturedIsNotWritten) {
    ASSERT_EQ(run("reportsAroundACapture", "", log), 0);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(" before"), EndsWith(" after")));
}

TEST_F(LogFileTest, ALongTextStandsInOneLine) {
    const std::string text(5000, 'x');
    ASSERT_EQ(run("reportsText", "", log, {text}), 0);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(":7 " + text)));
}

TEST_F(LogFileTest, LinesOfSeveralProcessesAreAllThereAndNeverMix) {
    const std::vector<std::string> writers{"a", "b", "c", "d"};
    std::list<Signal> ready;
    std::list<Signal> go;
    std::list<test::ChildProcess> children;
    for (const std::string& writer : writers) {
        ready.emplace_back("ready");
        go.emplace_back("go");
        children.emplace_back("reportsManyLines", test::Arguments{"", log, folder.path("stderr_" + writer), writer,
                                                                  ready.back().name, go.back().name});
    }
    for (const Signal& signal : ready)
        ASSERT_EQ(WaitForMultipleObjects(1, &signal.handle, FALSE, 60000), WAIT_OBJECT_0);
    for (const Signal& signal : go) SetEvent(signal.handle);
    for (test::ChildProcess& child : children) EXPECT_EQ(child.join(60s), 0);

    std::vector<std::string> expected;
    for (const std::string& writer : writers) {
        for (int i = 0; i < kLinesPerWriter; ++i)
            expected.push_back("errorlog 0 writer:" + std::to_string(i) + " " + lineText(writer, i));
    }
    std::vector<std::string> found;
    const std::size_t timeLength = std::string("2000-01-01 00:00:00.000 ").size();
    for (const std::string& line : logged()) found.push_back(line.substr(std::min(timeLength, line.size())));
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected) << "lines are torn, lost or mixed";
}

TEST(LogCore, SetMasterLevelKeepsToTheRange) {
    const int former = LogCore_MasterLevel();
    for (const auto& [asked, got] :
         {std::pair(-1, 0), std::pair(0, 0), std::pair(3, 3), std::pair(5, 5), std::pair(6, 5)}) {
        LogCore_SetMasterLevel(asked);
        EXPECT_EQ(LogCore_MasterLevel(), got);
    }
    LogCore_SetMasterLevel(former);
}

TEST(LogCore, ACaptureReceivesTheEntryWithEveryField) {
    const test::LogRecorder recorder;
    const LogEntryView entry{LogSink::trace, 3, "file", 12, "channel", "text\nas it is", 0};
    LogCore_Write(&entry);
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    const test::LogEntry got = recorder.entries()[0];
    EXPECT_EQ(got.sink, LogSink::trace);
    EXPECT_EQ(got.level, 3);
    EXPECT_EQ(got.file, "file");
    EXPECT_EQ(got.line, 12);
    EXPECT_EQ(got.channel, "channel");
    EXPECT_EQ(got.text, "text\nas it is");
}

TEST(LogCore, MissingTextsAreEmptyAndAMissingEntryIsIgnored) {
    const test::LogRecorder recorder;
    const LogEntryView entry{LogSink::errorLog, 0, nullptr, 0, nullptr, nullptr, 0};
    LogCore_Write(&entry);
    LogCore_Write(nullptr);
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    EXPECT_EQ(recorder.entries()[0].file + recorder.entries()[0].channel + recorder.entries()[0].text, "");
}

TEST(LogCore, EachThreadHasANumberOfItsOwn) {
    const test::LogRecorder recorder;
    _MErrLog_Add("here");
    std::thread([] { _MErrLog_Add("there"); }).join();
    _MErrLog_Add("here again");
    const std::vector<test::LogEntry> entries = recorder.entries();
    ASSERT_THAT(entries, SizeIs(3));
    EXPECT_EQ(entries[0].thread, entries[2].thread);
    EXPECT_NE(entries[0].thread, entries[1].thread);
    EXPECT_NE(entries[1].thread, 0u);
}

TEST(LogCore, ACaptureThatThrowsHarmsNobody) {
    LogCore_SetCapture([](void*, const LogEntryView*) { throw std::runtime_error("no room"); }, nullptr);
    _MErrLog_Add("lost");
    LogCore_SetCapture(nullptr, nullptr);
    const test::LogRecorder recorder;  // the lock is free again
    _MErrLog_Add("kept");
    EXPECT_THAT(recorder.errors(), ElementsAre("kept"));
}

}  // namespace
