// The locks of an object's file, and the file that carries them.
//
// They are byte locks of the open file description, which the kernel frees when the process ends, however it ends. Byte
// 0, shared, says "I hold this object". Byte 1, exclusive, guards create, attach and detach. From byte 64 on each seat
// of an event has one, exclusive (event_state.h).
#pragma once

#include <cstddef>

#include <sys/types.h>

/// True if somebody, in any process, holds the object; a hold through this description does not count.
bool ObjectLocks_IsHeld(int descriptor);
/// False with errno.
bool ObjectLocks_Hold(int descriptor);
void ObjectLocks_LetGo(int descriptor);

/// Takes the guard without waiting.
bool ObjectLocks_TryGuard(int descriptor);
/// A guard is held for some dozen microseconds. A process that was stopped while holding one must not block the others.
constexpr int kGuardLimitSeconds = 5;
/// Takes the guard. False, with the last error 121, when another process holds it beyond the limit.
bool ObjectLocks_TakeGuard(int descriptor);
void ObjectLocks_LeaveGuard(int descriptor);

/// False when another description has the seat.
bool ObjectLocks_TakeSeat(int descriptor, unsigned seat);
void ObjectLocks_LeaveSeat(int descriptor, unsigned seat);

/// A file of the layer, and its mapped beginning. A forked child lets go of both at the fork, so that it keeps no lock
/// of its parent: the kernel keeps locks as long as any copy of the descriptor, or any mapping, exists. Used by one
/// thread at a time. Unmapped and closed with the object, which frees all its locks, also when a view of the file stays
/// mapped.
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
    /// Maps the beginning, shared, for reading and writing. False with errno.
    bool map(std::size_t bytes);
    void close();

    /// -1 while nothing is open, and in a child that has let go of it.
    int descriptor() const { return _descriptor; }
    /// Address of the mapping; null without one. In a child that has let go: private memory.
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
    // All open files of the process form a list, under the lock of the files.
    LockedFile* _next = nullptr;
    LockedFile** _link = nullptr;  // what points to this one
};
