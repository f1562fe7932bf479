// A handle that closes itself, for the tests of this folder.
#pragma once

#include <utility>

#include "platform.h"

namespace test {

class ObjectHandle {
public:
    explicit ObjectHandle(HANDLE handle) : _handle(handle) {}
    ObjectHandle(ObjectHandle&& other) noexcept : _handle(std::exchange(other._handle, nullptr)) {}
    ObjectHandle& operator=(ObjectHandle&&) = delete;
    ~ObjectHandle() { close(); }

    HANDLE get() const { return _handle; }
    void close() {
        const DWORD error = GetLastError();
        if (_handle) CloseHandle(std::exchange(_handle, nullptr));
        SetLastError(error);
    }

private:
    HANDLE _handle;
};

}  // namespace test
