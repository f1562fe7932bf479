#include "errorlog.h"

#include "log_core.h"
#include "report.h"

namespace {

thread_local ReportLocation location;  // of this thread's next entry

}  // namespace

void _MErrLog_Location(int /*reserved*/, const char* file, int line) {
    keepName(location.file, file);
    location.line = line;
}

void _MErrLog_Add(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    withFormattedText(format, arguments, [](const char* text) {
        const LogEntryView entry{LogSink::errorLog, 0, location.file, location.line, "", text, 0};
        LogCore_Write(&entry);
    });
    va_end(arguments);
    location = {};
}
