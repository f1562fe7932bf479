#include <atomic>
#include <memory>
#include <thread>

#include <gmock/gmock.h>

#include "errorlog.h"
#include "errortrace.h"
#include "log_recorder.h"
#include "trace.h"

namespace {

constexpr int kEntries = 500;

// Every entry of a thread contains the thread in its file, its number in its line, and both in its text.
void reportAll(const std::string& name) {
    for (int i = 0; i < kEntries; ++i) {
        _MTrace_Location(name.c_str(), i, name.c_str(), 1);
        _MTrace_Always("%s %d", name.c_str(), i);
        _MErrLog_Location(0, name.c_str(), i);
        _MErrLog_Add("%s %d", name.c_str(), i);
        MErrTrace_BeginContext(nullptr);
        _MErrTrace_Location(0, name.c_str(), i);
        _MErrTrace_Add("%s %d", name.c_str(), i);
        _MErrTrace_Location(0, name.c_str(), i);
        _MErrTrace_DumpContextToMErrLog("%s %d", name.c_str(), i);
        MErrTrace_EndContext();
    }
}

TEST(ConcurrentReports, EveryEntryKeepsItsOwnLocationAndText) {
    const test::LogRecorder recorder;
    std::thread first(reportAll, "first");
    std::thread second(reportAll, "second");
    first.join();
    second.join();

    const std::vector<test::LogEntry> entries = recorder.entries();
    EXPECT_EQ(entries.size(), 2u * 5 * kEntries);
    for (const test::LogEntry& entry : entries) {
        ASSERT_EQ(entry.text, entry.file + " " + std::to_string(entry.line));
        if (entry.sink == LogSink::trace) {
            ASSERT_EQ(entry.channel, entry.file);
        }
    }
}

struct Counter {
    static void count(void* self, const LogEntryView*) { ++static_cast<Counter*>(self)->entries; }
    int entries = 0;  // guarded by the log's lock
};

TEST(ConcurrentReports, ACaptureThatEndedReceivesNothingMore) {
    const test::LogRecorder quiet(0);
    Counter rest;
    LogCore_SetCapture(Counter::count, &rest);
    std::atomic<int> rounds{0};
    std::atomic<bool> stop{false};
    std::thread reporter([&] {
        for (; !stop; ++rounds) {
            if (MTrace_TestMasterLevel(4) && _MTrace_Location("file", 1, "default", 4)) _MTrace_Always("text");
            _MErrLog_Add("text");
        }
    });
    for (int i = 0; i < 200; ++i) {
        auto counter = std::make_unique<Counter>();
        LogCore_SetMasterLevel(i % 6);
        LogCore_SetCapture(Counter::count, counter.get());
        for (const int before = rounds; rounds < before + 2;) std::this_thread::yield();
        LogCore_SetCapture(Counter::count, &rest);
        EXPECT_GT(counter->entries, 0);
        counter.reset();  // an entry that came now would be a use after free, and a race
    }
    stop = true;
    reporter.join();
}

}  // namespace
