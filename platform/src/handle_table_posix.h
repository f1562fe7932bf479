// The process's open handles: small numbers that name objects, so that a closed or invented one is recognised (error 6)
// and never dereferenced. An object is destroyed when its last handle and its last user (a waiting thread, a view) are
// gone.
#pragma once

#include <memory>
#include <typeinfo>
#include <utility>

#include "platform.h"

/// What a handle can name. The destructor releases the system's resource.
class KernelObject {
public:
    virtual ~KernelObject() = default;
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;

protected:
    KernelObject() = default;
};

/// The object that a handle names, and the rights of the handle.
struct HandleEntry {
    std::shared_ptr<KernelObject> object;  // null: the handle is not open
    DWORD rights = 0;                      // as it was opened with: EVENT_…, FILE_MAP_…, SYNCHRONIZE
};

constexpr DWORD kAllRights = 0xFFFFFFFF;

/// Opens a handle for an object. Null, last error 4, when too many are open.
HANDLE HandleTable_Open(std::shared_ptr<KernelObject> object, DWORD rights = kAllRights);

/// The entry of a handle.
HandleEntry HandleTable_Find(HANDLE handle);

/// Closes a handle. False when it is not open.
bool HandleTable_Close(HANDLE handle);

/// The object if it is of that kind, otherwise null, last error 6. Without the needed rights: null, last error 5.
template <typename Object>
std::shared_ptr<Object> HandleTable_As(HandleEntry entry, DWORD needed) {
    const KernelObject* const found = entry.object.get();
    const bool fits = found && typeid(*found) == typeid(Object);
    if (fits && (entry.rights & needed) == needed) return std::static_pointer_cast<Object>(std::move(entry.object));
    SetLastError(fits ? ERROR_ACCESS_DENIED : ERROR_INVALID_HANDLE);
    return nullptr;
}

/// HandleTable_As for the entry of a handle.
template <typename Object>
std::shared_ptr<Object> HandleTable_FindAs(HANDLE handle, DWORD needed = 0) {
    return HandleTable_As<Object>(HandleTable_Find(handle), needed);
}
