#include "object_folder_posix.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <numeric>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "high_descriptor.h"
#include "last_error_posix.h"
#include "layer_locks_posix.h"
#include "object_locks_posix.h"
#include "object_parent_posix.h"

namespace {

constexpr std::size_t kFileNameBytes = 255;
const char kLocal[] = "Local\\";
const char kGlobal[] = "Global\\";

std::string percentEncoded(const std::string& name) {
    std::string text;
    for (const char character : name) {
        const bool plain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                           (character >= '0' && character <= '9') || std::strchr("-_", character);
        if (plain && character != '\0') {
            text += character;
            continue;
        }
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(character)));
        text += code;
    }
    return text;
}

constexpr char kHashMark = '=';  // not in any encoded name
constexpr std::size_t kHashDigits = 16;

// FNV-1a
std::uint64_t hashOf(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char character : text) hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
    return hash;
}

// The encoded name unchanged, or its beginning and a hash of the whole.
std::string fittingFileName(const std::string& encoded) {
    if (encoded.size() <= kFileNameBytes) return encoded;
    char hash[kHashDigits + 2];
    std::snprintf(hash, sizeof hash, "%c%016llx", kHashMark, static_cast<unsigned long long>(hashOf(encoded)));
    return encoded.substr(0, kFileNameBytes - 2 * sizeof hash) + hash;
}

// Windows counts UTF-16 units: two for a character of four bytes, one for any other.
bool isTooLong(const std::string& name) {
    const auto units = std::accumulate(name.begin(), name.end(), std::size_t{0}, [](std::size_t count, char character) {
        const auto byte = static_cast<unsigned char>(character);
        const bool continues = (byte & 0xC0) == 0x80;
        return count + (continues ? 0 : byte >= 0xF0 ? 2 : 1);
    });
    return units >= MAX_PATH || name.size() > kLongestNameBytes;
}

// Removes a file that nobody holds: a leftover of a killed process.
void removeLeftover(int folder, const char* fileName) {
    LockedFile file;
    ObjectParent_MendMode(folder, fileName, S_IFREG | 0600);
    if (!file.open(folder, fileName, O_RDWR | O_NOFOLLOW | O_NONBLOCK)) return;
    struct stat status {};
    if (fstat(file.descriptor(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
        ObjectLocks_TryGuard(file.descriptor()) && !ObjectLocks_IsHeld(file.descriptor()) &&
        ObjectFolder_IsUnderName(folder, file.descriptor(), fileName))
        unlinkat(folder, fileName, 0);
}

template <typename Action>
void forEachEntry(int folder, Action action) {
    const FolderEntries entries =
        folderEntries(highDescriptor(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    if (!entries) return;
    while (const dirent* entry = readdir(entries.get())) {
        if (entry->d_name[0] != '.') action(entry->d_name);
    }
}

void sweep(int folder) {
    forEachEntry(folder, [folder](const char* fileName) { removeLeftover(folder, fileName); });
}

// Removes the folder of a name space in which nobody holds anything. A folder that has just changed stays for whoever
// is about to use it; a process that is too late recreates it (ObjectFolder_Renew).
void removeUnusedSpace(int parent, const char* name) {
    constexpr time_t kUnusedSeconds = 60;
    const Descriptor folder(highDescriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
    if (folder.get() < 0) return;
    struct stat status {};
    if (fstat(folder.get(), &status) == 0 && status.st_uid == geteuid() &&
        time(nullptr) - status.st_mtim.tv_sec > kUnusedSeconds) {
        sweep(folder.get());
        unlinkat(parent, name, AT_REMOVEDIR);  // only an empty one
    }
}

int openObjectFolder() {
    const Descriptor parent(ObjectParent_Open());
    if (parent.get() < 0) return -1;
    const std::string own = ObjectFolder_Space();
    Descriptor folder(ObjectParent_OpenPrivate(parent.get(), own));
    forEachEntry(parent.get(), [&](const char* name) {
        if (name != own) removeUnusedSpace(parent.get(), name);
    });
    return folder.release();
}

// Closed with its module, which may be loaded and unloaded many times. Later uses open the folder again.
struct FolderDescriptor {
    int value = -1;
    void closeIfOpen() {
        if (value >= 0) close(value);
        value = -1;
    }
    ~FolderDescriptor() { closeIfOpen(); }
};

FolderDescriptor folderDescriptor;  // guarded by its lock

std::mutex& folderMutex() { return LayerLocks_Of(LayerLock::folder); }

// An open folder is replaced under its descriptor number, which other threads may be using. The lock is not held while
// the folder is opened, because that may take a while and be reported.
int openAndSweep() {
    Descriptor opened(openObjectFolder());
    if (opened.get() < 0) return -1;
    sweep(opened.get());
    const std::lock_guard lock(folderMutex());
    if (folderDescriptor.value < 0) return folderDescriptor.value = opened.release();
    dup3(opened.get(), folderDescriptor.value, O_CLOEXEC);
    return folderDescriptor.value;
}

}  // namespace

std::string ObjectFolder_FileName(const char* name) {
    std::string rest = name;
    if (isTooLong(rest)) return platform_failWith(ERROR_FILENAME_EXCED_RANGE, std::string());
    if (rest.front() == '\\') return platform_failWith(ERROR_BAD_PATHNAME, std::string());
    const bool global = rest.rfind(kGlobal, 0) == 0;
    if (global)
        rest.erase(0, sizeof kGlobal - 1);
    else if (rest.rfind(kLocal, 0) == 0)
        rest.erase(0, sizeof kLocal - 1);
    if (rest.empty()) return platform_failWith(ERROR_INVALID_NAME, std::string());
    if (rest.find('\\') != std::string::npos) return platform_failWith(ERROR_PATH_NOT_FOUND, std::string());
    // A plain name never contains the encoded backslash, so it never equals a global one.
    return fittingFileName(percentEncoded(global ? kGlobal + rest : rest));
}

std::string ObjectFolder_FullName(const char* name, const std::string& fileName) {
    if (fileName.find(kHashMark) == std::string::npos) return "";
    const std::string full = name;
    return full.rfind(kLocal, 0) == 0 ? full.substr(sizeof kLocal - 1) : full;
}

std::string ObjectFolder_Space() {
    const char* wished = std::getenv("PLATFORM_OBJECT_NAMESPACE");
    return wished && *wished ? percentEncoded(wished) : "default";
}

int ObjectFolder_Descriptor() {
    {
        const std::lock_guard lock(folderMutex());
        if (folderDescriptor.value >= 0) return folderDescriptor.value;
    }
    return openAndSweep();
}

bool ObjectFolder_WasRemoved(int folder) {
    struct stat status {};
    return fstat(folder, &status) == 0 && status.st_nlink == 0;
}

bool ObjectFolder_Renew() { return openAndSweep() >= 0; }

void ObjectFolder_LetGoInChild() { folderDescriptor.closeIfOpen(); }

bool ObjectFolder_IsUnderName(int folder, const struct stat& opened, const std::string& fileName,
                              std::uint64_t& fileBytes) {
    struct stat named {};
    if (fstatat(folder, fileName.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) return false;
    fileBytes = static_cast<std::uint64_t>(named.st_size);
    return opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

bool ObjectFolder_IsUnderName(int folder, int descriptor, const std::string& fileName) {
    struct stat opened {};
    std::uint64_t fileBytes = 0;
    return fstat(descriptor, &opened) == 0 && ObjectFolder_IsUnderName(folder, opened, fileName, fileBytes);
}
