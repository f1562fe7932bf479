#include <new>

#include "errtrace.h"
#include "msharedmem.h"
#include "msharedmem_registry.h"

namespace {

const char kFile[] = "mipc/src/msharedmem_win32";

HANDLE createMapping(const char* name, std::size_t size) {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, static_cast<DWORD>(size >> 32),
                              static_cast<DWORD>(size & 0xFFFFFFFFu), name);
}

void* mapWhole(HANDLE mapping) { return MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0); }

/// Bytes from the start of a view that may be touched; excludes pages that its creator has only reserved.
std::size_t regionSize(const void* view) {
    MEMORY_BASIC_INFORMATION information{};
    const bool known = VirtualQuery(view, &information, sizeof information) != 0;
    return known && information.State == MEM_COMMIT ? information.RegionSize : 0;
}

bool isEmpty(const char* name) { return !name || !*name; }

// Runs an operation of the registry. If there is no memory for it, it fails like any other call.
template <typename Result, typename Operation>
Result withMemory(const char* function, Result failure, Operation&& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        M_ERRTRACE("%s(): not enough memory", function);
        return failure;
    }
}

// Registers a new view with its first link. If the registry refuses the view, it is unmapped.
void* registerView(const char* name, void* view, HANDLE mapping, std::size_t size) {
    MSharedMemLinkInfo* info = nullptr;
    try {
        info = SetNewLinkInfo(name, view, mapping, size);
    } catch (const std::bad_alloc&) {
        info = nullptr;  // no memory for an entry: as any view without one
    }
    if (!info) {
        UnmapViewOfFile(view);
        CloseHandle(mapping);
        return nullptr;
    }
    info->linkCount = 1;
    return view;
}

void traceTooSmall(const char* name, std::size_t existing, std::size_t asked) {
    M_ERRTRACE("%s(): existing size is too small for %s: %Iu < %Iu", "MSharedMem_LinkOrCreate", name, existing, asked);
}

// The view of a mapping that Create or LinkOrCreate created or that LinkOrCreate found, as `existed` says.
void* linkView(const char* name, HANDLE mapping, bool existed, std::size_t size) {
    void* const view = mapWhole(mapping);
    if (!view) {
        const DWORD error = GetLastError();
        CloseHandle(mapping);
        M_ERRTRACE("MSharedMem_Create(): MapViewOfFile() failed (%d)", static_cast<int>(error));
        return nullptr;
    }
    if (const std::size_t region = existed ? regionSize(view) : size; size > region) {
        UnmapViewOfFile(view);
        CloseHandle(mapping);
        traceTooSmall(name, region, size);
        return nullptr;
    }
    return registerView(name, view, mapping, size);
}

void* createMemory(const char* name, std::size_t size) {
    if (isEmpty(name)) {
        M_ERRTRACE("MSharedMem_Create(): name == \"\"");
        return nullptr;
    }
    if (size == 0) {
        M_ERRTRACE("MSharedMem_Create(): size <= 0");
        return nullptr;
    }
    const MSharedMem_RegistryLock lock;
    if (SearchMemLinkInfo(std::string_view(name)) != MSharedMem_NoLinkInfo()) {
        M_ERRTRACE("MSharedMem_Create(): name \"%.40s\" already exist", name);
        return nullptr;
    }
    const HANDLE mapping = createMapping(name, size);
    const DWORD createError = GetLastError();  // read before any other call: it also says whether the name existed
    if (!mapping) {
        M_ERRTRACE("MSharedMem_Create(): CreateFileMapping() failed");
        return nullptr;
    }
    if (createError == ERROR_ALREADY_EXISTS) {
        CloseHandle(mapping);
        M_ERRTRACE("MSharedMem_Create(): \"%.40s\" ERROR_ALREADY_EXISTS", name);
        return nullptr;
    }
    return linkView(name, mapping, false, size);
}

