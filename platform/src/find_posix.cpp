// Finding files by pattern.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "handle_table_posix.h"
#include "high_descriptor.h"
#include "no_memory_posix.h"
#include "paths_posix.h"

namespace {

// The object of a search handle. A search returns only one match, so there is no state.
class SearchObject : public KernelObject {};

bool matches(const char* pattern, const char* name) {
    for (; *pattern != '*'; ++pattern, ++name) {
        if (*name == '\0') return *pattern == '\0';
        if (*pattern != '?' && *pattern != *name) return false;
    }
    for (;; ++name) {
        if (matches(pattern + 1, name)) return true;
        if (*name == '\0') return false;
    }
}

FolderEntries openFolder(const std::string& folder) {
    const char* const path = folder.empty() ? "." : folder.c_str();
    return folderEntries(highDescriptor(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

// The first name in the folder that matches; empty when none does, with errno set.
std::string firstMatch(const std::string& folder, std::string pattern) {
    if (pattern == "*.*") pattern = "*";  // every name, with a dot or without
    const FolderEntries entries = openFolder(folder);
    if (!entries) return "";
    const auto before = [](const std::string& left, const std::string& right) {
        const auto isDots = [](const std::string& name) { return name == "." || name == ".."; };
        return isDots(left) != isDots(right) ? isDots(left) : left < right;
    };
    std::string first;
    while (const dirent* const entry = readdir(entries.get())) {
        if (matches(pattern.c_str(), entry->d_name) && (first.empty() || before(entry->d_name, first)))
            first = entry->d_name;
    }
    if (first.empty()) errno = ENOENT;
    return first;
}

std::intptr_t find(const char* pattern, _finddata_t* found) {
    const std::string path = nativePath(pattern);
    const std::size_t nameAt = path.rfind('/') + 1;  // 0 when there is none
    const std::string folder = path.substr(0, nameAt);
    std::string name = path.substr(nameAt);
    struct stat status {};
    // If a file has exactly this name, it is meant: Linux allows both characters in names.
    if (name.find_first_of("*?") != std::string::npos && stat(path.c_str(), &status) != 0) {
        name = firstMatch(folder, name);
    } else if (name.empty()) {
        errno = ENOENT;
    }
    if (name.empty() || stat((folder + name).c_str(), &status) != 0) {
        if (errno == ENOTDIR) errno = EINVAL;
        return -1;
    }
    found->attrib = S_ISDIR(status.st_mode) ? _A_SUBDIR : _A_NORMAL;
    std::snprintf(found->name, sizeof found->name, "%s", name.c_str());
    const HANDLE handle = HandleTable_Open(std::make_shared<SearchObject>());
    if (!handle) errno = EMFILE;
    return handle ? reinterpret_cast<std::intptr_t>(handle) : -1;
}

}  // namespace

extern "C" std::intptr_t _findfirst(const char* pattern, _finddata_t* found) {
    return platform_unlessOutOfMemory(std::intptr_t{-1}, [=] { return find(pattern, found); });
}

extern "C" int _findclose(std::intptr_t search) {
    const auto handle = reinterpret_cast<HANDLE>(search);
    if (HandleTable_FindAs<SearchObject>(handle) && HandleTable_Close(handle)) return 0;
    errno = EINVAL;
    return -1;
}
