#include "layer_locks_posix.h"

#include <array>

#include <pthread.h>

namespace {

// Constant-initialised and never destroyed, because destructors of static objects use them too.
constinit std::array<std::mutex, static_cast<std::size_t>(LayerLock::count)> locks;

void lockAll() {
    std::mutex& files = LayerLocks_Of(LayerLock::files);
    for (std::mutex& lock : locks) {
        lock.lock();
        if (&lock == &files) LockedFiles_WaitForClosing(files);  // it lets the lock go: not while later ones are held
    }
}

void unlockAll() {
    for (std::mutex& lock : locks) lock.unlock();
}

// The child has one thread, which has held all locks since before the fork.
void letGoInChild() {
    Views_LetGoInChild();
    ObjectFiles_LetGoInChild();
    ObjectFolder_LetGoInChild();
    LockedFiles_LetGoInChild();
    unlockAll();
}

// Registered when the layer is loaded: a fork during the first use would find the handlers half registered.
[[maybe_unused]] const int registered = pthread_atfork(lockAll, unlockAll, letGoInChild);

}  // namespace

std::mutex& LayerLocks_Of(LayerLock which) { return locks[static_cast<std::size_t>(which)]; }
