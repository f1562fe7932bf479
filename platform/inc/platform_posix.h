// The Win32 calls, types and constants that the system uses, for Linux. Include platform.h, never this file.
// Each call answers as Windows does, including last-error codes. If it supports less than Windows, its comment says so.
// These answers differ on purpose; tests/exceptions_test.cpp shows both answers of each:
//   - File names follow Linux. Upper and lower case differ, dots and spaces at the end count, ? * < > | " and control
//     characters are allowed (Windows: 123), and ".." is the parent of a folder that exists: users' files may have such
//     names and must be opened. _findfirst first finds the file whose name is the pattern itself.
//   - A file that somebody is reading can be renamed, replaced and removed (Windows: 32, 5, EACCES); whoever has it
//     open keeps the old content. The system does not tell who reads a file, and a reader's lock would keep writers
//     out.
//   - If a process asks for more shared memory than the machine has, the call that creates it fails (1455), not the
//     call that maps it: a page that turns out to be missing later would end the process.
//   - Names of objects may begin with "Local\" and "Global\", but not with another session's folder ("Session\1\X": 3).
#pragma once

#include <cstddef>
#include <cstdint>

#include <pthread.h>

// --------------------------------------------------------------------------------- types and constants

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using LONGLONG = std::int64_t;
using SIZE_T = std::size_t;
using HANDLE = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using LPCSTR = const char*;
using RPC_STATUS = std::int32_t;
using RPC_CSTR = unsigned char*;

struct HINSTANCE__;
using HMODULE = HINSTANCE__*;
using FARPROC = std::intptr_t (*)();

union LARGE_INTEGER {
    LONGLONG QuadPart;
};

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

struct OVERLAPPED;

struct _finddata_t {  // NOLINT(bugprone-reserved-identifier): the C runtime's name
    unsigned attrib;  // _A_…
    char name[260];   // without its folder
};

struct __stat64 {  // NOLINT(bugprone-reserved-identifier): the C runtime's name
    WORD st_mode;
    LONGLONG st_size;
};

struct MEMORY_BASIC_INFORMATION {
    LPVOID BaseAddress;
    LPVOID AllocationBase;
    DWORD AllocationProtect;
    WORD PartitionId;
    SIZE_T RegionSize;
    DWORD State;
    DWORD Protect;
    DWORD Type;
};

struct CRITICAL_SECTION {
    pthread_mutex_t mutex;
};

struct UUID {
    unsigned char bytes[16];  // in the order of the text form
};

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};

struct tagBITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};
using BITMAPINFO = tagBITMAPINFO;
static_assert(sizeof(tagBITMAPINFO) == 44);

// Names, widths and values as Windows has them; macros there, so macros here.
#define WINAPI
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

#define PAGE_NOACCESS 0x01u
#define PAGE_READONLY 0x02u
#define PAGE_READWRITE 0x04u
#define FILE_MAP_WRITE 0x0002u
#define FILE_MAP_READ 0x0004u
#define FILE_MAP_ALL_ACCESS 0x000F001Fu
#define MEM_COMMIT 0x00001000u
#define MEM_MAPPED 0x00040000u
#define EVENT_MODIFY_STATE 0x0002u
#define EVENT_ALL_ACCESS 0x001F0003u
#define SYNCHRONIZE 0x00100000u

#define GENERIC_READ 0x80000000u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_BEGIN 0u
#define MOVEFILE_REPLACE_EXISTING 0x00000001u
#define _A_NORMAL 0x00u
#define _A_HIDDEN 0x02u
#define _A_SYSTEM 0x04u
#define _A_SUBDIR 0x10u

#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED_0 0x00000080u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu

#define LOAD_WITH_ALTERED_SEARCH_PATH 0x00000008u

