// This user's folder of all name spaces of objects: which it is, and making it.
//
// Its usual name is dorven-objects-UID. Anybody may take that name first and keep it, so when something else than a
// folder of this user stands there, another one serves: the first by name of dorven-objects-UID-* that is a folder of
// this user with mode 0700. All programs of the user find the same one.
#pragma once

#include <chrono>
#include <string>

#include <sys/types.h>

/// Where the folders are made. One for the process; tests put another in its place, before they touch an object.
struct ObjectPlace {
    std::string root = "/dev/shm";
    std::chrono::milliseconds lockLimit{5000};  // for the lock under which a folder of another name is made
};
ObjectPlace& ObjectParent_Place() noexcept;

/// What is there.
struct ObjectParent {
    std::string path;      // the folder that serves, or that will be made; empty: one of another name will be made
    std::string squatter;  // what has the usual name instead, as a sentence; empty: nothing
};

/// Looks, and changes nothing.
ObjectParent ObjectParent_Look();

/// Descriptor of the folder, which is made where there is none. -1, with the last error: 5 when it is not this user's
/// alone, 121, after a report, when the lock under which it is made was not to be had. No lock of the layer is held.
int ObjectParent_Open();

/// Gives a folder (mode 0700) or file (0600) of this user alone the rights that a umask has taken from it. False when
/// there is nothing to mend.
/// @param mode  With its kind: S_IFDIR | 0700, S_IFREG | 0600.
bool ObjectParent_MendMode(int folder, const std::string& name, mode_t mode);

/// What is wrong with a folder that has to be this user's alone, as a sentence; empty: nothing, or it is not there.
std::string ObjectParent_ProblemOf(const std::string& path, bool& exists);

/// Rights as people write them, such as "0700".
std::string ObjectParent_ModeText(mode_t mode);

/// Opens a folder that must be this user's alone; makes it when it is absent. -1 with the last error.
int ObjectParent_OpenPrivate(int parent, const std::string& name);
