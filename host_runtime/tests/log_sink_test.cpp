// What happens to a host whose log cannot accept what is written to it, or accepts too much.
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <regex>

#include <gmock/gmock.h>

#include "broken_sink.h"
#include "errorlog.h"
#include "errortrace.h"
#include "log_core.h"
#include "log_file_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

void report(const std::string& text) {
    _MErrLog_Location(0, "folder/logged", 7);
    _MErrLog_Add("%s", text.c_str());
}

std::vector<std::string> splitLines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// How often an entry with that text was reported according to the log: in full, or counted. Requires the texts of one
// sink.
std::size_t timesReported(const std::vector<std::string>& lines, const std::string& text) {
    std::size_t times = 0;
    bool isLast = false;
    for (const std::string& line : lines) {
        std::smatch match;
        if (std::regex_search(line, match, std::regex("last entry repeated (\\d+) times$"))) {
            times += isLast ? std::stoul(match[1]) : 0;
        } else {
            isLast = line.size() > text.size() && line.compare(line.size() - text.size(), text.size(), text) == 0;
            times += isLast ? 1 : 0;
        }
    }
    return times;
}

std::size_t lostEntries(const std::vector<std::string>& lines) {
    std::size_t lost = 0;
    for (const std::string& line : lines) {
        std::smatch match;
        const std::regex note(
            " errorlog 0 log_core:0 (\\d+) entr(y was|ies were) lost here: the log could not be "
            "written$");
        if (std::regex_search(line, match, note)) lost += std::stoul(match[1]);
    }
    return lost;
}

