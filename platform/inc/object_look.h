// Looks at named objects from outside, for diagnosis: nothing is created, changed, signalled or removed.
//
// On Linux this does not make the caller a holder either: it reads the object's file and asks the kernel who has locked
// it. So leftovers stay, and a last holder that leaves in the meantime removes the object. Windows offers no such way:
// there the object is opened for reading and held briefly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What a look at one name found.
struct ObjectSight {
    enum class Kind {
        absent,      // nobody holds an object of that name
        event,       // an event is held
        memory,      // shared memory is held
        unreadable,  // something that cannot be read as an object has the name
    };
    Kind kind = Kind::absent;
    std::uint64_t bytes = 0;            // of shared memory: as requested by its creator, on Windows whole pages
    std::vector<std::uint8_t> content;  // of shared memory: its first bytes
};

/// Looks at a name. Any thread.
/// @param contentBytes  How many of a memory's first bytes to copy; fewer are copied when it has fewer.
ObjectSight platform_lookAtObject(const char* name, std::size_t contentBytes);

/// The folder in which this process's named objects are files.
struct ObjectFolderSight {
    bool has = false;                     // false: this system keeps named objects elsewhere, and the rest is empty
    std::string path;                     // empty: nobody has created one yet, and its usual name is taken
    std::string squatter;                 // what has the usual name, so that another folder is used; empty: nothing
    bool exists = false;                  // false: nobody has created an object yet, or the folder was removed
    std::string problem;                  // owner or rights that keep this user's programs out; empty: nothing is wrong
    std::vector<std::string> leftovers;   // files that nobody holds, in byte order of their names
    std::vector<std::string> wrongFiles;  // wrong owner, rights other than 0600, or not a file at all
    std::size_t held = 0;                 // files that some process holds
};

/// Looks at the folder. Any thread.
ObjectFolderSight platform_lookAtObjectFolder();

/// Objects that this process cannot reach by their names.
struct ObjectsElsewhere {
    /// A folder of another user's objects, into which this user may not look.
    struct Folder {
        std::string path;
        std::string owner;  // for people: "user anna (1001)"
        bool isForeign;     // its name is not its owner's: a container, or another name space of users, made it
    };
    std::string ownSpace;             // name of this process's name space
    std::vector<std::string> spaces;  // other name spaces of this user that have the object, in byte order
    std::vector<Folder> folders;      // by path; 100 at most, as anybody may make some
};

/// Looks where else an event of that name may be. Nothing on a system that has no such places. Any thread.
ObjectsElsewhere platform_lookElsewhere(const char* eventName);
