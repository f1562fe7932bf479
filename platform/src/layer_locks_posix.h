// The locks of the Linux layer's tables. A fork takes all of them, so that no table is half changed in the child. The
// child then lets go of everything it inherited, without a trace in the parent's objects. For the same reason each
// table is created when the layer is loaded: otherwise a child could wait for ever for a thread that was creating one.
#pragma once

#include <cstddef>
#include <mutex>

/// In the order in which one thread may take several. None is held while the thread waits for another process.
enum class LayerLock : std::size_t { handles, views, objects, folder, files, temporaryFiles, count };

std::mutex& LayerLocks_Of(LayerLock which);

// What each table does in the child. Called with all locks held. Nothing is allocated or freed: another thread of the
// parent may have been inside the allocator. The child closes its descriptors and replaces its mappings with private
// memory. It unlocks nothing and unlinks nothing: the locks belong to descriptions that the parent still has.

void Views_LetGoInChild();
void ObjectFiles_LetGoInChild();
void ObjectFolder_LetGoInChild();
void LockedFiles_LetGoInChild();

/// Called in the parent before the fork, with the files' lock held. Returns when no thread is closing a file.
void LockedFiles_WaitForClosing(std::mutex& filesLock);

/// Replaces a shared mapping with zeroed private memory, so that a stray pointer causes no fault.
void platform_makePrivate(void* address, std::size_t bytes);
