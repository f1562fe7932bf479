// Named shared memory with a registry per process: a name maps to one view per process, however often it is linked. The
// registry gives a view's name and size for its address. Any thread. Failures leave an entry in the error trace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform.h"

/// Creates new memory, zero-filled. Refused when the name exists, in this process or another.
/// @param name  Not empty; shared with events.   @param size  Bytes, not 0.
/// @return      Its address, page-aligned, link count 1; null on failure.
void* MSharedMem_Create(const char* name, std::size_t size);

/// Links the memory of that name if it is at least that large; creates it if it is missing.
/// @param refusal  Receives the system's error when it refuses the memory; otherwise untouched. May be null.
/// @return         Its address; null on failure, also when the existing memory is too small.
void* MSharedMem_LinkOrCreate(const char* name, std::size_t size, DWORD* refusal = nullptr);

/// Links existing memory. @return Its address; null when there is none.
void* MSharedMem_Link(const char* name);

/// Returns one link; the last one unmaps the view. 1, or 0 when the address is not that of a linked view.
int MSharedMem_Unlink(void* memory);

/// Unmaps the view whatever its link count. 1, or 0 when any step failed.
int MSharedMem_Destroy(void* memory);

/// The name under which a view is registered, valid while it is linked; null for any other address.
const char* MSharedMem_GetName(const void* memory);

/// Bytes of existing memory under a name, in whole pages; 0 when there is none. Leaves no entry and no link.
std::size_t MSharedMem_GetExistingSize(const char* name);

/// Usable bytes: the requested size after Create and LinkOrCreate, whole pages after Link. (size_t)-1 when the address
/// is not that of a linked view.
std::size_t MSharedMem_GetSize(const void* memory);
