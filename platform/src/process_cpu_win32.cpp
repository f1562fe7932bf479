#include "platform.h"
#include "process_cpu.h"

namespace {

// File times count 100 ns.
std::int64_t nanoseconds(const FILETIME& time) {
    return (static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime) * 100;
}

}  // namespace

std::int64_t host::processCpuNanoseconds() {
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user)) return 0;
    return nanoseconds(kernel) + nanoseconds(user);
}
