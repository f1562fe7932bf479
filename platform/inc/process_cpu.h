// Processor time of this process.
#pragma once

#include <cstdint>

namespace host {

/// Nanoseconds that all threads of this process have spent on processors, in user and in kernel mode.
std::int64_t processCpuNanoseconds();

}  // namespace host
