#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
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

}  // namespace

ObjectSight platform_lookAtObject(const char* name, std::size_t contentBytes) {
    const std::string parent = ObjectParent_Look().path;
    if (parent.empty()) return {};
    const Descriptor folder(openFolder(parent + "/" + ObjectFolder_Space()));
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
