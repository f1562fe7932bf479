// The only door to the kernel: the Win32 calls that this system uses, with one meaning on both systems. On Windows this
// is <windows.h> and related headers. Elsewhere platform_posix.h declares the same calls, types and constants, and
// src/*_posix.cpp keep the promises that Windows makes.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <io.h>
#include <rpc.h>
#include <sys/stat.h>
#include <windows.h>
#undef interface  // <rpc.h> makes a macro of a word that framework classes use
#else
#include "platform_posix.h"
#endif

// Tells the compiler that a function formats as platform_vformat does, so that it can check the arguments. Only MinGW
// checks them: glibc's checker gives %Iu another meaning.
#if defined(_WIN32) && defined(__GNUC__)
#define PLATFORM_FORMAT(formatIndex, firstArgument) __attribute__((format(ms_printf, formatIndex, firstArgument)))
#else
#define PLATFORM_FORMAT(formatIndex, firstArgument)
#endif

// Whether ThreadSanitizer watches: GCC tells by a macro, Clang by a feature.
#if defined(__SANITIZE_THREAD__)
#define PLATFORM_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PLATFORM_THREAD_SANITIZER
#endif
#endif

/// Full memory barrier: no load or store moves across it in either direction, on the processor or in the compiler.
inline void fullBarrier() {
#if defined(PLATFORM_THREAD_SANITIZER)
    // ThreadSanitizer does not know fences; it does know a sequentially consistent read-modify-write.
    static std::uint64_t barrierWord = 0;
    std::atomic_ref<std::uint64_t>(barrierWord).fetch_add(0, std::memory_order_seq_cst);
#else
    std::atomic_thread_fence(std::memory_order_seq_cst);
#endif
}

/// The system's one printf-style formatter. It understands what the C standard defines and, on both systems, the
/// Windows size prefix `I`: %Iu and %Id print a full std::size_t and its signed counterpart, %I64u and %I64d 64 bits.
///
/// @param buffer  Receives at most size - 1 characters and a terminator; may be null when size is 0.
/// @param size    Bytes in buffer.
/// @return        Length of the whole text without terminator, even if it did not fit. Negative when it cannot be
///                formatted; buffer then holds an empty text unless size is 0.
int platform_vformat(char* buffer, std::size_t size, const char* format, std::va_list arguments) PLATFORM_FORMAT(3, 0);

/// Same as platform_vformat, with the arguments in the call.
int platform_format(char* buffer, std::size_t size, const char* format, ...) PLATFORM_FORMAT(3, 4);

/// Gives the file `replacement` the permissions of the file `replaced`, and lets its owner write it. Linux only: on
/// Windows a file has the rights of its folder. Does nothing if a file is missing or the system refuses.
void platform_takePermissions(const char* replaced, const char* replacement);

/// Nanoseconds of the machine's monotonic clock: CLOCK_MONOTONIC, or the performance counter. All processes of the
/// machine share this clock; it counts from some moment before they started.
std::int64_t platform_monotonicNanoseconds();

/// Sleeps until the monotonic clock has reached the deadline, never shorter.
///
/// @return  true when the deadline was reached; false, at once or within 100 ms, when a stop was requested
///          (platform_installStopHandler).
bool platform_sleepUntil(std::int64_t deadlineNanoseconds);

/// From now on Ctrl-C, a request to terminate and a closed terminal (SIGINT, SIGTERM, SIGHUP unless it was ignored;
/// console control events) do not end the process, but make platform_stopRequested true. A second request ends the
/// process at once; a second SIGHUP does not. On Linux a file that reaches the size limit of the process (RLIMIT_FSIZE)
/// is from then on treated as a full disk and does not end the process. Programs only, never the plugin.
void platform_installStopHandler();

/// True once a stop was requested. Any thread.
bool platform_stopRequested();

/// If the program was started without standard input, output or error, opens the null device in their place, so that no
/// file that is opened later receives what is meant for them. Programs only, as their first action.
void platform_openMissingStandardStreams();

/// From now on writing to a pipe that nobody reads fails instead of ending the process. Programs only.
void platform_letBrokenPipesFail();

/// Receives one finding of this layer that no result can carry: a sentence without line end. Any thread. The layer
/// holds no lock during the call, so the function may create and use named objects and take its time.
using PlatformReport = void (*)(const char* text);

/// Sets the one function that receives reports; null, as at the start: they go to standard error. The diagnostics
/// library sets it.
void platform_setReport(PlatformReport report);

/// Reports a finding. The calling thread's last error stays unchanged. Used by this layer.
void platform_report(const char* text);
