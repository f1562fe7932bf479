// How much memory can be read from an address on, as the system tells it: views that other modules mapped included.
#pragma once

#include <cstddef>

namespace host {

/// @return Bytes from address on that can be read without a break in one mapping of one file, or in memory without a
///         file; 0 where nothing can be read. The greatest number when the system does not tell.
std::size_t readableBytes(const void* address);

}  // namespace host
