// Records what a test makes the library report, and checks where each entry says that it comes from.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace test {

class Reports {
public:
    /// @param file  The source file that every entry has to name.
    explicit Reports(std::string file) : _file(std::move(file)) {}
    ~Reports() { EXPECT_THAT(errorTraces(), testing::IsEmpty()) << "reported, but not looked at"; }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    /// Texts in the error trace since the last look; the other logs must be empty.
    std::vector<std::string> errorTraces() { return take(LogSink::errorTrace); }

    /// Texts in the error log since the last look; the other logs must be empty.
    std::vector<std::string> errors() { return take(LogSink::errorLog); }

    /// Every entry since the last look.
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