void* linkOrCreateMemory(const char* name, std::size_t size, DWORD* refusal) {
    if (isEmpty(name)) {
        M_ERRTRACE("MSharedMem_LinkOrCreate(): name == \"\"");
        return nullptr;
    }
    if (size == 0) {
        M_ERRTRACE("MSharedMem_LinkOrCreate(): size <= 0");
        return nullptr;
    }
    const MSharedMem_RegistryLock lock;
    if (const auto known = SearchMemLinkInfo(std::string_view(name)); known != MSharedMem_NoLinkInfo()) {
        if (size > known->second.size) {
            traceTooSmall(name, known->second.size, size);
            return nullptr;
        }
        ++known->second.linkCount;
        return known->first;
    }
    const HANDLE mapping = createMapping(name, size);
    const DWORD createError = GetLastError();
    if (!mapping) {
        if (refusal) *refusal = createError;
        // kept on purpose: docs/oddities.md, shared-memory-callers
        M_ERRTRACE("MSharedMem_Create(): CreateFileMapping() failed (%d)", static_cast<int>(createError));
        return nullptr;
    }
    return linkView(name, mapping, createError == ERROR_ALREADY_EXISTS, size);
}

void* linkMemory(const char* name) {
    if (isEmpty(name)) {
        M_ERRTRACE("MSharedMem_Link(): name == \"\"");
        return nullptr;
    }
    const MSharedMem_RegistryLock lock;
    if (const auto known = SearchMemLinkInfo(std::string_view(name)); known != MSharedMem_NoLinkInfo()) {
        ++known->second.linkCount;
        return known->first;
    }
    const HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name);
    if (!mapping) {
        const DWORD error = GetLastError();
        M_ERRTRACE("MSharedMem_Link() failed for '%s' (%d)", name, static_cast<int>(error));
        return nullptr;
    }
    void* const view = mapWhole(mapping);
    if (!view) {
        const DWORD error = GetLastError();
        CloseHandle(mapping);
        M_ERRTRACE("MSharedMem_Link(): MapViewOfFile() failed (%d)", static_cast<int>(error));
        return nullptr;
    }
    return registerView(name, view, mapping, regionSize(view));
}

int unlinkMemory(void* memory) {
    if (!memory) {
        M_ERRTRACE("MSharedMem_Unlink(): NULL pointer for memory");
        return 0;
    }
    MSharedMem_RegistryLock lock;
    const auto entry = SearchMemLinkInfo(memory);
    if (entry == MSharedMem_NoLinkInfo()) {
        lock.leave();
        M_ERRTRACE("MSharedMem_Unlink(): no shared memory registered at %p", memory);
        return 0;
    }
    const std::int32_t linkCount = --entry->second.linkCount;
    if (linkCount >= 1) return 1;
    if (linkCount < 0) {
        lock.leave();
        M_ERRTRACE("MSharedMem_Unlink(): link_count < 0");
        return 0;
    }
    const HANDLE mapping = entry->second.handle;
    // The link is returned whatever the system reports below, so the result stays 1.
    // kept on purpose: docs/oddities.md, shared-memory-callers
    if (!DeleteLinkInfo(memory)) M_ERRTRACE("MSharedMem_Destroy(): DeleteLinkInfo() failed");
    if (!UnmapViewOfFile(memory)) {
        const DWORD error = GetLastError();
        M_ERRTRACE("MSharedMem_Unlink(): UnmapViewOfFile() failed (%d)", static_cast<int>(error));
    }
    if (!CloseHandle(mapping)) {
        const DWORD error = GetLastError();
        M_ERRTRACE("MSharedMem_Destroy(): CloseHandle() failed (%d)", static_cast<int>(error));
    }
    return 1;
}

