// Overrides a platform call in a test program, for every caller in it: PLATFORM_FAULT at file scope defines a hook,
// and the call is listed under FAULTS of dorven_add_test. While the hook is empty the real call runs.
// Imported calls go through a pointer __imp_NAME; one defined here replaces the import library's.
#pragma once

#include <atomic>
#include <functional>

#include "platform.h"
#include "platform_fault_scope.h"

namespace test {

template <typename Function>
Function realCall(const char* name) {
    for (const char* module : {"kernel32.dll", "rpcrt4.dll", "msvcrt.dll"}) {
        if (const auto address = GetProcAddress(LoadLibraryA(module), name))
            return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
    }
    return nullptr;
}

}  // namespace test

#define PLATFORM_FAULT(result, name, parameters, arguments)                                                          \
    static std::function<result parameters> fault_##name;                                                            \
    [[maybe_unused]] static result real_##name parameters {                                                          \
        /* No guarded static: its guard is made of events and waits, which may be the very calls that are hooked. */ \
        static std::atomic<result(WINAPI*) parameters> function{nullptr};                                            \
        if (!function) function = test::realCall<result(WINAPI*) parameters>(#name);                                 \
        return function.load() arguments;                                                                            \
    }                                                                                                                \
    static result WINAPI wrap_##name parameters {                                                                    \
        return fault_##name ? fault_##name arguments : real_##name arguments;                                        \
    }                                                                                                                \
    extern "C" {                                                                                                     \
    extern void* __imp_##name;                                                                                       \
    void* __imp_##name = reinterpret_cast<void*>(&wrap_##name);                                                      \
    }
