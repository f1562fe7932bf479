#include <cstring>

// What the reporting functions do when memory runs out.
#include <gmock/gmock.h>

#include "errortrace.h"
#include "log_recorder.h"
#include "without_memory.h"

namespace {

using testing::ElementsAre;

// Accepts entries without needing memory itself.
struct Received {
    Received() {
        LogCore_SetCapture(
            [](void* self, const LogEntryView* entry) {
                auto& received = *static_cast<Received*>(self);
                received.length = std::strlen(entry->text);
                ++received.count;
            },
            this);
    }
    ~Received() { LogCore_SetCapture(nullptr, nullptr); }
    Received(const Received&) = delete;
    Received& operator=(const Received&) = delete;

    int count = 0;
    std::size_t length = 0;
};

TEST(OutOfMemory, ALongTextIsCut) {
    const std::string text(3000, 'x');
    Received received;
    {
        const WithoutMemory scope;
        _MErrTrace_Add("%s", text.c_str());
    }
    EXPECT_EQ(received.length, 1023u);
    _MErrTrace_Add("%s", text.c_str());
    EXPECT_EQ(received.length, 3000u);
}

TEST(OutOfMemory, ATextThatCannotBeFormattedIsWrittenAsItsFormat) {
    const std::string format = "%Iu is a size that needs memory to be formatted";
    Received received;
    {
        const WithoutMemory scope;
        _MErrTrace_Add("%Iu is a size that needs memory to be formatted", std::size_t{1});
    }
    EXPECT_EQ(received.count, 1);
    EXPECT_EQ(received.length, format.size());
}

TEST(OutOfMemory, AnEntryThatCannotBeKeptIsWrittenAllTheSame) {
    Received received;
    MErrTrace_BeginContext(nullptr);
    _MErrTrace_Add("kept");
    {
        const WithoutMemory scope;
        _MErrTrace_Add("a text that is longer than what a string holds in itself");
    }
    EXPECT_EQ(received.count, 2);
    _MErrTrace_DumpContextToMErrLog("message");
    EXPECT_EQ(received.count, 4);
    MErrTrace_EndContext();
}

TEST(OutOfMemory, ContextsStayBalanced) {
    const test::LogRecorder recorder;
    MErrTrace_BeginContext(nullptr);
    _MErrTrace_Add("outer");
    {
        const WithoutMemory scope;
        MErrTrace_BeginContext(nullptr);
    }
    MErrTrace_BeginContext(nullptr);
    _MErrTrace_Add("kept nowhere");
    MErrTrace_ClearContext();
    _MErrTrace_DumpContextToMErrLog("in the innermost");
    MErrTrace_EndContext();
    MErrTrace_EndContext();
    _MErrTrace_DumpContextToMErrLog("in the outer");
    MErrTrace_EndContext();
    EXPECT_THAT(recorder.errors(), ElementsAre("in the innermost", "outer", "in the outer"));
}

}  // namespace
