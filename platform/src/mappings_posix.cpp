// Shared memory: mapping objects, and a registry of the views that this process has of them.

#include <cerrno>
#include <map>
#include <mutex>
#include <new>

#include <sys/mman.h>
#include <sys/stat.h>

#include "handle_table_posix.h"
#include "last_error_posix.h"
#include "layer_locks_posix.h"
#include "object_file_posix.h"

namespace {

class MappingObject : public KernelObject {
public:
    explicit MappingObject(std::shared_ptr<ObjectFile> file) : _file(std::move(file)) {}
    const std::shared_ptr<ObjectFile>& file() const { return _file; }

private:
    std::shared_ptr<ObjectFile> _file;
};

// A view keeps the bytes, through its pages, but not the name: the name goes with the last handle.
struct View {
    std::size_t bytes;  // whole pages
    DWORD protection;   // PAGE_…
};

struct Views {
    std::mutex& mutex = LayerLocks_Of(LayerLock::views);
    std::map<std::uintptr_t, View> byAddress;
};

Views& views() noexcept {
    alignas(Views) static unsigned char storage[sizeof(Views)];
    static auto* const only = new (storage) Views;  // never destroyed: static objects' destructors unmap views, too
    return *only;
}
[[maybe_unused]] const Views& madeAtLoad = views();

HANDLE openHandle(std::shared_ptr<ObjectFile> file, bool existed, DWORD rights) {
    if (!file) return nullptr;
    const HANDLE handle = HandleTable_Open(std::make_shared<MappingObject>(std::move(file)), rights);
    if (handle) SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

// A truncated file would cause a fault at the first touch, so its size is checked once more.
bool isWhole(int descriptor, std::uint64_t dataBytes) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && static_cast<std::uint64_t>(status.st_size) >= dataBytes + kPageBytes;
}

constexpr DWORD kCopyOnWrite = 1;  // FILE_MAP_COPY

struct Protection {
    DWORD pages;   // PAGE_…
    int native;    // PROT_…
    DWORD needed;  // right of the handle
};

Protection protectionOf(DWORD access) {
    if ((access & FILE_MAP_WRITE) != 0) return {PAGE_READWRITE, PROT_READ | PROT_WRITE, FILE_MAP_WRITE};
    if ((access & FILE_MAP_READ) != 0) return {PAGE_READONLY, PROT_READ, FILE_MAP_READ};
    return {PAGE_NOACCESS, PROT_NONE, FILE_MAP_READ};
}

}  // namespace

void Views_LetGoInChild() {
    for (const auto& [address, view] : views().byAddress)
        platform_makePrivate(reinterpret_cast<void*>(address), view.bytes);
}

extern "C" HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES*, DWORD protect, DWORD sizeHigh, DWORD sizeLow,
                                     LPCSTR name) try {
    const std::uint64_t size = static_cast<std::uint64_t>(sizeHigh) << 32 | sizeLow;
    if (file != INVALID_HANDLE_VALUE || protect != PAGE_READWRITE)
        return platform_failWith<HANDLE>(ERROR_NOT_SUPPORTED, nullptr);
    if (size == 0) return platform_failWith<HANDLE>(ERROR_INVALID_PARAMETER, nullptr);
    bool existed = false;
    auto object = ObjectFile_Create(name, ObjectKind::mapping, size, false, existed);
    return openHandle(std::move(object), existed, FILE_MAP_ALL_ACCESS);
} catch (const std::bad_alloc&) {
    return platform_failWith<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

extern "C" HANDLE OpenFileMappingA(DWORD access, BOOL, LPCSTR name) try {
    const DWORD rights = access | ((access & GENERIC_READ) != 0 ? FILE_MAP_READ : 0);
    return openHandle(ObjectFile_Open(name, ObjectKind::mapping), false, rights);
} catch (const std::bad_alloc&) {
    return platform_failWith<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

extern "C" LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) try {
    const Protection protection = protectionOf(access);
    const auto object = HandleTable_FindAs<MappingObject>(mapping, protection.needed);
    if (!object) return nullptr;
    if (offsetHigh != 0 || offsetLow != 0 || access == kCopyOnWrite)
        return platform_failWith<LPVOID>(ERROR_NOT_SUPPORTED, nullptr);
    const std::uint64_t whole = wholePages(object->file()->size());
    const std::uint64_t wanted = bytes == 0 ? whole : wholePages(bytes);
    if (wanted == 0 || wanted > whole) return platform_failWith<LPVOID>(ERROR_ACCESS_DENIED, nullptr);
    const int descriptor = object->file()->descriptor();
    if (!isWhole(descriptor, whole)) return platform_failWith<LPVOID>(ERROR_FILE_INVALID, nullptr);
    std::map<std::uintptr_t, View> made;  // the entry first: with the memory mapped nothing can fail any more
    made.emplace(0, View{wanted, protection.pages});
    auto entry = made.extract(made.begin());
    const std::lock_guard lock(views().mutex);  // before it is mapped, so that no fork comes in between
    void* address = mmap(nullptr, wanted, protection.native, MAP_SHARED, descriptor, kPageBytes);
    if (address == MAP_FAILED) return platform_failWith<LPVOID>(platform_errorOf(errno), nullptr);
    entry.key() = reinterpret_cast<std::uintptr_t>(address);
    views().byAddress.insert(std::move(entry));
    return address;
} catch (const std::bad_alloc&) {
    return platform_failWith<LPVOID>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

extern "C" BOOL UnmapViewOfFile(LPCVOID address) {
    const std::lock_guard lock(views().mutex);
    const auto found = views().byAddress.find(reinterpret_cast<std::uintptr_t>(address));
    if (found == views().byAddress.end()) return platform_failWith(ERROR_INVALID_ADDRESS, FALSE);
    const std::size_t bytes = found->second.bytes;
    views().byAddress.erase(found);
    munmap(const_cast<void*>(address), bytes);
    return TRUE;
}

extern "C" SIZE_T VirtualQuery(LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T length) {
    if (length < sizeof *information) return platform_failWith<SIZE_T>(ERROR_INVALID_PARAMETER, 0);
    const auto asked = reinterpret_cast<std::uintptr_t>(address);
    const std::lock_guard lock(views().mutex);
    auto view = views().byAddress.upper_bound(asked);
    if (view == views().byAddress.begin() || asked - (--view)->first >= view->second.bytes)
        return platform_failWith<SIZE_T>(ERROR_INVALID_PARAMETER, 0);
    const std::uintptr_t page = asked - asked % kPageBytes;
    *information = {};
    information->BaseAddress = reinterpret_cast<LPVOID>(page);
    information->AllocationBase = reinterpret_cast<LPVOID>(view->first);
    information->AllocationProtect = view->second.protection;
    information->RegionSize = view->first + view->second.bytes - page;
    information->State = MEM_COMMIT;
    information->Protect = view->second.protection;
    information->Type = MEM_MAPPED;
    return sizeof *information;
}
