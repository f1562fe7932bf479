#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "absolute_path.h"
#include "doctor_checks.h"
#include "platform.h"

namespace host {
namespace {

constexpr const char* kCheck = "library";
constexpr std::size_t kHeadBytes = 4096;  // contain the program headers
const std::string kElfStart =
    "\x7F"
    "ELF";

struct Machine {
    std::uint16_t code;
    const char* name;
};
// clang-format off
constexpr Machine kElfMachines[] = {
    {0x03, "32-bit x86"   },
    {0x28, "32-bit ARM"   },
    {0x3E, "64-bit x86"   },
    {0xB7, "64-bit ARM"   },
    {0xF3, "64-bit RISC-V"},
};
// clang-format on
constexpr Machine kPeMachines[] = {
    {0x014C, "32-bit x86"},
    {0x8664, "64-bit x86"},
    {0xAA64, "64-bit ARM"},
};

template <std::size_t Count>
std::string nameOf(const Machine (&machines)[Count], std::uint16_t code) {
    for (const Machine& machine : machines) {
        if (machine.code == code) return machine.name;
    }
    return "machine " + std::to_string(code);
}

// A little-endian number of that many bytes; 0 when it is not inside the text.
std::uint64_t numberAt(const std::string& file, std::size_t offset, std::size_t bytes) {
    std::uint64_t value = 0;
    if (offset > file.size() || bytes > file.size() - offset) return 0;
    for (std::size_t byte = bytes; byte > 0; --byte)
        value = value << 8 | static_cast<unsigned char>(file[offset + byte - 1]);
    return value;
}

std::uint16_t twoBytes(const std::string& file, std::size_t offset) {
    return static_cast<std::uint16_t>(numberAt(file, offset, 2));
}

// End of the segments of a 64-bit Linux library in its file. The loader maps them without checking the file's size, and
// the process ends when it touches a missing part. 0 for another file.
std::uint64_t reachOfSegments(const std::string& head) {
    if (head.compare(0, 4, kElfStart) != 0) return 0;
    constexpr std::size_t kEntryBytes = 56;
    const std::uint64_t table = numberAt(head, 32, 8);
    std::uint64_t reach = 0;
    for (std::uint64_t index = 0; index < numberAt(head, 56, 2); ++index) {
        const std::uint64_t entry = table + index * kEntryBytes;
        const std::uint64_t begin = numberAt(head, entry + 8, 8);
        const std::uint64_t bytes = numberAt(head, entry + 32, 8);
        reach = std::max(reach, begin > UINT64_MAX - bytes ? UINT64_MAX : begin + bytes);
    }
    return reach;
}

// "Linux library for 64-bit x86", "Windows library for …"; "" for a file that is neither.
std::string architectureOf(const std::string& head) {
    if (head.size() >= 20 && head.compare(0, 4, kElfStart) == 0)
        return "Linux library for " + nameOf(kElfMachines, twoBytes(head, 18));
    if (head.size() < 64 || head.compare(0, 2, "MZ") != 0) return "";
    const std::size_t header = twoBytes(head, 60);
    if (header + 6 > head.size() || head.compare(header, 4, std::string("PE\0\0", 4)) != 0) return "";
    return "Windows library for " + nameOf(kPeMachines, twoBytes(head, header + 4));
}

std::string wantedArchitecture() {
    const bool windows = std::string_view(DORVEN_PLUGIN_FILE).ends_with(".dll");
    return windows ? "Windows library for 64-bit x86" : "Linux library for 64-bit x86";
}

std::uint64_t sizeOf(const std::string& path) {
    struct __stat64 status {};
    return _stat64(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

// Reads its beginning; false when that fails.
bool readHead(const std::string& path, std::string& head) {
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    head.resize(kHeadBytes);
    DWORD count = 0;
    const BOOL read = ReadFile(file, head.data(), static_cast<DWORD>(head.size()), &count, nullptr);
    CloseHandle(file);
    head.resize(read ? count : 0);
    return read != FALSE;
}

void examineExports(HMODULE module, Findings& findings) {
    std::string missing;
    for (const char* name : {"CreatePlugin", "ReleasePlugin"}) {
        if (!GetProcAddress(module, name)) missing += (missing.empty() ? "" : ", ") + std::string(name);
    }
    if (missing.empty()) {
        addDetail(findings, kCheck, "exports CreatePlugin and ReleasePlugin");
    } else {
        add(findings, kCheck, FindingLevel::problem, "does not export " + missing,
            "it is no camera plugin: name another one with --plugin");
    }
}

// Only in sanitized builds, whose reports name functions of modules that are still loaded.
#ifdef DORVEN_KEEP_PLUGIN_LOADED
constexpr bool kUnloads = false;
#else
constexpr bool kUnloads = true;
#endif

}  // namespace

void examineLibrary(const std::string& path, Findings& findings) {
    const std::string fullPath = platform_absolutePath(path);
    std::string head;
    if (!readHead(fullPath, head)) {
        const bool there = _access(fullPath.c_str(), 0) == 0;
        add(findings, kCheck, FindingLevel::problem,
            fullPath + (there ? ": cannot be read" : ": there is no such file"),
            there ? "give yourself leave to read it" : "put the plugin beside this program or name it with --plugin");
        return;
    }
    add(findings, kCheck, FindingLevel::ok, fullPath);
    const std::string architecture = architectureOf(head);
    if (architecture != wantedArchitecture()) {
        add(findings, kCheck, FindingLevel::problem, architecture.empty() ? "is no library" : "is a " + architecture,
            "this program needs a " + wantedArchitecture());
        return;
    }
    addDetail(findings, kCheck, architecture);
    if (const std::uint64_t needed = reachOfSegments(head); needed > sizeOf(fullPath)) {
        add(findings, kCheck, FindingLevel::problem,
            "is cut short: it has " + std::to_string(sizeOf(fullPath)) + " bytes of at least " + std::to_string(needed),
            "copy or build it again");
        return;
    }
    const HMODULE module = LoadLibraryExA(fullPath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) {
        add(findings, kCheck, FindingLevel::problem, "cannot be loaded (error " + std::to_string(GetLastError()) + ")",
            "the libraries trace, errorlog, errortrace and NUV_Base have to stand beside it");
        return;
    }
    examineExports(module, findings);
    if (kUnloads) FreeLibrary(module);
}

}  // namespace host