std::size_t linesWith(const std::vector<std::string>& lines, const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

void logToStandardError() {
    setEnvironment("DORVEN_LOG_LEVEL", "");
    setEnvironment("DORVEN_LOG_FILE", "");
}

// ---- standard error without a reader

CHILD_ROLE(reportsIntoAPipeWithoutAReader) {
    logToStandardError();
    StandardErrorPipe pipe;
    pipe.closeReader();
    for (int i = 0; i < 3; ++i) report("text " + std::to_string(i));
    return 0;
}

TEST(LogSink, APipeWhoseReaderHasGoneDoesNotEndTheProgram) {
    EXPECT_EQ(test::ChildProcess("reportsIntoAPipeWithoutAReader").join(60s), 0);
}

CHILD_ROLE(complainsIntoAPipeWithoutAReader) {
    setEnvironment("DORVEN_LOG_LEVEL", "high");
    setEnvironment("DORVEN_LOG_FILE", "/no such folder/log.txt");
    StandardErrorPipe pipe;
    pipe.closeReader();
    LogCore_MasterLevel();
    report("text");
    return 0;
}

TEST(LogSink, ComplaintsAboutTheEnvironmentDoNotEndTheProgramEither) {
    EXPECT_EQ(test::ChildProcess("complainsIntoAPipeWithoutAReader").join(60s), 0);
}

// ---- standard error that nobody reads

constexpr std::size_t kUnreadEntries = 200;

// Reports until the newest entry arrives last, so that nothing is still on its way. Returns what arrived meanwhile.
std::string reportUntilSeen(StandardErrorPipe& pipe) {
    std::string text;
    for (int i = 0;; ++i) {
        const std::string newest = "after " + std::to_string(i);
        report(newest);
        text += pipe.read();
        const std::string last = "folder/logged:7 " + newest + "\n";
        if (text.size() >= last.size() && text.compare(text.size() - last.size(), last.size(), last) == 0) return text;
    }
}

// Argument: the length of an entry.
CHILD_ROLE(reportsIntoAPipeThatNobodyReads) {
    logToStandardError();
    StandardErrorPipe pipe;
    const std::string filler(std::stoul(arguments.at(0)), 'x');
    for (std::size_t i = 0; i < kUnreadEntries; ++i) report(filler + " unread " + std::to_string(i));
    const std::string text = pipe.read() + reportUntilSeen(pipe);
    const std::vector<std::string> lines = splitLines(text);
    std::size_t reported = kUnreadEntries;
    // The last entry's number says how many were tried.
    reported += std::stoul(lines.back().substr(lines.back().rfind(' '))) + 1;
    const std::size_t whole = linesWith(lines, " unread ") + linesWith(lines, ":7 after ");
    const std::size_t lost = lostEntries(lines);
    return lost > 0 && whole + lost == reported ? 0 : 1;
}

class UnreadPipeTest : public testing::TestWithParam<const char*> {};

TEST_P(UnreadPipeTest, DoesNotHangTheProgramAndWhatIsLostIsSaidAfterwards) {
    EXPECT_EQ(test::ChildProcess("reportsIntoAPipeThatNobodyReads", {GetParam()}).join(60s), 0);
}

INSTANTIATE_TEST_SUITE_P(LogSink, UnreadPipeTest, testing::Values("1000", "20000"));

std::size_t timesRepeated(const std::vector<std::string>& lines) {
    std::size_t times = 0;
    for (const std::string& line : lines) {
        std::smatch match;
        if (std::regex_search(line, match, std::regex("last entry repeated (\\d+) times$")))
            times += std::stoul(match[1]);
    }
    return times;
}

// The pipe is full for the first of a row of equal entries, and for some more.
CHILD_ROLE(reportsTheSameIntoAPipeThatNobodyReads) {
    logToStandardError();
    StandardErrorPipe pipe;
    const std::string filler(1000, 'x');
    for (std::size_t i = 0; i < kUnreadEntries; ++i) report(filler + " unread " + std::to_string(i));
    std::size_t same = 119;
    for (std::size_t i = 0; i < same; ++i) report("the same");
    std::string text = pipe.read();
    for (; text.find("the same") == std::string::npos && text.find("repeated") == std::string::npos; ++same) {
        report("the same");
        text += pipe.read();
    }
    text += reportUntilSeen(pipe);
    const std::vector<std::string> lines = splitLines(text);
    if (text.find(":7 the same") > text.find("repeated")) return 2;
    const std::size_t reported = kUnreadEntries + same + std::stoul(lines.back().substr(lines.back().rfind(' '))) + 1;
    const std::size_t whole = linesWith(lines, " unread ") + linesWith(lines, ":7 the same") + timesRepeated(lines) +
                              linesWith(lines, ":7 after ");
    return whole + lostEntries(lines) == reported ? 0 : 1;
}

TEST(LogSink, ARowOfEqualEntriesShowsItsTextThoughTheFirstOfThemWasLost) {
    EXPECT_EQ(test::ChildProcess("reportsTheSameIntoAPipeThatNobodyReads").join(60s), 0);
}

// ---- standard error that a host redirects

CHILD_ROLE(reportsAroundARedirection) {
    logToStandardError();
    standardErrorBecomes(arguments.at(0));
    report("before");
    standardErrorBecomes(arguments.at(1));
    report("after");
    return 0;
}

TEST(LogSink, ARedirectedStandardErrorIsFollowed) {
    PipeForChild first;
    PipeForChild second;
    EXPECT_EQ(test::ChildProcess("reportsAroundARedirection", {first.name(), second.name()}).join(60s), 0);
    EXPECT_THAT(splitLines(first.read()), ElementsAre(HasSubstr("before")));
    EXPECT_THAT(splitLines(second.read()), ElementsAre(HasSubstr("after")));
}

// ---- the end of the program

CHILD_ROLE(reportsTheSameToStandardError) {
    logToStandardError();
    standardErrorBecomes(arguments.at(0));
    for (int i = 0; i < 119; ++i) report("the same");
    return 0;
}

TEST(LogSink, APipeGetsWhatIsCountedAtTheEndOfTheProgram) {
    PipeForChild pipe;
    EXPECT_EQ(test::ChildProcess("reportsTheSameToStandardError", {pipe.name()}).join(60s), 0);
    EXPECT_EQ(timesReported(splitLines(pipe.read()), "the same"), 119u);
}

CHILD_ROLE(endsBehindAPipeThatNobodyReads) {
    logToStandardError();
    static const auto* const pipe = new StandardErrorPipe;  // its reader exists as long as the program
    if (!pipe) return 2;
    const std::string filler(1000, 'x');
    for (std::size_t i = 0; i < kUnreadEntries; ++i) report(filler + " unread " + std::to_string(i));
    for (int i = 0; i < 119; ++i) report("the same");
    return 0;
}

TEST(LogSink, APipeThatNobodyReadsDoesNotKeepTheProgramFromItsEnd) {
    EXPECT_EQ(test::ChildProcess("endsBehindAPipeThatNobodyReads").join(60s), 0);
}

// ---- a stopped process

CHILD_ROLE(reportsBesideAStoppedWriter) {
    beginReporter(arguments);
    StoppedWriter writer(arguments.at(1));
    for (int i = 0; i < 50; ++i) report("beside " + std::to_string(i));
    writer.goOn();
    report("after");
    return 0;
}

TEST_F(LogFileTest, AProcessThatWasStoppedWhileItWroteDoesNotHangTheOthers) {
    ASSERT_EQ(run("reportsBesideAStoppedWriter", "", log), 0);
    const std::vector<std::string> lines = logged();
    EXPECT_EQ(linesWith(lines, ":7 beside ") + lostEntries(lines), 50u);
    EXPECT_EQ(linesWith(lines, ":7 after"), 1u);
}

// ---- rows of equal entries

CHILD_ROLE(reportsTheSame) {
    beginReporter(arguments);
    for (int i = 0; i < 119; ++i) report("the same");
    for (std::size_t i = 3; i < arguments.size(); ++i) report(arguments[i]);
    return 0;
}

TEST_F(LogFileTest, EqualEntriesInARowAreCounted) {
    ASSERT_EQ(run("reportsTheSame", "", log, {"another"}), 0);
    const std::vector<std::string> lines = logged();
    EXPECT_THAT(lines, SizeIs(Le(10u)));
    EXPECT_THAT(lines.front(), EndsWith(" errorlog 0 folder/logged:7 the same"));
    EXPECT_THAT(lines.back(), EndsWith(" errorlog 0 folder/logged:7 another"));
    EXPECT_EQ(timesReported(lines, "the same"), 119u);
}

TEST_F(LogFileTest, WhatIsCountedAtTheEndOfTheProgramIsWritten) {
    ASSERT_EQ(run("reportsTheSame", "", log), 0);
    EXPECT_THAT(logged(), SizeIs(Le(10u)));
    EXPECT_EQ(timesReported(logged(), "the same"), 119u);
}

TEST_F(LogFileTest, AnEntryThatComesTwiceIsWrittenTwice) {
    ASSERT_EQ(run("reportsTheSame", "", log, {"twice", "twice", "another"}), 0);
    const std::vector<std::string> lines = logged();
    ASSERT_THAT(lines, SizeIs(Ge(4u)));
    EXPECT_THAT(std::vector<std::string>(lines.end() - 3, lines.end()),
                ElementsAre(EndsWith(":7 twice"), EndsWith(":7 twice"), EndsWith(":7 another")));
}

CHILD_ROLE(reportsAFailureAndItsCause) {
    beginReporter(arguments);
    for (int i = 0; i < 200; ++i) {
        _MErrTrace_Location(0, "folder/low", 8);
        _MErrTrace_Add("the cause");
        report("the failure");
    }
    return 0;
}

TEST_F(LogFileTest, AFailureThatRepeatsWithItsCauseIsCountedToo) {
    ASSERT_EQ(run("reportsAFailureAndItsCause", "", log), 0);
    std::vector<std::string> traced;
    std::vector<std::string> failed;
    for (const std::string& line : logged()) (linesWith({line}, " errortrace ") == 1 ? traced : failed).push_back(line);
    EXPECT_THAT(logged(), SizeIs(Le(20u)));
    EXPECT_EQ(timesReported(traced, "the cause"), 200u);
    EXPECT_EQ(timesReported(failed, "the failure"), 200u);
}

// ---- what the reporter finds afterwards

CHILD_ROLE(asksForTheCauseBehindAnEntry) {
    beginReporter(arguments);
    for (int i = 0; i < 3; ++i) {
        errno = ENOENT;
        SetLastError(ERROR_ALREADY_EXISTS);
        const LogEntryView entry{LogSink::errorLog, 0, "folder/logged", i, "", "text", 0};
        LogCore_Write(&entry);
        if (errno != ENOENT || GetLastError() != ERROR_ALREADY_EXISTS) return 1;
    }
    return 0;
}

TEST_F(LogFileTest, AnEntryLeavesTheErrorThatItsReporterIsAboutToTell) {
    EXPECT_EQ(run("asksForTheCauseBehindAnEntry", "", log), 0);
    EXPECT_THAT(logged(), SizeIs(3));
}

// ---- names with control characters

CHILD_ROLE(reportsANameThatATerminalWouldObey) {
    beginReporter(arguments);
    report(
        "a name \x1b[31m\n\xc2\x9b"
        "2J \xc2\xa0 \xc3\xa4");
    return LogCore_MasterLevel();
}

TEST_F(LogFileTest, WhatATerminalWouldObeyIsEscaped) {
    ASSERT_EQ(run("reportsANameThatATerminalWouldObey", "\x1b[1m", log), 0);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(":7 a name \\x1b[31m\\n\\xc2\\x9b2J \xc2\xa0 \xc3\xa4")));
    EXPECT_THAT(said(), ElementsAre("DORVEN_LOG_LEVEL is \"\\x1b[1m\", not a number from 0 to 5: level 0 is used."));
}

