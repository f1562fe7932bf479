// The files of named objects: which exist, who holds them, and that the last holder removes them.
//
// Each object is a file in a private folder of this user under /dev/shm. Its locks determine its life
// (object_locks_posix.h): a file that nobody holds is a leftover.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "object_locks_posix.h"
#include "platform.h"

enum class ObjectKind : std::uint32_t { event = 1, mapping = 2 };

/// First page of an object's file; a mapping's data begins on the next one.
struct ObjectPage {
    std::uint64_t magic;  //  0  kObjectMagic
    std::uint32_t kind;   //  8  ObjectKind
    std::uint32_t turn;   // 12  event: seat that was released last
    std::uint64_t size;   // 16  mapping: bytes requested by its creator
    std::uint64_t state;  // 24  event: EventState
};
static_assert(sizeof(ObjectPage) == 32 && offsetof(ObjectPage, state) == 24);

constexpr std::uint64_t kObjectMagic = 0x32304a424f564f44;  // "DOVOBJ02"
constexpr std::size_t kPageBytes = 4096;

/// In the first page of an object whose file name is cut: its full name, which distinguishes it from another object
/// with the same hash.
struct ObjectFullName {
    std::uint32_t length;  // 0  bytes of text
    char text[1020];       // 4  not terminated
};
constexpr std::size_t kFullNameOffset = 2048;  // in the page
static_assert(kFullNameOffset + sizeof(ObjectFullName) <= kPageBytes);

/// True if the object stores that full name. Always true for an empty full name: then the file name is complete.
bool ObjectFile_HasFullName(int descriptor, const std::string& fullName);

/// Smallest number of whole pages for that many bytes, in bytes; 0 when it cannot be represented.
constexpr std::uint64_t wholePages(std::uint64_t bytes) {
    return bytes > UINT64_MAX - kPageBytes ? 0 : (bytes + kPageBytes - 1) / kPageBytes * kPageBytes;
}

/// The seats of an event that belong to this process (event_state.h): those whose lock it has, and the subset in which
/// none of its threads sits.
struct EventSeats {
    std::atomic<std::uint32_t> own{0};
    std::atomic<std::uint32_t> free{0};
};

/// One object as this process holds it, shared by all its handles and views of that name. Any thread.
class ObjectFile {
public:
    /// Lets go; the last holder of all processes removes the file.
    ~ObjectFile();
    ObjectFile(const ObjectFile&) = delete;
    ObjectFile& operator=(const ObjectFile&) = delete;

    /// -1 in a child that was forked while this process held the object.
    int descriptor() const { return _file.descriptor(); }
    ObjectKind kind() const { return _kind; }
    /// The first page; mapped for events only, otherwise null.
    ObjectPage* page() const { return static_cast<ObjectPage*>(_file.address()); }
    /// Bytes that a mapping's creator requested.
    std::uint64_t size() const { return _size; }
    EventSeats& seats() { return _seats; }

private:
    friend class ObjectFileOpener;
    ObjectFile() = default;
    /// Copies what the page says, and maps it if needed. False with the last error.
    bool take(const ObjectPage& page);
    /// Ends the hold; the last holder removes the file. False, with nothing done, when the guard could not be taken.
    bool leave();

    std::string _name;  // as the caller gave it; empty for an unnamed object
    std::string _fileName;
    ObjectKind _kind = ObjectKind::event;
    LockedFile _file;
    std::uint64_t _size = 0;
    EventSeats _seats;
};

/// Creates an object, or attaches to the existing one of that name and kind.
///
/// @param name     Name; null or "" for an unnamed object.
/// @param size     Bytes of a mapping, not 0; 0 for an event.
/// @param signalled  First state of a new event.
/// @param existed  Receives whether it existed.
/// @return         null on failure, with the last error: 3 a bad name, 5 something that is not an object has the name,
///                 6 an object of another kind has the name, 52 another name has the same hash, 8 or 1455 not enough
///                 memory, 121 its guard could not be taken.
std::shared_ptr<ObjectFile> ObjectFile_Create(const char* name, ObjectKind kind, std::uint64_t size, bool signalled,
                                              bool& existed);

/// Attaches to an existing object. Null with the last error: 2 when there is none, otherwise as for ObjectFile_Create.
std::shared_ptr<ObjectFile> ObjectFile_Open(const char* name, ObjectKind kind);
