// The locks of the Linux layer's tables. A fork takes all of them, so that no table is half changed in the child; there
// everything that was inherited is then let go without a trace in the parent's objects. For the same reason each table
// is made when the layer is loaded: a child would wait for ever for a thread that was making one at its first use.
#pragma once

#include <cstddef>
#include <mutex>

/// In the order in which one thread may take several. None is held while the thread waits for another process.
enum class LayerLock : std::size_t { handles, views, objects, folder, files, temporaryFiles, count };

std::mutex& LayerLocks_Of(LayerLock which);
