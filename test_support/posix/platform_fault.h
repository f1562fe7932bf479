// Overrides a platform call in a test program, for every caller in it: PLATFORM_FAULT at file scope defines a hook,
// and the call is listed under FAULTS of dorven_add_test. While the hook is empty the real call runs.
//
//   PLATFORM_FAULT(BOOL, CloseHandle, (HANDLE handle), (handle))
//   …
//   test::Fault<decltype(fault_CloseHandle)> fault(fault_CloseHandle, [](HANDLE) { SetLastError(6); return FALSE; });
#pragma once

#include <functional>

#include "platform.h"
#include "platform_fault_scope.h"

#define PLATFORM_FAULT(result, name, parameters, arguments)                                                     \
    static std::function<result parameters> fault_##name;                                                       \
    extern "C" result __real_##name parameters;                                                                 \
    extern "C" result __wrap_##name parameters;                                                                 \
    result __wrap_##name parameters { return fault_##name ? fault_##name arguments : __real_##name arguments; } \
    [[maybe_unused]] static result real_##name parameters { return __real_##name arguments; }
