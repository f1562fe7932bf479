#include "object_parent_posix.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "high_descriptor.h"
#include "last_error_posix.h"
#include "object_locks_posix.h"
#include "platform.h"

namespace {

using std::chrono::steady_clock;

constexpr auto kPause = std::chrono::milliseconds(1);

std::string usualName() { return "dorven-objects-" + std::to_string(geteuid()); }

bool isAbsent(int root, const std::string& name) {
    struct stat status {};
    return fstatat(root, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

bool isOwnFolder(int root, const std::string& name) {
    struct stat status {};
    return fstatat(root, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid();
}

bool isPrivateFolder(int root, const std::string& name) {
    struct stat status {};
    return fstatat(root, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & 0777) == 0700;
}

// The first folder by name that can replace the usual one; empty: there is none.
std::string firstSpareName(int root) {
    const std::string prefix = usualName() + "-";
    std::string first;
    const FolderEntries entries = folderEntries(highDescriptor(openat(root, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    if (!entries) return first;
    while (const dirent* entry = readdir(entries.get())) {
        const std::string name = entry->d_name;
        if (name.rfind(prefix, 0) == 0 && (first.empty() || name < first) && isPrivateFolder(root, name)) first = name;
    }
    return first;
}

// The name of the folder to use or create; empty: somebody else has the usual name, and there is no other folder.
std::string servingName(int root) {
    if (isOwnFolder(root, usualName())) return usualName();
    // Even if nobody has the usual name any more: running programs may still use another folder.
    const std::string spare = firstSpareName(root);
    return spare.empty() && isAbsent(root, usualName()) ? usualName() : spare;
}

bool lockWithin(int root, std::chrono::milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    while (flock(root, LOCK_EX | LOCK_NB) != 0) {
        if (steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

// One process at a time creates it, so that all use one folder.
std::string makeSpare(int root) {
    std::string name = servingName(root);
    if (!name.empty()) return name;  // somebody else was faster
    unsigned long long suffix = 0;
    if (getrandom(&suffix, sizeof suffix, 0) != sizeof suffix) return platform_failWith(ERROR_IO_DEVICE, std::string());
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", suffix);
    name = usualName() + "-" + text;
    if (mkdirat(root, name.c_str(), 0700) != 0) return platform_failWith(platform_errorOf(errno), std::string());
    ObjectParent_MendMode(root, name, S_IFDIR | 0700);  // under the lock: the next one searches for this mode
    return name;
}

void reportLock(const ObjectPlace& place) {
    char text[512];
    std::snprintf(
        text, sizeof text,
        "no folder for shared objects: %s/%s belongs to somebody else, and another process has kept the lock of %s, "
        "under which a folder of another name is made, for more than %lld ms; end it",
        place.root.c_str(), usualName().c_str(), place.root.c_str(), static_cast<long long>(place.lockLimit.count()));
    platform_report(text);
}

std::string whatHas(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return path + ": " + std::strerror(errno);
    if (status.st_uid != geteuid()) return path + " belongs to user " + std::to_string(status.st_uid);
    return path + " is no folder";
}

}  // namespace

// Never destroyed, because destructors of static objects let go of objects too.
ObjectPlace& ObjectParent_Place() noexcept {
    alignas(ObjectPlace) static unsigned char storage[sizeof(ObjectPlace)];
    static auto* const only = new (storage) ObjectPlace;
    return *only;
}
[[maybe_unused]] static const ObjectPlace& madeAtLoad = ObjectParent_Place();

ObjectParent ObjectParent_Look() {
    const std::string usual = ObjectParent_Place().root + "/" + usualName();
    LockedFile root;
    if (!root.open(AT_FDCWD, ObjectParent_Place().root.c_str(), O_RDONLY | O_DIRECTORY)) return {usual, ""};
    const std::string name = servingName(root.descriptor());
    if (name == usualName()) return {usual, ""};
    return {name.empty() ? "" : ObjectParent_Place().root + "/" + name,
            isAbsent(root.descriptor(), usualName()) ? "" : whatHas(usual)};
}

// Other users had no right to enter it, so it belongs to this user alone.
bool ObjectParent_MendMode(int folder, const std::string& name, mode_t mode) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || status.st_uid != geteuid()) return false;
    const bool kindFits = (status.st_mode & S_IFMT) == (mode & S_IFMT);
    if (!kindFits || (status.st_mode & 077) != 0 || (status.st_mode & 0700) == (mode & 0700)) return false;
    return fchmodat(folder, name.c_str(), mode & 0777, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string ObjectParent_ProblemOf(const std::string& path, bool& exists) {
    struct stat status {};
    exists = lstat(path.c_str(), &status) == 0;
    if (!exists) return errno == ENOENT ? "" : path + ": " + std::strerror(errno);
    if (S_ISLNK(status.st_mode)) return path + " is a link";
    if (!S_ISDIR(status.st_mode)) return path + " is no folder";
    if (status.st_uid != geteuid()) return path + " belongs to user " + std::to_string(status.st_uid);
    if ((status.st_mode & 077) == 0 && (status.st_mode & 0700) == 0700) return "";
    return path + " has mode " + ObjectParent_ModeText(status.st_mode) + " instead of 0700";
}

std::string ObjectParent_ModeText(mode_t mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

int ObjectParent_OpenPrivate(int parent, const std::string& name) {
    if (mkdirat(parent, name.c_str(), 0700) != 0 && errno != EEXIST)
        return platform_failWith(platform_errorOf(errno), -1);
    ObjectParent_MendMode(parent, name, S_IFDIR | 0700);
    Descriptor folder(highDescriptor(openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
    if (folder.get() < 0) return platform_failWith<int>(ERROR_ACCESS_DENIED, -1);
    struct stat status {};
    if (fstat(folder.get(), &status) != 0 || status.st_uid != geteuid() || (status.st_mode & 077) != 0)
        return platform_failWith<int>(ERROR_ACCESS_DENIED, -1);
    return folder.release();
}

int ObjectParent_Open() {
    const ObjectPlace& place = ObjectParent_Place();
    LockedFile root;
    if (!root.open(AT_FDCWD, place.root.c_str(), O_RDONLY | O_DIRECTORY))
        return platform_failWith(platform_errorOf(errno), -1);
    std::string name = servingName(root.descriptor());
    if (name.empty()) {
        if (!lockWithin(root.descriptor(), place.lockLimit)) {
            reportLock(place);
            return platform_failWith<int>(ERROR_SEM_TIMEOUT, -1);
        }
        name = makeSpare(root.descriptor());
        flock(root.descriptor(), LOCK_UN);
    }
    return name.empty() ? -1 : ObjectParent_OpenPrivate(root.descriptor(), name);
}
