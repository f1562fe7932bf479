// What reporting leaves in the logs.
#include "errtrace.h"

#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const char kFile[] = "folder/source";

TEST(ErrTrace, TraceIsWrittenUpToTheMasterLevel) {
    const test::LogRecorder recorder(4);
    M_TRACE_AT(31, 4, "%s", "entered");
    M_TRACE_AT(32, 5, "%s", "too detailed");
    const auto entries = recorder.entries(LogSink::trace);
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_EQ(entries[0].text, "entered");
    EXPECT_EQ(entries[0].file, kFile);
    EXPECT_EQ(entries[0].line, 31);
    EXPECT_EQ(entries[0].channel, "default");
    EXPECT_EQ(entries[0].level, 4);
}

TEST(ErrTrace, DumpWritesWhatTheContextCollectedAndThenTheMessage) {
    const test::LogRecorder recorder;
    {
        const MErrTraceContext context("F");
        M_ERRTRACE("cause %d", 1);
        context.DumpToMErrLog(5, "message");
    }
    EXPECT_THAT(recorder.errorTraces(), ElementsAre("cause 1"));
    EXPECT_THAT(recorder.errors(), ElementsAre("cause 1", "message"));
    const auto message = recorder.entries(LogSink::errorLog).back();
    EXPECT_EQ(message.file, "F");
    EXPECT_EQ(message.line, 5);
}

TEST(ErrTrace, FindingsOfThePlatformLayerAreEntriesOfTheErrorTrace) {
    const test::LogRecorder recorder;
    testing::internal::CaptureStderr();
    platform_report("50% of something");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(recorder.errorTraces(), ElementsAre("50% of something"));
    EXPECT_EQ(recorder.entries(LogSink::errorTrace)[0].file, "merror/inc/errtrace");
}

TEST(ErrTrace, ErrorsOutsideTheContextAreNotDumped) {
    const test::LogRecorder recorder;
    {
        const MErrTraceContext ended("F");
        M_ERRTRACE("earlier");
    }
    const MErrTraceContext context("F");
    context.DumpToMErrLog(5, "message");
    EXPECT_THAT(recorder.errors(), ElementsAre("message"));
}

// Each thread reports texts that contain the thread and the line.
void report(int thread, int count) {
    const std::string file = std::string("F").append(std::to_string(thread));
    for (int line = 1; line <= count; ++line) {
        const MErrTraceContext context(file.c_str());
        context.DumpToMErrLog(line, "%s:%d", file.c_str(), line);
        _MErrTrace_Location(0, file.c_str(), line);
        _MErrTrace_Add("%s:%d", file.c_str(), line);
    }
}

TEST(ErrTrace, ThreadsThatReportAtOnceKeepTheirOwnLocationsAndTexts) {
    constexpr int kThreads = 4;
    constexpr int kReports = 200;
    const test::LogRecorder recorder;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(report, thread, kReports);
    for (std::thread& thread : threads) thread.join();

    const auto entries = recorder.entries();
    EXPECT_THAT(entries, SizeIs(2 * kThreads * kReports));
    for (const test::LogEntry& entry : entries) EXPECT_EQ(entry.text, entry.file + ":" + std::to_string(entry.line));
}

}  // namespace
