// How much memory can be used, so that a program can limit itself to a share of it.
#pragma once

#include <cstdint>

/// Bytes of memory that this process and its companions may use together: the machine's memory, or less in a container.
/// The limit of a container is the smallest one of its control groups on Linux (both versions), and that of its job on
/// Windows. 0 when the system gives no answer.
std::uint64_t platform_machineMemoryBytes();
