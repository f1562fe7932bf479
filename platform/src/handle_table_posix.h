// The process's open handles: small numbers that name objects, so that a closed or invented one is recognised (error 6)
// and never touched. An object goes when its last handle and its last user (a waiting thread, a view) are gone.
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

/// Opens a handle for an object. Null, last error 4, when there are too many.
HANDLE HandleTable_Open(std::shared_ptr<KernelObject> object);

/// The object that a handle names; null when the handle is not open.
std::shared_ptr<KernelObject> HandleTable_Find(HANDLE handle);

/// Closes a handle. False when it is not open.
bool HandleTable_Close(HANDLE handle);

/// The object if the handle names one of that kind; else null, last error 6.
template <typename Object>
std::shared_ptr<Object> HandleTable_FindAs(HANDLE handle) {
    auto object = HandleTable_Find(handle);
    const KernelObject* const found = object.get();
    if (found && typeid(*found) == typeid(Object)) return std::static_pointer_cast<Object>(std::move(object));
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}
