#include "msharedmem_registry.h"

#include "errtrace.h"

namespace {

const char kFile[] = "mipc/src/msharedmem_win32";  // kept on purpose: docs/oddities.md, shared-memory-place

// Both are created at the first use and never destroyed, because destructors of static objects may unlink memory.
MSharedMemRegistry& registry() {
    static auto* const only = new MSharedMemRegistry;
    return *only;
}

CRITICAL_SECTION& registryLock() {
    static CRITICAL_SECTION* const only = [] {
        auto* const section = new CRITICAL_SECTION;
        InitializeCriticalSection(section);
        return section;
    }();
    return *only;
}

}  // namespace

MSharedMem_RegistryLock::MSharedMem_RegistryLock() { EnterCriticalSection(&registryLock()); }

MSharedMem_RegistryLock::~MSharedMem_RegistryLock() {
    if (_held) leave();
}

void MSharedMem_RegistryLock::leave() {
    _held = false;
    LeaveCriticalSection(&registryLock());
}

MSharedMemLinkInfo* SetNewLinkInfo(const std::string& name, void* address, HANDLE handle, std::size_t size) {
    if (name.empty() || !address) return nullptr;
    const auto byAddress = SearchMemLinkInfo(address);
    const auto byName = SearchMemLinkInfo(std::string_view(name));
    if (byAddress != registry().end() && byAddress == byName) {
        MSharedMemLinkInfo& known = byAddress->second;
        if (known.size == size && known.handle == handle) return &known;
        M_ERRTRACE("SetNewLinkInfo():'%s'(%d,0x%x) in conflict to '%s'(%d,0x%x)", name.c_str(), static_cast<int>(size),
                   static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)), known.name.c_str(),
                   static_cast<int>(known.size), static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(known.handle)));
        return nullptr;
    }
    if (byAddress != registry().end()) return nullptr;
    return &registry().emplace(address, MSharedMemLinkInfo{name, handle, size, 0}).first->second;
}

MSharedMemRegistry::iterator SearchMemLinkInfo(const void* address) {
    return registry().find(const_cast<void*>(address));
}

MSharedMemRegistry::iterator SearchMemLinkInfo(std::string_view name) {
    auto entry = registry().begin();
    while (entry != registry().end() && entry->second.name != name) ++entry;
    return entry;
}

MSharedMemRegistry::iterator MSharedMem_NoLinkInfo() { return registry().end(); }

bool DeleteLinkInfo(void* address) { return registry().erase(address) == 1; }
