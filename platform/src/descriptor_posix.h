#pragma once

#include <memory>
#include <utility>

#include <dirent.h>
#include <unistd.h>

/// A descriptor that closes itself, which also frees all its locks, unless it is released.
class Descriptor {
public:
    explicit Descriptor(int value) : _value(value) {}
    ~Descriptor() {
        if (_value >= 0) close(_value);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return _value; }
    int release() { return std::exchange(_value, -1); }

private:
    int _value;
};

/// The open content of a folder; closes itself.
using FolderEntries = std::unique_ptr<DIR, int (*)(DIR*)>;

/// Takes over a folder's descriptor; a negative number says that opening failed. Null with errno.
inline FolderEntries folderEntries(int opened) {
    Descriptor folder(opened);
    DIR* const entries = folder.get() < 0 ? nullptr : fdopendir(folder.get());
    if (entries) folder.release();
    return {entries, closedir};
}