// ---- a file that grows

constexpr std::size_t kMegabyte = 1000000;

// Further arguments: DORVEN_LOG_MAX_MB, name, number of entries of 100 kB.
CHILD_ROLE(reportsMuch) {
    beginReporter(arguments);
    setEnvironment("DORVEN_LOG_MAX_MB", arguments.at(3));
    const std::string filler(100000, 'x');
    for (int i = 0; i < std::stoi(arguments.at(5)); ++i) report(filler + arguments.at(4) + " " + std::to_string(i));
    return 0;
}

class LogSizeTest : public LogFileTest {
protected:
    std::vector<std::string> endsOf(const std::vector<std::string>& lines) const {
        std::vector<std::string> ends;
        for (const std::string& line : lines) ends.push_back(line.substr(line.rfind('x') + 1));
        return ends;
    }
    std::vector<std::string> numbered(const std::string& name, int first, int end) const {
        std::vector<std::string> texts;
        for (int i = first; i < end; ++i) texts.push_back(name + " " + std::to_string(i));
        return texts;
    }
    const std::string older = log + ".1";
};

TEST_F(LogSizeTest, AFullFileIsPutAsideAndANewOneBegun) {
    ASSERT_EQ(run("reportsMuch", "", log, {"1", "a", "15"}), 0);
    EXPECT_EQ(endsOf(linesOf(older)), numbered("a", 0, 10));
    EXPECT_EQ(endsOf(logged()), numbered("a", 10, 15));
}

