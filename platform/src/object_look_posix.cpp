#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "high_descriptor.h"
#include "object_file_posix.h"
#include "object_folder_posix.h"
#include "object_locks_posix.h"
#include "object_look.h"
#include "object_parent_posix.h"

namespace {

int openForLooking(int folder, const char* fileName) {
    return highDescriptor(openat(folder, fileName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

int openFolder(const std::string& path) {
    return highDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void readContent(int descriptor, std::size_t contentBytes, ObjectSight& sight) {
    sight.content.resize(std::min<std::uint64_t>(contentBytes, sight.bytes));
    const ssize_t count = pread(descriptor, sight.content.data(), sight.content.size(), kPageBytes);
    sight.content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
}

void lookAtFile(int folder, const char* fileName, ObjectFolderSight& sight) {
    struct stat status {};
    if (fstatat(folder, fileName, &status, AT_SYMLINK_NOFOLLOW) != 0) return;  // gone meanwhile
    if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 0777) != 0600) {
        sight.wrongFiles.emplace_back(fileName);
        return;
    }
    const Descriptor file(openForLooking(folder, fileName));
    if (file.get() < 0) return;
    if (ObjectLocks_IsHeld(file.get())) {
        ++sight.held;
    } else {
        sight.leftovers.emplace_back(fileName);
    }
}

void lookAtFiles(ObjectFolderSight& sight) {
    const FolderEntries entries = folderEntries(openFolder(sight.path));
    if (!entries) return;
    while (const dirent* entry = readdir(entries.get())) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            lookAtFile(dirfd(entries.get()), entry->d_name, sight);
    }
    std::sort(sight.leftovers.begin(), sight.leftovers.end());
    std::sort(sight.wrongFiles.begin(), sight.wrongFiles.end());
}

ObjectSight lookInto(const std::string& folderPath, const char* name, std::size_t contentBytes) {
    const Descriptor folder(openFolder(folderPath));
    if (folder.get() < 0) return {};
    const std::string fileName = ObjectFolder_FileName(name);
    const Descriptor file(openForLooking(folder.get(), fileName.c_str()));
    if (file.get() < 0 && errno == ENOENT) return {};
    ObjectSight sight{ObjectSight::Kind::unreadable, 0, {}};
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return sight;
    if (!ObjectLocks_IsHeld(file.get())) return {};
    if (!ObjectFile_HasFullName(file.get(), ObjectFolder_FullName(name, fileName))) return {};
    ObjectPage page{};
    if (pread(file.get(), &page, sizeof page, 0) != sizeof page || page.magic != kObjectMagic) return sight;
    if (page.kind == static_cast<std::uint32_t>(ObjectKind::event)) {
        sight.kind = ObjectSight::Kind::event;
    } else if (page.kind == static_cast<std::uint32_t>(ObjectKind::mapping)) {
        sight.kind = ObjectSight::Kind::memory;
        sight.bytes = page.size;
        readContent(file.get(), contentBytes, sight);
    }
    return sight;
}

// Calls back with each entry of a folder.
template <typename Action>
void forEachEntryOf(const std::string& path, Action action) {
    const FolderEntries entries = folderEntries(openFolder(path));
    if (!entries) return;
    while (const dirent* entry = readdir(entries.get())) {
        if (entry->d_name[0] != '.') action(dirfd(entries.get()), std::string(entry->d_name));
    }
}

std::string userText(uid_t user) {
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    const std::string number = std::to_string(user);
    if (getpwuid_r(user, &entry, buffer, sizeof buffer, &found) != 0 || !found) return "user " + number;
    return std::string("user ") + entry.pw_name + " (" + number + ")";
}

// The name of a name space, of that of its folder.
std::string decoded(const std::string& folder) {
    std::string name;
    for (std::size_t at = 0; at < folder.size(); ++at) {
        const bool isCode = folder[at] == '%' && at + 2 < folder.size();
        name += isCode ? static_cast<char>(std::strtol(folder.substr(at + 1, 2).c_str(), nullptr, 16)) : folder[at];
        if (isCode) at += 2;
    }
    return name;
}

constexpr const char* kFolderStem = "dorven-objects-";

// A folder by a name like those of this layer that belongs to somebody else.
void lookAtForeign(int root, const std::string& name, std::vector<ObjectsElsewhere::Folder>& folders) {
    constexpr std::size_t kMost = 100;
    struct stat status {};
    if (folders.size() >= kMost || !name.starts_with(kFolderStem) ||
        fstatat(root, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid == geteuid())
        return;
    const std::string named = kFolderStem + std::to_string(status.st_uid);
    const bool isForeign = name != named && !name.starts_with(named + "-");
    folders.push_back({ObjectParent_Place().root + "/" + name, userText(status.st_uid), isForeign});
}

}  // namespace

ObjectSight platform_lookAtObject(const char* name, std::size_t contentBytes) {
    const std::string parent = ObjectParent_Look().path;
    if (parent.empty()) return {};
    return lookInto(parent + "/" + ObjectFolder_Space(), name, contentBytes);
}

ObjectFolderSight platform_lookAtObjectFolder() {
    ObjectFolderSight sight;
    sight.has = true;
    const ObjectParent parent = ObjectParent_Look();
    sight.squatter = parent.squatter;
    if (parent.path.empty()) return sight;
    sight.path = parent.path + "/" + ObjectFolder_Space();
    sight.problem = ObjectParent_ProblemOf(parent.path, sight.exists);
    if (!sight.exists || !sight.problem.empty()) return sight;
    sight.problem = ObjectParent_ProblemOf(sight.path, sight.exists);
    if (sight.exists && sight.problem.empty()) lookAtFiles(sight);
    return sight;
}

ObjectsElsewhere platform_lookElsewhere(const char* eventName) {
    ObjectsElsewhere elsewhere;
    const std::string own = ObjectFolder_Space();
    elsewhere.ownSpace = decoded(own);
    const std::string parent = ObjectParent_Look().path;
    forEachEntryOf(parent, [&](int, const std::string& space) {
        const bool has = lookInto(parent + "/" + space, eventName, 0).kind == ObjectSight::Kind::event;
        if (has && space != own) elsewhere.spaces.push_back(decoded(space));
    });
    forEachEntryOf(ObjectParent_Place().root,
                   [&](int root, const std::string& name) { lookAtForeign(root, name, elsewhere.folders); });
    std::sort(elsewhere.spaces.begin(), elsewhere.spaces.end());
    std::ranges::sort(elsewhere.folders, {}, &ObjectsElsewhere::Folder::path);
    return elsewhere;
}
