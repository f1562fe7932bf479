// Calls of the Linux layer when memory runs out: they fail as calls of the system do, and throw nothing at their
// callers.
#pragma once

#include <cerrno>
#include <new>

#include "last_error_posix.h"

/// What the call answers; without memory the failure, with last error 8 and errno ENOMEM.
template <typename Result, typename Call>
Result platform_unlessOutOfMemory(Result failure, Call call) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return platform_failWith(ERROR_NOT_ENOUGH_MEMORY, failure);
    }
}