#define ERROR_SUCCESS 0u
#define ERROR_FILE_NOT_FOUND 2u
#define ERROR_PATH_NOT_FOUND 3u
#define ERROR_TOO_MANY_OPEN_FILES 4u
#define ERROR_ACCESS_DENIED 5u
#define ERROR_INVALID_HANDLE 6u
#define ERROR_NOT_ENOUGH_MEMORY 8u
#define ERROR_SHARING_VIOLATION 32u
#define ERROR_NOT_SUPPORTED 50u
#define ERROR_DUP_NAME 52u
#define ERROR_FILE_EXISTS 80u
#define ERROR_INVALID_PARAMETER 87u
#define ERROR_BUFFER_OVERFLOW 111u
#define ERROR_DISK_FULL 112u
#define ERROR_SEM_TIMEOUT 121u
#define ERROR_NEGATIVE_SEEK 131u
#define ERROR_INSUFFICIENT_BUFFER 122u
#define ERROR_INVALID_NAME 123u
#define ERROR_MOD_NOT_FOUND 126u
#define ERROR_PROC_NOT_FOUND 127u
#define ERROR_BAD_PATHNAME 161u
#define ERROR_ALREADY_EXISTS 183u
#define ERROR_FILENAME_EXCED_RANGE 206u
#define ERROR_DIRECTORY 267u
#define ERROR_INVALID_ADDRESS 487u
#define ERROR_FILE_INVALID 1006u
#define ERROR_IO_DEVICE 1117u
#define ERROR_COMMITMENT_LIMIT 1455u
#define RPC_S_OK 0
#define RPC_S_UUID_LOCAL_ONLY 1824

extern "C" {

// ------------------------------------------------------------------------------------------ last error

/// The calling thread's code of the last call that failed, or the code that a successful call reported (183).
DWORD GetLastError();
void SetLastError(DWORD code);

// --------------------------------------------------------------------------------------- named objects
// A named object lives as long as some process holds a handle of it; a killed process holds none. A view keeps the
// bytes, not the name. Events and mappings share one name space. Names have up to 259 characters (longer: 206) and are
// case-sensitive; "Local\X" is "X", "Global\X" is another object, "" creates one without a name. A handle allows what
// it was opened for (anything more: 5); a handle from a create call allows everything. The environment variable
// PLATFORM_OBJECT_NAMESPACE, read at the first use, separates whole sets of names.

/// Closes a handle of any kind; 6 when it is not open. INVALID_HANDLE_VALUE is the pseudo handle of the process itself,
/// as on Windows: the result is TRUE, and nothing is closed.
BOOL CloseHandle(HANDLE handle);

/// Creates a block of zeroed shared memory, or opens the existing one of that name and sets the last error to 183. On
/// Linux only memory without a file is supported (file INVALID_HANDLE_VALUE, PAGE_READWRITE). The memory is committed
/// here, so that lack of memory is an error of this call (1455) and not a fault later.
HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protect, DWORD sizeHigh, DWORD sizeLow,
                          LPCSTR name);
HANDLE OpenFileMappingA(DWORD access, BOOL inheritHandle, LPCSTR name);

/// Maps a block: readable and writable with FILE_MAP_WRITE, readable with FILE_MAP_READ, otherwise not accessible. On
/// Linux only from its start (offset 0), and never as a copy (FILE_MAP_COPY: 50).
LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
BOOL UnmapViewOfFile(LPCVOID address);

/// Describes the pages from address to the end of the view that contains it. On Linux it knows views only: 0, last
/// error 87, for any other address.
SIZE_T VirtualQuery(LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T length);

/// Creates or opens (last error 183) an auto-reset event. On Linux no manual-reset events (error 50).
HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name);
HANDLE OpenEventA(DWORD access, BOOL inheritHandle, LPCSTR name);
BOOL SetEvent(HANDLE event);

/// Waits for one event; never returns WAIT_TIMEOUT early. INVALID_HANDLE_VALUE is the process itself and never signals.
/// On Linux it takes exactly one handle (otherwise error 50), which must be an event (otherwise 6, for a mapping 5). An
/// event has 31 places. Each waiting thread takes one, and a process that has waited keeps up to four until it closes
/// the event. A thread that finds none checks every millisecond whether a signal is kept or a place has become free.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD timeoutMs);

// ----------------------------------------------------------------------------------- threads and clock

void InitializeCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);

BOOL QueryPerformanceCounter(LARGE_INTEGER* count);
BOOL QueryPerformanceFrequency(LARGE_INTEGER* countsPerSecond);

DWORD GetCurrentProcessId();

// ----------------------------------------------------------------------------------- modules and files

/// Full file name of a module, null for the program. Also works for a module that was loaded by a relative path, even
/// if the working folder has changed since. On success returns its length without terminator. A name that does not fit
/// is cut and, as on some versions of Windows, not terminated; the result is then size and the last error 122.
DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size);

