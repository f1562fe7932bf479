#include "trace.h"

#include "log_core.h"
#include "report.h"

namespace {

thread_local ReportLocation location;  // of this thread's next message

}  // namespace

int MTrace_TestMasterLevel(int level) { return level <= LogCore_MasterLevel(); }

int _MTrace_Location(const char* file, int line, const char* channel, int level) {
    keepName(location.file, file);
    keepName(location.channel, channel);
    location.line = line;
    location.level = level;
    return MTrace_TestMasterLevel(level);
}

void _MTrace_Always(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    withFormattedText(format, arguments, [](const char* text) {
        const char* channel = location.channel[0] ? location.channel : "default";
        const LogEntryView entry{LogSink::trace, location.level, location.file, location.line, channel, text, 0};
        LogCore_Write(&entry);
    });
    va_end(arguments);
    location = {};
}
