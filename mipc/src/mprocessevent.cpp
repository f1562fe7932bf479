#include "mprocessevent.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include "errtrace.h"
#include "mevent.h"

namespace {

const char kFile[] = "mipc/src/mprocessevent";

}  // namespace

MProcessEvent::MProcessEvent(const char* name) : _event(nullptr) {
    const MErrTraceContext context(kFile);
    _event = MEvent_Create(name);
    if (_event != INVALID_HANDLE_VALUE) return;
    const std::string shown = name ? name : "";
    context.DumpToMErrLog(M_HERE, "%s(): MEvent_Create(%s) failed", "MProcessEvent::MProcessEvent", shown.c_str());
    throw std::runtime_error("Failed to create process event \"" + shown + "\"");
}

MProcessEvent::~MProcessEvent() {
    const MErrTraceContext context(kFile);
    if (_event != INVALID_HANDLE_VALUE && !MEvent_Delete(_event))
        context.DumpToMErrLog(M_HERE, "%s(): MEvent_Delete() failed", "MProcessEvent::~MProcessEvent");
}

int MProcessEvent::Wait(double seconds) { return MEvent_Wait(&_event, 1, MProcessEvent_Milliseconds(seconds)) + 1; }

bool MProcessEvent::Notify() { return MEvent_Notify(_event) != 0; }

bool MProcessEvent::Set() { return SetEvent(_event) != FALSE; }

DWORD MProcessEvent_Milliseconds(double seconds) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    const double milliseconds = std::trunc(seconds * 1000.0);
    if (std::isnan(milliseconds) || milliseconds < -kTwoTo63) return 0;
    if (milliseconds >= kTwoTo63) return INFINITE;
    // kept on purpose: docs/oddities.md, negative-wait
    return static_cast<DWORD>(static_cast<std::uint64_t>(static_cast<std::int64_t>(milliseconds)));
}
