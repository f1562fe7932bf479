// Named shared memory with a registry per process: a name maps to one view per process however often it is linked, and
// a view can be named and sized from its address. Any thread may call. Failures leave an entry in the error trace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform.h"

/// Makes new memory, zero-filled. Refused when the name exists, in this process or another.
/// @param name  Not empty; shared with events.   @param size  Bytes, not 0.
/// @return      Its address, page-aligned, link count 1; null on failure.
void* MSharedMem_Create(const char* name, std::size_t size);

/// Links the memory of that name if it is at least that large, else makes it.
/// @param refusal  Receives the system's error when it refuses the memory; else untouched. Null: nobody asks.
/// @return         Its address; null on failure, also when the existing memory is too small.
void* MSharedMem_LinkOrCreate(const char* name, std::size_t size, DWORD* refusal = nullptr);

/// Links existing memory. @return Its address; null when there is none.
void* MSharedMem_Link(const char* name);

/// Gives one link back; the last one unmaps the view. 1, or 0 when the address is not a linked view's.
int MSharedMem_Unlink(void* memory);

/// Unmaps the view whatever its link count. 1, or 0 when any step failed.
int MSharedMem_Destroy(void* memory);

/// The name under which a view is registered, valid while it is linked; null for any other address.
const char* MSharedMem_GetName(const void* memory);

/// Bytes of the memory that others hold under a name, whole pages; 0 when there is none. Leaves no entry and no link.
std::size_t MSharedMem_GetExistingSize(const char* name);

/// Usable bytes: what was asked for at Create and LinkOrCreate, whole pages after Link. (size_t)-1 for an address that
/// is not a linked view's.
std::size_t MSharedMem_GetSize(const void* memory);
