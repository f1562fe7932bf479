#include "errtrace.h"

#include <cstdarg>

namespace {

const char kFile[] = "merror/inc/errtrace";

constexpr int kTooLongLine = 89;  // kept on purpose: docs/oddities.md, entry-numbers
constexpr std::size_t kTextSize = 255;

void reportPlatformFinding(const char* text) { M_ERRTRACE("%s", text); }

}  // namespace

bool MErrTrace_TakePlatformReports() {
    platform_setReport(reportPlatformFinding);
    return true;
}

MErrTraceContext::MErrTraceContext(const char* file) : _file(file) { MErrTrace_BeginContext(this); }

MErrTraceContext::~MErrTraceContext() { MErrTrace_EndContext(); }

void MErrTraceContext::DumpToMErrLog(int line, const char* format, ...) const {
    char text[kTextSize];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = platform_vformat(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof text) {
        _MErrLog_Location(0, kFile, kTooLongLine);
        _MErrLog_Add("MErrTraceContext::DumpToMErrLog(): output string too long !");
    }
    _MErrTrace_Location(0, _file, line);
    _MErrTrace_DumpContextToMErrLog("%s", text);
}
