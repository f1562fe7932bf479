// The exact calls that reporting makes to the host's libraries; the functions below play these libraries.
#undef platform_vformat  // here the real one; the source under test calls refusableVformat under this name
#include <cstdarg>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "errtrace.h"

namespace {

std::vector<std::string> calls;
int wantedLevel = 5;  // what the level test lets through
bool refusesToFormat = false;
bool wantedLocation = true;  // result of the location test
const char* beganFile = nullptr;

std::string vformat(const char* format, std::va_list arguments) {
    char text[2048];
    platform_vformat(text, sizeof text, format, arguments);
    return text;
}

std::string format(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    std::string text = vformat(pattern, arguments);
    va_end(arguments);
    return text;
}

void note(const char* call, const char* pattern, std::va_list arguments) {
    calls.push_back(std::string(call) + "(\"" + pattern + "\"): " + vformat(pattern, arguments));
}

}  // namespace

int refusableVformat(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    const int length = platform_vformat(buffer, size, format, arguments);
    if (!refusesToFormat) return length;
    buffer[0] = '\0';
    return -1;
}

extern "C" {

int MTrace_TestMasterLevel(int level) {
    calls.push_back(format("MTrace_TestMasterLevel(%d)", level));
    return level <= wantedLevel;
}

int _MTrace_Location(const char* file, int line, const char* channel, int level) {
    calls.push_back(format("_MTrace_Location(%s, %d, %s, %d)", file, line, channel, level));
    return wantedLocation;
}

void _MTrace_Always(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    note("_MTrace_Always", pattern, arguments);
    va_end(arguments);
}

void _MErrLog_Location(int reserved, const char* file, int line) {
    calls.push_back(format("_MErrLog_Location(%d, %s, %d)", reserved, file, line));
}

void _MErrLog_Add(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    note("_MErrLog_Add", pattern, arguments);
    va_end(arguments);
}

void _MErrTrace_Location(int reserved, const char* file, int line) {
    calls.push_back(format("_MErrTrace_Location(%d, %s, %d)", reserved, file, line));
}

void _MErrTrace_Add(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    note("_MErrTrace_Add", pattern, arguments);
    va_end(arguments);
}

void MErrTrace_BeginContext(MErrTraceContext* context) {
    beganFile = context->file();
    calls.push_back(format("MErrTrace_BeginContext(%s)", context->file()));
}

void MErrTrace_EndContext() { calls.push_back("MErrTrace_EndContext()"); }

void MErrTrace_ClearContext() { calls.push_back("MErrTrace_ClearContext()"); }

void _MErrTrace_DumpContextToMErrLog(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    note("_MErrTrace_DumpContextToMErrLog", pattern, arguments);
    va_end(arguments);
}

}  // extern "C"

