// Records what a test makes the library report, and checks the place that each entry names.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace test {

class Reports {
public:
    /// @param file  The source file that every entry must name.
    explicit Reports(std::string file) : _file(std::move(file)) {}
    ~Reports() { EXPECT_THAT(errorTraces(), testing::IsEmpty()) << "reported, but not looked at"; }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    /// New texts in the error trace; the other logs must be empty.
    std::vector<std::string> errorTraces() { return take(LogSink::errorTrace); }

    /// New texts in the error log; the other logs must be empty.
    std::vector<std::string> errors() { return take(LogSink::errorLog); }

    /// All new entries.
    std::vector<LogEntry> entries() {
        auto all = _recorder.entries();
        _recorder.clear();
        return all;
    }

private:
    std::vector<std::string> take(LogSink sink) {
        std::vector<std::string> texts;
        for (const LogEntry& entry : entries()) {
            EXPECT_EQ(entry.sink, sink) << entry.text;
            EXPECT_EQ(entry.file, _file) << entry.text;
            EXPECT_GT(entry.line, 0) << entry.text;
            texts.push_back(entry.text);
        }
        return texts;
    }

    std::string _file;
    LogRecorder _recorder;
};

}  // namespace test
