// What calls of the Linux layer do when memory runs out: they fail as system calls do, and throw nothing.
#pragma once

#include <cerrno>
#include <new>

#include "last_error_posix.h"

/// The call's result; if memory runs out, the failure value, with last error 8 and errno ENOMEM.
template <typename Result, typename Call>
Result platform_unlessOutOfMemory(Result failure, Call call) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return platform_failWith(ERROR_NOT_ENOUGH_MEMORY, failure);
    }
}
