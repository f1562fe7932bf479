// How much memory can be read from an address on, according to the system; includes views that other modules mapped.
#pragma once

#include <cstddef>

/// @return Bytes that can be read from address on without a gap, in one mapping of one file or in memory without a
///         file; 0 where nothing can be read. The greatest number when the system gives no answer.
std::size_t platform_readableBytes(const void* address);
