// The registry of shared memory below MSharedMem_…: which views this process holds. Only for mipc and its tests. Every
// call needs the registry's lock, which MSharedMem_RegistryLock takes (recursive).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "platform.h"

/// One view of this process.
struct MSharedMemLinkInfo {
    std::string name;
    HANDLE handle;           // of the mapping, closed with the view
    std::size_t size;        // usable bytes
    std::int32_t linkCount;  // links not yet returned
};

using MSharedMemRegistry = std::map<void*, MSharedMemLinkInfo>;

/// Holds the process-wide lock for a scope.
class MSharedMem_RegistryLock {
public:
    MSharedMem_RegistryLock();
    ~MSharedMem_RegistryLock();
    MSharedMem_RegistryLock(const MSharedMem_RegistryLock&) = delete;
    MSharedMem_RegistryLock& operator=(const MSharedMem_RegistryLock&) = delete;

    /// Releases the lock before the end of the scope; call it once.
    void leave();

private:
    bool _held = true;
};

/// Registers a view with link count 0; the caller sets the count.
/// @return  Its entry, or the existing one if it has the same name, size and handle. Null for an empty name or null
///          address. Null when the address is already registered: with an entry in the error trace if name matches but
///          size or handle differ, without one if the name differs.
MSharedMemLinkInfo* SetNewLinkInfo(const std::string& name, void* address, HANDLE handle, std::size_t size);

/// Finds the entry of an address, or of a name (byte for byte); end() of the registry when there is none.
MSharedMemRegistry::iterator SearchMemLinkInfo(const void* address);
MSharedMemRegistry::iterator SearchMemLinkInfo(std::string_view name);

/// Result of SearchMemLinkInfo when it finds nothing.
MSharedMemRegistry::iterator MSharedMem_NoLinkInfo();

/// Removes the entry of an address; false when there is none.
bool DeleteLinkInfo(void* address);
