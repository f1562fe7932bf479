#include <atomic>
#include <cstdio>

#include "platform.h"

namespace {

// Constant-initialised, so that it can be set and used before and after the life of every other object.
constinit std::atomic<PlatformReport> filledReport{nullptr};

}  // namespace

void platform_setReport(PlatformReport report) { filledReport.store(report, std::memory_order_release); }

void platform_report(const char* text) {
    const DWORD error = GetLastError();
    if (const PlatformReport report = filledReport.load(std::memory_order_acquire)) {
        report(text);
    } else {
        std::fprintf(stderr, "%s\n", text);
    }
    SetLastError(error);
}