/// Loads a shared library by path; file must be null. '\' may separate folders, too.
HMODULE LoadLibraryExA(LPCSTR path, HANDLE file, DWORD flags);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
BOOL FreeLibrary(HMODULE module);

/// Opens a file. '\' may separate folders, too. A folder is refused (5). On Linux
///   - for reading: GENERIC_READ, OPEN_EXISTING;
///   - for writing: FILE_WRITE_DATA with CREATE_NEW (80 when it exists) or CREATE_ALWAYS, which empties an existing
///     file;
///   - for writing at its end: FILE_APPEND_DATA, OPEN_ALWAYS. The last two set the last error to 183 or 0.
/// Every other combination is refused (50). A second writer is refused (32); readers never are, whatever shareMode
/// says. Started programs do not inherit the handle, whatever the attributes say. FILE_FLAG_WRITE_THROUGH writes the
/// bytes to the disk before WriteFile returns.
HANDLE CreateFileA(LPCSTR fileName, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* attributes, DWORD creation,
                   DWORD flags, HANDLE templateFile);

/// Reads up to size bytes; TRUE with 0 bytes at the end of the file.
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped);

/// Writes all bytes, or fails (112 when the disk is full). Bytes that were written before the failure stay in the file,
/// and bytesWritten counts them.
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped);

/// Returns when all written bytes are on the disk. The file must be open for writing (otherwise 5).
BOOL FlushFileBuffers(HANDLE file);

/// Sets the position of the next byte to read or write, 0 or more from FILE_BEGIN. On Linux only from FILE_BEGIN, and
/// the position cannot be queried (otherwise 50); below 0: 131.
BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method);

/// Ends the file at its position. The file must be open for writing (otherwise 5).
BOOL SetEndOfFile(HANDLE file);

/// Creates an empty file "<folder>\<prefix><hexadecimal number>.tmp" with a new name.
///
/// @param prefix    Up to three characters of it are used.
/// @param unique    Must be 0 on Linux (otherwise 50).
/// @param fileName  Receives the name: MAX_PATH bytes.
/// @return          The number; 0 on failure: 267 if the folder is none, 111 if its name is too long.
///
/// On Linux the file is remembered until it is renamed or removed. CREATE_ALWAYS, renaming and removing apply to
/// exactly this file; they are refused (5) when somebody has put another file or a link under its name.
UINT GetTempFileNameA(LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR fileName);

/// Renames a file and replaces an existing one; never a folder (5), nor a read-only file (5), which on Linux is a file
/// that its owner may not write. On Linux flags must be MOVEFILE_REPLACE_EXISTING, and an open target is replaced as
/// well; whoever has it open keeps the old content. Windows refuses that (5). A symbolic link is replaced itself, not
/// its target.
BOOL MoveFileExA(LPCSTR from, LPCSTR to, DWORD flags);

/// Finds the first entry of a folder whose name matches; the last part of the pattern may contain * and ?. On Linux the
/// folder itself and its parent, "." and "..", come first, then the others in byte order, and nothing is hidden.
///
/// @return  A handle for _findclose; -1 with errno set when nothing matches.
std::intptr_t _findfirst(const char* pattern, _finddata_t* found);  // NOLINT(bugprone-reserved-identifier)
int _findclose(std::intptr_t search);                               // NOLINT(bugprone-reserved-identifier)

/// A file's size and mode. 0, or -1 with errno set.
int _stat64(const char* fileName, struct __stat64* status);  // NOLINT(bugprone-reserved-identifier)

/// Removes a file. 0, or -1 with errno set; EACCES for a folder.
int _unlink(const char* fileName);  // NOLINT(bugprone-reserved-identifier)

/// 0 when the file exists (mode 0), else -1 with errno set; mode 2 asks for writing, 4 for reading.
int _access(const char* fileName, int mode);

// ----------------------------------------------------------------------------------- unique identities

/// A time-based identity, different at every call. RPC_S_OK or RPC_S_UUID_LOCAL_ONLY; the identity is usable in both
/// cases.
RPC_STATUS UuidCreateSequential(UUID* uuid);
/// A random identity. RPC_S_OK.
RPC_STATUS UuidCreate(UUID* uuid);
/// Lower-case text in the 8-4-4-4-12 form, in a block that RpcStringFreeA frees.
RPC_STATUS UuidToStringA(const UUID* uuid, RPC_CSTR* text);
RPC_STATUS RpcStringFreeA(RPC_CSTR* text);

}  // extern "C"
