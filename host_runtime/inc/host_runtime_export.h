// Import and export marks of the host runtime's libraries. Each library defines its own …_BUILDS while it is built.
#pragma once

#if defined(_WIN32)
#define HOST_RUNTIME_EXPORTS __declspec(dllexport)
#define HOST_RUNTIME_IMPORTS __declspec(dllimport)
#else
#define HOST_RUNTIME_EXPORTS __attribute__((visibility("default")))
#define HOST_RUNTIME_IMPORTS __attribute__((visibility("default")))
#endif

#if defined(_WIN32) && defined(__GNUC__)
#define HOST_RUNTIME_FORMAT(formatIndex, firstArgument) __attribute__((format(ms_printf, formatIndex, firstArgument)))
#else
#define HOST_RUNTIME_FORMAT(formatIndex, firstArgument)
#endif

#if defined(TRACE_BUILDS)
#define TRACE_API HOST_RUNTIME_EXPORTS
#else
#define TRACE_API HOST_RUNTIME_IMPORTS
#endif

#if defined(ERRORLOG_BUILDS)
#define ERRORLOG_API HOST_RUNTIME_EXPORTS
#else
#define ERRORLOG_API HOST_RUNTIME_IMPORTS
#endif

#if defined(ERRORTRACE_BUILDS)
#define ERRORTRACE_API HOST_RUNTIME_EXPORTS
#else
#define ERRORTRACE_API HOST_RUNTIME_IMPORTS
#endif

#if defined(NUV_BASE_BUILDS)
#define NUV_BASE_API HOST_RUNTIME_EXPORTS
#else
#define NUV_BASE_API HOST_RUNTIME_IMPORTS
#endif

#if defined(LOG_CORE_BUILDS)
#define LOG_CORE_API HOST_RUNTIME_EXPORTS
#else
#define LOG_CORE_API HOST_RUNTIME_IMPORTS
#endif