TEST_F(LogSizeTest, OneOlderFileIsKept) {
    ASSERT_EQ(run("reportsMuch", "", log, {"1", "a", "15"}), 0);
    ASSERT_EQ(run("reportsMuch", "", log, {"1", "b", "10"}), 0);
    EXPECT_EQ(linesOf(older).size() + logged().size(), 15u);
    EXPECT_EQ(endsOf(logged()), numbered("b", 5, 10));
    EXPECT_FALSE(std::filesystem::exists(older + ".1"));
}

TEST_F(LogSizeTest, ZeroIsNoLimit) {
    ASSERT_EQ(run("reportsMuch", "", log, {"0", "a", "15"}), 0);
    EXPECT_EQ(endsOf(logged()), numbered("a", 0, 15));
    EXPECT_FALSE(std::filesystem::exists(older));
}

TEST_F(LogSizeTest, WhatIsNoSizeIsReportedAndTheNearestUsed) {
    ASSERT_EQ(run("reportsMuch", "", log, {"much", "a", "15"}), 0);
    EXPECT_THAT(said(), ElementsAre("DORVEN_LOG_MAX_MB is \"much\", not a number from 0 to 1000000: 64 is used."));
    EXPECT_THAT(logged(), SizeIs(15));
    ASSERT_EQ(run("reportsMuch", "", log, {"-1", "a", "15"}), 0);
    EXPECT_THAT(said(), ElementsAre("DORVEN_LOG_MAX_MB is \"-1\", not a number from 0 to 1000000: 0 is used."));
    EXPECT_THAT(logged(), SizeIs(30));
}

// A folder with the older file's name prevents the full one from being renamed.
CHILD_ROLE(reportsUntilTheFileCanBePutAside) {
    beginReporter(arguments);
    setEnvironment("DORVEN_LOG_MAX_MB", "1");
    const std::filesystem::path older = arguments.at(1) + ".1";
    std::filesystem::create_directories(older / "folder");
    const std::string filler(100000, 'x');
    for (int i = 0; i < 25; ++i) report(filler + "a " + std::to_string(i));
    std::filesystem::remove_all(older);
    report("after");
    return 0;
}

