#include "errortrace.h"

#include <deque>
#include <string>

#include "log_core.h"
#include "report.h"

namespace {

constexpr std::size_t kKeptEntries = 16;

struct KeptEntry {
    std::string file;
    int line;
    std::string text;
};

struct Context {
    Context* outer;
    std::deque<KeptEntry> entries;  // the newest kKeptEntries
};

thread_local ReportLocation location;          // of this thread's next entry
thread_local Context* innermost = nullptr;     // freed by its EndContext, so that nothing is left to the thread's end
thread_local std::size_t missingContexts = 0;  // begun inside the innermost without memory for them

void write(LogSink sink, const char* file, int line, const char* text) {
    const LogEntryView entry{sink, 0, file, line, "", text, 0};
    LogCore_Write(&entry);
}

Context* currentContext() { return missingContexts == 0 ? innermost : nullptr; }

void keep(Context& context, const char* text) {
    try {
        context.entries.push_back({location.file, location.line, text});
        if (context.entries.size() > kKeptEntries) context.entries.pop_front();
    } catch (...) {
        // Out of memory: it is in the error trace all the same.
    }
}

}  // namespace

void _MErrTrace_Location(int /*reserved*/, const char* file, int line) {
    keepName(location.file, file);
    location.line = line;
}

void _MErrTrace_Add(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    withFormattedText(format, arguments, [](const char* text) {
        write(LogSink::errorTrace, location.file, location.line, text);
        if (Context* context = currentContext()) keep(*context, text);
    });
    va_end(arguments);
    location = {};
}

void MErrTrace_BeginContext(MErrTraceContext* /*context*/) {
    try {
        if (missingContexts == 0) {
            innermost = new Context{innermost, {}};
            return;
        }
    } catch (...) {
        // Counted below, so that the ends still match.
    }
    ++missingContexts;
}

void MErrTrace_EndContext() {
    if (missingContexts > 0) {
        --missingContexts;
        return;
    }
    if (!innermost) return;
    const std::unique_ptr<Context> ended(innermost);
    innermost = ended->outer;
}

void MErrTrace_ClearContext() {
    if (Context* context = currentContext()) context->entries.clear();
}

void _MErrTrace_DumpContextToMErrLog(const char* format, ...) {
    if (const Context* context = currentContext()) {
        for (const KeptEntry& entry : context->entries)
            write(LogSink::errorLog, entry.file.c_str(), entry.line, entry.text.c_str());
    }
    std::va_list arguments;
    va_start(arguments, format);
    withFormattedText(format, arguments,
                      [](const char* text) { write(LogSink::errorLog, location.file, location.line, text); });
    va_end(arguments);
    location = {};
}
