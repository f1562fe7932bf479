#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "object_file_posix.h"
#include "object_folder_posix.h"
#include "object_parent_posix.h"
#include "object_refusal.h"

namespace {

const std::string& root() { return ObjectParent_Place().root; }

bool isReadOnly(const std::string& path) {
    struct statvfs place {};
    return statvfs(path.c_str(), &place) == 0 && (place.f_flag & ST_RDONLY) != 0;
}

// Each of the following functions describes one possible fault; no reason: that fault is absent.

ObjectRefusal problemOfRoot() {
    struct stat status {};
    const std::string mount = "mount a file system in memory there: mount -t tmpfs -o mode=1777 tmpfs " + root();
    if (stat(root().c_str(), &status) != 0)
        return {root() + (errno == ENOENT ? " is absent" : std::string(": ") + std::strerror(errno)), mount};
    if (!S_ISDIR(status.st_mode)) return {root() + " is no folder", "remove it, and " + mount};
    if (isReadOnly(root())) return {root() + " is read-only", "make it writable: mount -o remount,rw " + root()};
    return {};
}

ObjectRefusal problemOfFolder(const std::string& path) {
    bool exists = false;
    const std::string problem = ObjectParent_ProblemOf(path, exists);
    const bool isMode = problem.find(" has mode ") != std::string::npos;
    return {problem, isMode ? "chmod 700 " + path + ", or remove it" : "remove it"};
}

std::string whatIsNoObject(const struct stat& status) {
    if (S_ISLNK(status.st_mode)) return " is a link";
    if (S_ISDIR(status.st_mode)) return " is a folder";
    if (!S_ISREG(status.st_mode)) return " is no plain file";
    if (status.st_uid != geteuid()) return " belongs to user " + std::to_string(status.st_uid);
    if ((status.st_mode & 0777) != 0600)
        return " has mode " + ObjectParent_ModeText(status.st_mode) + " instead of 0600";
    return "";
}

ObjectRefusal problemOfFile(const std::string& path) {
    struct stat status {};
    const std::string problem = lstat(path.c_str(), &status) == 0 ? whatIsNoObject(status) : "";
    if (problem.empty()) return {};
    return {path + problem, "remove it"};
}

ObjectRefusal problemOfFolders(const char* name) {
    const std::string parent = ObjectParent_Look().path;
    if (parent.empty()) return {};
    const std::string space = parent + "/" + ObjectFolder_Space();
    if (auto problem = problemOfFolder(parent); !problem.reason.empty()) return problem;
    if (auto problem = problemOfFolder(space); !problem.reason.empty()) return problem;
    return problemOfFile(space + "/" + ObjectFolder_FileName(name));
}

ObjectRefusal problemOfRights() {
    struct stat status {};
    if (faccessat(AT_FDCWD, root().c_str(), W_OK | X_OK, AT_EACCESS) == 0 || stat(root().c_str(), &status) != 0)
        return {};
    return {root() + " may not be written by user " + std::to_string(geteuid()) + ": its mode is " +
                ObjectParent_ModeText(status.st_mode),
            "let its owner give it the usual one: chmod 1777 " + root()};
}

ObjectRefusal explainPlace(const char* name, DWORD error) {
    if (auto problem = problemOfRoot(); !problem.reason.empty()) return problem;
    if (auto problem = problemOfFolders(name); !problem.reason.empty()) return problem;
    if (auto problem = problemOfRights(); !problem.reason.empty()) return problem;
    return {"the system refuses to make it in " + root() + " (error " + std::to_string(error) + ")",
            "look for a rule of this machine that forbids files there"};
}

std::uint64_t machineBytes() {
    struct sysinfo machine {};
    if (sysinfo(&machine) != 0) return UINT64_MAX;
    return (std::uint64_t{machine.totalram} + machine.totalswap) * machine.mem_unit;
}

// The size that the place would need: a round number, as people write it.
std::string sizeWith(const ObjectRoom& room, std::uint64_t needed) {
    constexpr std::uint64_t kMegabyte = std::uint64_t{1} << 20;
    constexpr std::uint64_t kStep = 64 * kMegabyte;
    const std::uint64_t bytes = room.totalBytes - room.freeBytes + needed;
    return std::to_string((bytes + kStep - 1) / kStep * kStep / kMegabyte) + "m";
}

ObjectRefusal explainRoom(std::uint64_t bytes) {
    const std::uint64_t needed = platform_roomFor(bytes);
    const std::string needs = std::to_string(needed) + " are needed";
    if (const std::uint64_t all = machineBytes(); needed > all)
        return {"the machine has " + std::to_string(all) + " bytes of memory and swap, " + needs, "ask for less", true};
    struct statvfs place {};
    if (statvfs(root().c_str(), &place) == 0 && place.f_files != 0 && place.f_favail == 0)
        return {root() + " has no room for another file: all " + std::to_string(place.f_files) + " are taken",
                "remove files there"};
    const ObjectRoom room = platform_lookAtRoom();
    if (room.totalBytes == 0 || room.freeBytes >= needed)
        return {"a limit of this user or process is below the " + std::to_string(needed) + " bytes that are needed",
                "raise it (ulimit -f, a quota)", true};
    const std::string size = sizeWith(room, needed);
    return {root() + " is full: of its " + std::to_string(room.totalBytes) + " bytes " +
                std::to_string(room.freeBytes) + " are free, " + needs,
            "remove files there, or make it larger: mount -o remount,size=" + size + " " + root() +
                ", for a container --shm-size=" + size,
            true};
}

}  // namespace

ObjectRoom platform_lookAtRoom() {
    ObjectRoom room{root(), 0, 0};
    struct statvfs place {};
    if (statvfs(root().c_str(), &place) != 0) return room;
    room.freeBytes = std::uint64_t{place.f_bavail} * place.f_frsize;
    room.totalBytes = std::uint64_t{place.f_blocks} * place.f_frsize;
    return room;
}

std::uint64_t platform_roomFor(std::uint64_t bytes) { return wholePages(bytes) + kPageBytes; }

ObjectRefusal platform_explainRefusal(const char* name, DWORD error, std::uint64_t bytes) {
    const std::string quoted = std::string("\"") + name + '"';
    switch (error) {
        case ERROR_COMMITMENT_LIMIT:
            return explainRoom(bytes);
        case ERROR_INVALID_HANDLE:
            return {quoted + " is the name of an object of another kind already", "end the program that made it"};
        case ERROR_FILE_INVALID:
            return {quoted + " is held by another program, but is no object", "end that program"};
        case ERROR_SEM_TIMEOUT:
            return {"another process has kept the lock of " + quoted + " for seconds", "let it go on, or end it"};
        case ERROR_TOO_MANY_OPEN_FILES:
            return {"this process or the machine has as many files open as it may",
                    "close some, or raise the limit (ulimit -n)"};
        case ERROR_NOT_ENOUGH_MEMORY:
            return {"the memory of this process or of the machine is used up",
                    "end other programs, or raise the limit (ulimit -v)", bytes != 0};
        case ERROR_FILENAME_EXCED_RANGE:
            return {"the name is too long, with that of PLATFORM_OBJECT_NAMESPACE", "choose a shorter one"};
        default:
            return explainPlace(name, error);
    }
}