namespace {

using testing::ElementsAre;

const char kFile[] = "folder/source";
const char kTooLong[] =
    "_MErrLog_Add(\"MErrTraceContext::DumpToMErrLog(): output string too long !\"): "
    "MErrTraceContext::DumpToMErrLog(): output string too long !";

std::string dumpCall(const std::string& text) { return "_MErrTrace_DumpContextToMErrLog(\"%s\"): " + text; }

class ReportCalls : public testing::Test {
protected:
    ReportCalls() {
        calls.clear();
        wantedLevel = 5;
        refusesToFormat = false;
        wantedLocation = true;
    }
};

TEST_F(ReportCalls, TraceTestsTheLevelThenGivesTheLocationThenTheText) {
    M_TRACE_AT(17, 4, "%s", "kest::dorven::TeskImages::grab");
    EXPECT_THAT(calls, ElementsAre("MTrace_TestMasterLevel(4)", "_MTrace_Location(folder/source, 17, default, 4)",
                                   "_MTrace_Always(\"%s\"): kest::dorven::TeskImages::grab"));
}

TEST_F(ReportCalls, TraceOfLevel5UsesItInBothCalls) {
    M_TRACE_AT(18, 5, "%s - closing", "name");
    EXPECT_THAT(calls, ElementsAre("MTrace_TestMasterLevel(5)", "_MTrace_Location(folder/source, 18, default, 5)",
                                   "_MTrace_Always(\"%s - closing\"): name - closing"));
}

TEST_F(ReportCalls, TraceOfAnUnwantedLevelGivesNeitherLocationNorText) {
    wantedLevel = 3;
    bool evaluated = false;
    M_TRACE(4, "%d", (evaluated = true) ? 1 : 0);
    EXPECT_THAT(calls, ElementsAre("MTrace_TestMasterLevel(4)"));
    EXPECT_FALSE(evaluated);
}

TEST_F(ReportCalls, TraceFromAnUnwantedLocationGivesNoText) {
    wantedLocation = false;
    bool evaluated = false;
    M_TRACE_AT(9, 4, "%d", (evaluated = true) ? 1 : 0);
    EXPECT_THAT(calls, ElementsAre("MTrace_TestMasterLevel(4)", "_MTrace_Location(folder/source, 9, default, 4)"));
    EXPECT_FALSE(evaluated);
}

TEST_F(ReportCalls, TraceGivesTheCallingLine) {
    const int line = __LINE__ + 1;
    M_TRACE(4, "text");
    EXPECT_EQ(calls.at(1), format("_MTrace_Location(folder/source, %d, default, 4)", line));
}

// A source that shares its name reports its line plus its offset, whatever folder the compiler names.
static_assert(reportedLine("TeskImagesFifo.cpp", 65) == 3065 && reportedLine("a/b/TeskImagesThread.cpp", 65) == 4065 &&
              reportedLine("C:\\b\\TeskImages.cpp", 65) == 1065);
static_assert(reportedLine("mipc/src/mmemfifo.cpp", 65) == 65);

TEST_F(ReportCalls, ErrorLogGetsTheCallingLineAndAtOnceTheText) {
    const int line = __LINE__ + 1;
    M_ERRLOG("%s - failed to start the grab.", "name");
    EXPECT_THAT(calls,
                ElementsAre(format("_MErrLog_Location(0, folder/source, %d)", line),
                            "_MErrLog_Add(\"%s - failed to start the grab.\"): name - failed to start the grab."));
}

TEST_F(ReportCalls, ErrorTraceGetsTheCallingLineAndAtOnceTheText) {
    const int line = __LINE__ + 1;
    M_ERRTRACE("size %Iu", static_cast<std::size_t>(81985529216486895));
    EXPECT_THAT(calls, ElementsAre(format("_MErrTrace_Location(0, folder/source, %d)", line),
                                   "_MErrTrace_Add(\"size %Iu\"): size 81985529216486895"));
}

TEST_F(ReportCalls, ContextIsBegunWithItsFileSetAndEndedWithItsScope) {
    {
        const MErrTraceContext context(kFile);
        EXPECT_THAT(calls, ElementsAre("MErrTrace_BeginContext(folder/source)"));
        EXPECT_EQ(beganFile, kFile);
    }
    EXPECT_THAT(calls, ElementsAre("MErrTrace_BeginContext(folder/source)", "MErrTrace_EndContext()"));
}

TEST_F(ReportCalls, ContextIsEndedByAnExceptionToo) {
    try {
        const MErrTraceContext context("F");
        throw std::runtime_error("passes");
    } catch (const std::runtime_error&) {
        calls.push_back("caught");
    }
    EXPECT_THAT(calls, ElementsAre("MErrTrace_BeginContext(F)", "MErrTrace_EndContext()", "caught"));
}

TEST_F(ReportCalls, DumpGivesTheContextsFileAndTheCallersLine) {
    const MErrTraceContext context("F");
    calls.clear();
    context.DumpToMErrLog(5, "%s of %d", "text", 7);
    EXPECT_THAT(calls, ElementsAre("_MErrTrace_Location(0, F, 5)", dumpCall("text of 7")));
}

TEST_F(ReportCalls, DumpPassesAPercentSignOn) {
    const MErrTraceContext context("F");
    calls.clear();
    context.DumpToMErrLog(5, "%s", "100%s");
    EXPECT_THAT(calls, ElementsAre("_MErrTrace_Location(0, F, 5)", dumpCall("100%s")));
}

TEST_F(ReportCalls, DumpOf254CharactersIsWhole) {
    const MErrTraceContext context("F");
    calls.clear();
    context.DumpToMErrLog(5, "%s", std::string(254, 'x').c_str());
    EXPECT_THAT(calls, ElementsAre("_MErrTrace_Location(0, F, 5)", dumpCall(std::string(254, 'x'))));
}

TEST_F(ReportCalls, DumpOf255CharactersOrMoreReportsItThenGivesTheFirst254) {
    for (const std::size_t length : {255, 300}) {
        const MErrTraceContext context("F");
        calls.clear();
        context.DumpToMErrLog(5, "%s", std::string(length, 'x').c_str());
        EXPECT_THAT(calls, ElementsAre("_MErrLog_Location(0, merror/inc/errtrace, 89)", kTooLong,
                                       "_MErrTrace_Location(0, F, 5)", dumpCall(std::string(254, 'x'))))
            << length;
    }
}

TEST_F(ReportCalls, DumpThatCannotBeFormattedReportsItThenGivesAnEmptyText) {
    const MErrTraceContext context("F");
    calls.clear();
    refusesToFormat = true;
    context.DumpToMErrLog(5, "text");
    EXPECT_THAT(calls, ElementsAre("_MErrLog_Location(0, merror/inc/errtrace, 89)", kTooLong,
                                   "_MErrTrace_Location(0, F, 5)", dumpCall("")));
}

}  // namespace