TEST_F(LogSizeTest, AFileThatCannotBePutAsideEndsAtTwiceItsSize) {
    ASSERT_EQ(run("reportsUntilTheFileCanBePutAside", "", log), 0);
    EXPECT_EQ(endsOf(linesOf(older)), numbered("a", 0, 20));
    EXPECT_THAT(logged(), ElementsAre(EndsWith("log_core:0 5 entries were lost here: the log could not be written"),
                                      EndsWith(":7 after")));
    EXPECT_THAT(said(), ElementsAre(AllOf(HasSubstr("log.txt"),
                                          EndsWith("\" has twice the size of DORVEN_LOG_MAX_MB and cannot be renamed: "
                                                   "entries are lost. Close what has it open, or let this account "
                                                   "write into its folder."))));
}

// Somebody else makes the file too large, after an entry that repeats.
CHILD_ROLE(losesTheSumOfARow) {
    beginReporter(arguments);
    setEnvironment("DORVEN_LOG_MAX_MB", "1");
    const std::filesystem::path older = arguments.at(1) + ".1";
    std::filesystem::create_directories(older / "folder");
    report("the same");
    for (int i = 0; i < 118; ++i) report("the same");
    std::ofstream(arguments.at(1), std::ios::binary | std::ios::app) << std::string(2 * kMegabyte, 'x') << '\n';
    report("another");
    std::filesystem::remove_all(older);
    report("after");
    return 0;
}

// If a slow machine has summed up once or more, it has reported the others before.
TEST_F(LogSizeTest, ASumThatIsLostCountsAsAllTheEntriesThatItStandsFor) {
    ASSERT_EQ(run("losesTheSumOfARow", "", log), 0);
    const std::vector<std::string> first = linesOf(older);
    const std::size_t told = timesReported(first, "the same");
    EXPECT_GE(told, 1u);
    EXPECT_EQ(told + lostEntries(logged()), 120u);
    EXPECT_THAT(logged().back(), EndsWith(":7 after"));
}

constexpr int kBigLinesPerWriter = 250;

CHILD_ROLE(fillsTheFileWithOthers) {
    beginReporter(arguments);
    setEnvironment("DORVEN_LOG_MAX_MB", "1");
    const HANDLE ready = OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(4).c_str());
    const HANDLE go = OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(5).c_str());
    SetEvent(ready);
    if (WaitForMultipleObjects(1, &go, FALSE, 60000) != WAIT_OBJECT_0) return 1;
    for (int i = 0; i < kBigLinesPerWriter; ++i) report(lineText(arguments.at(3), i));
    CloseHandle(ready);
    CloseHandle(go);
    return 0;
}

// Fewer than two files full, so that every line is in the older file or in the new one.
TEST_F(LogSizeTest, SeveralProcessesPutTheFileAsideOnce) {
    std::list<Signal> ready;
    std::list<Signal> go;
    std::list<test::ChildProcess> children;
    std::vector<std::string> expected;
    for (const std::string writer : {"a", "b", "c", "d"}) {
        ready.emplace_back("ready");
        go.emplace_back("go");
        children.emplace_back("fillsTheFileWithOthers", test::Arguments{"", log, folder.path("stderr_" + writer),
                                                                        writer, ready.back().name, go.back().name});
        for (int i = 0; i < kBigLinesPerWriter; ++i) expected.push_back(lineText(writer, i));
    }
    for (const Signal& signal : ready)
        ASSERT_EQ(WaitForMultipleObjects(1, &signal.handle, FALSE, 60000), WAIT_OBJECT_0);
    for (const Signal& signal : go) SetEvent(signal.handle);
    for (test::ChildProcess& child : children) EXPECT_EQ(child.join(60s), 0);

    std::vector<std::string> found;
    for (const std::string& path : {older, log}) {
        const auto size = std::filesystem::file_size(path);
        EXPECT_LT(size, kMegabyte + 5 * 4000);  // a line of each
        for (const std::string& line : linesOf(path)) found.push_back(line.substr(line.find(":7 ") + 3));
    }
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected) << "lines are torn, lost or mixed";
}

}  // namespace
