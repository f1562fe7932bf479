// Standard input as a stream of bytes that somebody else fills, such as a pipe.
#pragma once

#include <cstddef>
#include <cstdint>

/// Reads what has come, at most size bytes, and waits for the first of them until a time of the monotonic clock.
///
/// @return  Their number; 0 at the end, or when nothing can be read any more; -1 when nothing has come by then, or a
///          signal came.
std::ptrdiff_t platform_readStandardInput(void* buffer, std::size_t size, std::int64_t untilNs);

/// Whether a person types into it.
bool platform_standardInputIsTerminal();