int destroyMemory(void* memory) {
    if (!memory) {
        M_ERRTRACE("MSharedMem_Destroy(): NULL pointer for memory");
        return 0;
    }
    MSharedMem_RegistryLock lock;
    const auto entry = SearchMemLinkInfo(memory);
    if (entry == MSharedMem_NoLinkInfo()) {
        lock.leave();
        M_ERRTRACE("MSharedMem_Destroy(): SearchMemLinkInfo() failed");
        return 0;
    }
    const HANDLE mapping = entry->second.handle;
    int result = 1;
    if (!DeleteLinkInfo(memory)) {
        M_ERRTRACE("MSharedMem_Destroy(): DeleteLinkInfo() failed");
        result = 0;
    }
    if (!UnmapViewOfFile(memory)) {
        const DWORD error = GetLastError();
        M_ERRTRACE("MSharedMem_Destroy(): UnmapViewOfFile() failed (%d)", static_cast<int>(error));
        result = 0;
    }
    if (!CloseHandle(mapping)) {
        const DWORD error = GetLastError();
        // kept on purpose: docs/oddities.md, destroy-error-log
        M_ERRLOG("MSharedMem_Destroy(): CloseHandle() failed (%d)", static_cast<int>(error));
        result = 0;
    }
    return result;
}

const char* nameOf(const void* memory) {
    if (!memory) {
        M_ERRTRACE("MSharedMem_GetName(): NULL pointer for memory");
        return nullptr;
    }
    const MSharedMem_RegistryLock lock;
    const auto entry = SearchMemLinkInfo(memory);
    if (entry == MSharedMem_NoLinkInfo()) {
        // kept on purpose: docs/oddities.md, getname-failed
        M_ERRTRACE("MSharedMem_GetName()failed: call MSharedMem_Link() or MSharedMem_LinkOrCreate() first");
        return nullptr;
    }
    return entry->second.name.c_str();
}

std::size_t sizeOf(const void* memory) {
    constexpr auto kNoSize = static_cast<std::size_t>(-1);
    if (!memory) {
        M_ERRTRACE("MSharedMem_GetSize(): NULL pointer for memory");
        return kNoSize;
    }
    const MSharedMem_RegistryLock lock;
    const auto entry = SearchMemLinkInfo(memory);
    if (entry == MSharedMem_NoLinkInfo()) {
        // kept on purpose: docs/oddities.md, getname-failed
        M_ERRTRACE("MSharedMem_GetName()failed: call MSharedMem_Link() or MSharedMem_LinkOrCreate() first");
        return kNoSize;
    }
    return entry->second.size;
}

}  // namespace

void* MSharedMem_Create(const char* name, std::size_t size) {
    return withMemory("MSharedMem_Create", static_cast<void*>(nullptr), [=] { return createMemory(name, size); });
}

void* MSharedMem_LinkOrCreate(const char* name, std::size_t size, DWORD* refusal) {
    return withMemory("MSharedMem_LinkOrCreate", static_cast<void*>(nullptr),
                      [=] { return linkOrCreateMemory(name, size, refusal); });
}

void* MSharedMem_Link(const char* name) {
    return withMemory("MSharedMem_Link", static_cast<void*>(nullptr), [=] { return linkMemory(name); });
}

int MSharedMem_Unlink(void* memory) {
    return withMemory("MSharedMem_Unlink", 0, [=] { return unlinkMemory(memory); });
}

int MSharedMem_Destroy(void* memory) {
    return withMemory("MSharedMem_Destroy", 0, [=] { return destroyMemory(memory); });
}

const char* MSharedMem_GetName(const void* memory) {
    return withMemory("MSharedMem_GetName", static_cast<const char*>(nullptr), [=] { return nameOf(memory); });
}

std::size_t MSharedMem_GetExistingSize(const char* name) {
    const HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name);
    if (!mapping) return 0;
    std::size_t bytes = 0;
    if (void* const view = mapWhole(mapping)) {
        MEMORY_BASIC_INFORMATION information{};
        if (VirtualQuery(view, &information, sizeof information) != 0) bytes = information.RegionSize;
        UnmapViewOfFile(view);
    }
    CloseHandle(mapping);
    return bytes;
}

std::size_t MSharedMem_GetSize(const void* memory) {
    return withMemory("MSharedMem_GetSize", static_cast<std::size_t>(-1), [=] { return sizeOf(memory); });
}
