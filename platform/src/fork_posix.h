// What each table of the layer does in a child that the process forks. Called with all locks of the layer held. Nothing
// is allocated or freed: another thread of the parent may have been inside the allocator.
//
// The child lets go of everything by closing its descriptors and replacing its mappings with memory of its own. It
// unlocks nothing and unlinks nothing: the locks belong to descriptions that the parent still has.
#pragma once

#include <cstddef>
#include <mutex>

void Views_LetGoInChild();
void ObjectFiles_LetGoInChild();
void ObjectFolder_LetGoInChild();
void LockedFiles_LetGoInChild();

/// Called in the parent before the fork, with the lock of the files held: comes back when no thread is closing one.
void LockedFiles_WaitForClosing(std::mutex& filesLock);

/// Puts zeroed memory of this process alone in the place of a shared mapping, so that a stray pointer meets no fault.
void platform_makePrivate(void* address, std::size_t bytes);
