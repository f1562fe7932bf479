// Shared by the tests of both ends of a message fifo: recorded reports, a unique channel and its memory.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "IPMessageReceiver.h"
#include "IPMessageSender.h"
#include "child_process.h"
#include "log_recorder.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"

namespace test {

using kest::dorven::IPMessageReceiver;
using kest::dorven::IPMessageSender;

constexpr std::size_t kMessageSize = 40;

/// A failed assertion of a source file, on whatever line.
MATCHER_P3(FailedAssertion, condition, file, message, "") {
    const std::string begin = std::string("Assertion failed: '") + condition + "', file " + file + ", line ";
    const std::string end = ": " + std::string(message);
    const std::string text = arg;
    if (!text.starts_with(begin) || !text.ends_with(end) || text.size() <= begin.size() + end.size()) return false;
    const std::string line = text.substr(begin.size(), text.size() - begin.size() - end.size());
    return line.find_first_not_of("0123456789") == std::string::npos && line != "0";
}

/// Answers as told, and records the questions.
class ScriptedEvent : public MEvent {
public:
    int Wait(double seconds) override {
        waits.push_back(seconds);
        return result;
    }
    bool Notify() override { return ++notified > 0; }
    bool Set() override { return Notify(); }

    int result = 1;
    int notified = 0;
    std::vector<double> waits;
};

/// Another link to a memory of this process.
class LinkedMemory {
public:
    explicit LinkedMemory(const std::string& name)
        : _memory(static_cast<unsigned char*>(MSharedMem_Link(name.c_str()))) {}
    ~LinkedMemory() {
        if (_memory) MSharedMem_Unlink(_memory);
    }
    LinkedMemory(const LinkedMemory&) = delete;
    LinkedMemory& operator=(const LinkedMemory&) = delete;

    unsigned char* bytes() const { return _memory; }
    MMemFifo* fifo() const { return reinterpret_cast<MMemFifo*>(_memory); }

private:
    unsigned char* _memory;
};

class EndpointTest : public testing::Test {
protected:
    ~EndpointTest() override {
        EXPECT_THAT(_log.errors(), testing::IsEmpty()) << "reported, but not looked at";
        EXPECT_FALSE(memoryExists()) << "somebody still holds it";
    }

    std::shared_ptr<IPMessageSender> makeSender(std::size_t size = kMessageSize) {
        return IPMessageSender::create(_id, size);
    }
    std::shared_ptr<IPMessageReceiver> makeReceiver(std::size_t size = kMessageSize) {
        return IPMessageReceiver::create(_id, size);
    }

    // New texts of one log; failed assertions all come from the one place that hosts know.
    std::vector<std::string> take(LogSink sink) {
        std::vector<std::string> texts;
        for (const LogEntry& entry : _log.entries(sink)) {
            texts.push_back(entry.text);
            if (!entry.text.starts_with("Assertion failed: ")) continue;
            EXPECT_EQ(entry.file, "mutil/src/massert");
            EXPECT_EQ(entry.line, 61);
        }
        _log.clear();
        return texts;
    }
    std::vector<std::string> errors() { return take(LogSink::errorLog); }

    // Level and text of new traces.
    std::vector<std::pair<int, std::string>> traces() {
        std::vector<std::pair<int, std::string>> found;
        for (const LogEntry& entry : _log.entries(LogSink::trace)) found.emplace_back(entry.level, entry.text);
        _log.clear();
        return found;
    }

    bool memoryExists() {
        const LinkedMemory memory(_memoryName);
        return memory.bytes() != nullptr;
    }

    static void write(IPMessageSender& sender, const std::string& bytes) { sender.write(bytes.data(), bytes.size()); }
    static std::string read(IPMessageReceiver& receiver, std::size_t size, char unread = '.') {
        std::string buffer(size, unread);
        receiver.read(buffer.data(), size);
        return buffer;
    }

    const std::string _id = uniqueName("channel");
    const std::string _memoryName = image_road::memoryOf(_id);
    const std::string _eventName = image_road::eventOf(_id);
    LogRecorder _log{5};
};

}  // namespace test
