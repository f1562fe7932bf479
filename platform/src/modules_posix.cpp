#include <cstring>
#include <new>
#include <string>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include "last_error_posix.h"
#include "paths_posix.h"
#include "platform.h"

namespace {

std::string programFileName() {
    char name[4096];
    const ssize_t length = readlink("/proc/self/exe", name, sizeof name);
    return length > 0 ? std::string(name, static_cast<std::size_t>(length)) : std::string();
}

// Removes parts that name the same folder again: "/./" and "//". A ".." stays, because it may lead through a link.
std::string withoutEmptySteps(std::string path) {
    for (std::size_t at = 0; (at = path.find('/', at)) != std::string::npos;) {
        if (path.compare(at, 3, "/./") == 0) {
            path.erase(at, 2);
        } else if (path.compare(at, 2, "//") == 0) {
            path.erase(at, 1);
        } else {
            ++at;
        }
    }
    return path;
}

// The full name of a library that was loaded by a relative path. The loader stores the folder as it was at that time;
// the working folder may have changed since.
std::string loadedFileName(void* module, const std::string& relativeName) {
    constexpr std::size_t kLongestFolder = 1u << 16;  // the loader does not say how long it is
    std::string folder(kLongestFolder, '\0');
    if (dlinfo(module, RTLD_DI_ORIGIN, folder.data()) != 0) return relativeName;
    folder.resize(std::strlen(folder.c_str()));
    return withoutEmptySteps(folder + '/' + relativeName.substr(relativeName.rfind('/') + 1));
}

struct ModuleSearch {
    const void* handle;
    std::string fileName;
};

// A module handle is the loader's own entry of that library. The list is searched by comparing addresses, so that an
// invented handle is never dereferenced; during this callback the loader's lock keeps the list unchanged. If there is
// no memory for its name, a module is not found: nothing may be thrown through the loader.
int findModule(dl_phdr_info*, std::size_t, void* context) try {
    auto& search = *static_cast<ModuleSearch*>(context);
    for (const link_map* entry = _r_debug.r_map; entry; entry = entry->l_next) {
        if (entry == search.handle && entry->l_name && *entry->l_name) search.fileName = entry->l_name;
    }
    return 1;
} catch (const std::bad_alloc&) {
    return 1;
}

std::string moduleFileName(HMODULE module) {
    if (!module) return programFileName();
    ModuleSearch search{module, {}};
    dl_iterate_phdr(findModule, &search);
    const bool relative = !search.fileName.empty() && search.fileName.front() != '/';
    return relative ? loadedFileName(module, search.fileName) : search.fileName;
}

}  // namespace

extern "C" DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size) try {
    const std::string name = moduleFileName(module);
    if (name.empty()) return platform_failWith<DWORD>(ERROR_MOD_NOT_FOUND, 0);
    if (name.size() >= size) {
        std::memcpy(fileName, name.data(), size);
        return platform_failWith<DWORD>(ERROR_INSUFFICIENT_BUFFER, size);
    }
    std::memcpy(fileName, name.c_str(), name.size() + 1);
    SetLastError(ERROR_SUCCESS);
    return static_cast<DWORD>(name.size());
} catch (const std::bad_alloc&) {
    return platform_failWith<DWORD>(ERROR_NOT_ENOUGH_MEMORY, 0);
}

extern "C" HMODULE LoadLibraryExA(LPCSTR path, HANDLE, DWORD) try {
    void* const module = path ? dlopen(nativePath(path).c_str(), RTLD_NOW | RTLD_LOCAL) : nullptr;
    return module ? static_cast<HMODULE>(module) : platform_failWith<HMODULE>(ERROR_MOD_NOT_FOUND, nullptr);
} catch (const std::bad_alloc&) {
    return platform_failWith<HMODULE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

extern "C" FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    void* const address = dlsym(module, name);
    return address ? reinterpret_cast<FARPROC>(address) : platform_failWith<FARPROC>(ERROR_PROC_NOT_FOUND, nullptr);
}

extern "C" BOOL FreeLibrary(HMODULE module) {
    return dlclose(module) == 0 ? TRUE : platform_failWith(ERROR_MOD_NOT_FOUND, FALSE);
}

extern "C" DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }
