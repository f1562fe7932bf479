#include <algorithm>

#include "machine_memory.h"
#include "platform.h"

namespace {

// Limit of the job that the process belongs to, for example in a container; 0: no limit.
std::uint64_t jobLimit() {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION information{};
    if (!QueryInformationJobObject(nullptr, JobObjectExtendedLimitInformation, &information, sizeof information,
                                   nullptr))
        return 0;
    const DWORD flags = information.BasicLimitInformation.LimitFlags;
    std::uint64_t limit = 0;
    const auto take = [&](DWORD flag, std::uint64_t bytes) {
        if ((flags & flag) != 0 && bytes > 0) limit = limit == 0 ? bytes : std::min(limit, bytes);
    };
    take(JOB_OBJECT_LIMIT_JOB_MEMORY, information.JobMemoryLimit);
    take(JOB_OBJECT_LIMIT_PROCESS_MEMORY, information.ProcessMemoryLimit);
    return limit;
}

}  // namespace

std::uint64_t platform_machineMemoryBytes() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    const std::uint64_t machine = GlobalMemoryStatusEx(&status) ? status.ullTotalPhys : 0;
    const std::uint64_t limit = jobLimit();
    if (machine == 0 || limit == 0) return std::max(machine, limit);
    return std::min(machine, limit);
}
