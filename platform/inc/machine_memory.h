// How much memory there is to use, so that a program can keep to a share of it.
#pragma once

#include <cstdint>

/// Bytes of memory that this process and its like may use together: the machine's, or fewer where it runs in a
/// container: on Linux the smallest limit of its control groups (both versions), on Windows that of its job.
/// 0 when the system does not tell.
std::uint64_t platform_machineMemoryBytes();
