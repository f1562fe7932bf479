#include "object_locks_posix.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "last_error_posix.h"
#include "layer_locks_posix.h"

namespace {

constexpr off_t kHoldByte = 0;
constexpr off_t kGuardByte = 1;
constexpr off_t kFirstSeatByte = 64;

struct flock lockOf(short type, off_t byte, off_t bytes = 1) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = bytes;
    return lock;
}

bool change(int descriptor, struct flock lock) { return fcntl(descriptor, F_OFD_SETLK, &lock) == 0; }

// The kernel does this with the last user of the description, which may be a view that somebody made of the file.
void leaveAll(int descriptor) {
    constexpr off_t kToTheEnd = 0;  // wherever that is
    change(descriptor, lockOf(F_UNLCK, 0, kToTheEnd));
}

off_t byteOf(unsigned seat) { return kFirstSeatByte + static_cast<off_t>(seat); }

// The files' lock guards both.
constinit LockedFile* openFiles = nullptr;
constinit std::size_t closing = 0;

std::mutex& filesLock() { return LayerLocks_Of(LayerLock::files); }

}  // namespace

bool ObjectLocks_IsHeld(int descriptor) {
    struct flock lock = lockOf(F_WRLCK, kHoldByte);
    return fcntl(descriptor, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

bool ObjectLocks_Hold(int descriptor) { return change(descriptor, lockOf(F_RDLCK, kHoldByte)); }

void ObjectLocks_LetGo(int descriptor) { change(descriptor, lockOf(F_UNLCK, kHoldByte)); }

bool ObjectLocks_TryGuard(int descriptor) { return change(descriptor, lockOf(F_WRLCK, kGuardByte)); }

bool ObjectLocks_TakeGuard(int descriptor) {
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kGuardLimitSeconds);
    for (std::chrono::microseconds pause = 20us; !ObjectLocks_TryGuard(descriptor);
         pause = std::min<std::chrono::microseconds>(pause * 2, 2ms)) {
        if (std::chrono::steady_clock::now() >= deadline) return platform_failWith(ERROR_SEM_TIMEOUT, false);
        std::this_thread::sleep_for(pause);
    }
    return true;
}

void ObjectLocks_LeaveGuard(int descriptor) { change(descriptor, lockOf(F_UNLCK, kGuardByte)); }

bool ObjectLocks_TakeSeat(int descriptor, unsigned seat) { return change(descriptor, lockOf(F_WRLCK, byteOf(seat))); }

void ObjectLocks_LeaveSeat(int descriptor, unsigned seat) { change(descriptor, lockOf(F_UNLCK, byteOf(seat))); }

// Opens and enters it in the list under one lock, so that no fork comes between.
template <typename Opener>
bool LockedFile::openBy(Opener opener) {
    close();
    const std::lock_guard lock(filesLock());
    _descriptor = opener();
    if (_descriptor < 0) return false;
    _wasLetGo = false;
    _next = openFiles;
    if (_next) _next->_link = &_next;
    _link = &openFiles;
    openFiles = this;
    return true;
}

bool LockedFile::open(int folder, const char* path, int flags, mode_t mode) {
    return openBy([&] { return highDescriptor(openat(folder, path, flags | O_CLOEXEC, mode)); });
}

bool LockedFile::openMemory(const char* label) {
    return openBy([&] { return highDescriptor(memfd_create(label, MFD_CLOEXEC)); });
}

bool LockedFile::map(std::size_t bytes) {
    const std::lock_guard lock(filesLock());
    void* address = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, _descriptor, 0);
    if (address == MAP_FAILED) return false;
    _address = address;
    _bytes = bytes;
    return true;
}

// Closing may free gigabytes, so other threads continue in the meantime; only a fork waits for it.
void LockedFile::close() {
    if (_descriptor >= 0) {
        const std::lock_guard lock(filesLock());
        *_link = _next;
        if (_next) _next->_link = _link;
        ++closing;
    }
    const bool wasOpen = _descriptor >= 0;
    if (wasOpen) leaveAll(_descriptor);
    if (_address) munmap(std::exchange(_address, nullptr), _bytes);
    if (wasOpen) ::close(std::exchange(_descriptor, -1));
    if (wasOpen) {
        const std::lock_guard lock(filesLock());
        --closing;
    }
}

void LockedFiles_WaitForClosing(std::mutex& lock) {
    while (closing > 0) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        lock.lock();
    }
}

// Some are on the stacks of threads that the child does not have, so the list is emptied.
void LockedFiles_LetGoInChild() {
    for (LockedFile* file = std::exchange(openFiles, nullptr); file; file = std::exchange(file->_next, nullptr)) {
        ::close(std::exchange(file->_descriptor, -1));
        if (file->_address) platform_makePrivate(file->_address, file->_bytes);
        file->_wasLetGo = true;
    }
}

void platform_makePrivate(void* address, std::size_t bytes) {
    constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE;
    if (mmap(address, bytes, PROT_READ | PROT_WRITE, kFlags, -1, 0) == MAP_FAILED)
        static_cast<void>(
            mmap(address, bytes, PROT_NONE, kFlags, -1, 0));  // a system that promises no memory that it does not have
}
