// A file of the layer that carries locks, and its mapped beginning. A forked child lets go of both at the fork, so that
// it keeps no lock of its parent: the kernel holds locks as long as any copy of the descriptor, or any mapping, is
// left.
#pragma once

#include <cstddef>

#include <sys/types.h>

/// Used by one thread at a time. Unmapped and closed with the object, and with that all its locks are gone, also those
/// of a file of which a view stays mapped.
class LockedFile {
public:
    LockedFile() = default;
    ~LockedFile() { close(); }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    /// As openat does, close-on-exec. False with errno.
    bool open(int folder, const char* path, int flags, mode_t mode = 0);
    /// Memory without a name. False with errno.
    bool openMemory(const char* label);
    /// Maps the beginning, shared, to be read and written. False with errno.
    bool map(std::size_t bytes);
    void close();

    /// -1 while nothing is open, and in a child that has let go of it.
    int descriptor() const { return _descriptor; }
    /// Of the mapping; null without one. In a child that has let go: private memory.
    void* address() const { return _address; }
    /// True in a child that was forked while this was open.
    bool wasLetGo() const { return _wasLetGo; }

private:
    friend void LockedFiles_LetGoInChild();

    template <typename Opener>
    bool openBy(Opener opener);

    int _descriptor = -1;
    void* _address = nullptr;
    std::size_t _bytes = 0;
    bool _wasLetGo = false;
    // All open ones of the process are a list, under the lock of the files.
    LockedFile* _next = nullptr;
    LockedFile** _link = nullptr;  // what points to this one
};
