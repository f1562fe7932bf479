// This user's folder of all name spaces of objects: finding and creating it.
//
// Its usual name is dorven-objects-UID. Anybody may take that name first and keep it. If something other than a folder
// of this user has the name, another folder is used: the first by name of dorven-objects-UID-* that belongs to this
// user and has mode 0700. All programs of the user find the same one.
#pragma once

#include <chrono>
#include <string>

#include <sys/types.h>

/// Where the folders are created. One for the process; tests set another one before they use an object.
struct ObjectPlace {
    std::string root = "/dev/shm";
    std::chrono::milliseconds lockLimit{5000};  // for the lock under which a folder with another name is created
};
ObjectPlace& ObjectParent_Place() noexcept;

/// What exists.
struct ObjectParent {
    std::string path;      // the folder in use, or to be created; empty: one with another name will be created
    std::string squatter;  // what has the usual name instead, as a sentence; empty: nothing
};

/// Looks, and changes nothing.
ObjectParent ObjectParent_Look();

/// Descriptor of the folder, which is created if missing. -1, with the last error: 5 when it does not belong to this
/// user alone; 121, after a report, when the lock for creating it could not be taken. No lock of the layer is held.
int ObjectParent_Open();

/// Restores the rights of a folder (mode 0700) or file (0600) of this user that a umask has removed. False when nothing
/// needs to be restored.
/// @param mode  Including the kind: S_IFDIR | 0700, S_IFREG | 0600.
bool ObjectParent_MendMode(int folder, const std::string& name, mode_t mode);

/// What is wrong with a folder that must belong to this user alone, as a sentence; empty: nothing, or it does not
/// exist.
std::string ObjectParent_ProblemOf(const std::string& path, bool& exists);

/// Rights as people write them, such as "0700".
std::string ObjectParent_ModeText(mode_t mode);

/// Opens a folder that must belong to this user alone; creates it when it is absent. -1 with the last error.
int ObjectParent_OpenPrivate(int parent, const std::string& name);
