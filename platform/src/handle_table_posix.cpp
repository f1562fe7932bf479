#include "handle_table_posix.h"

#include <algorithm>
#include <bit>
#include <mutex>
#include <new>
#include <vector>

#include "last_error_posix.h"
#include "layer_locks_posix.h"

namespace {

// A handle is (generation << 20 | index + 1) << 2: never null, never the invalid value, a multiple of four as on
// Windows, and different each time a slot is used again.
constexpr unsigned kIndexBits = 20;
constexpr unsigned kGenerationBits = 40;
constexpr std::uint64_t kMaxHandles = (1u << kIndexBits) - 1;

struct Slot {
    std::shared_ptr<KernelObject> object;
    std::uint64_t generation = 0;
    DWORD rights = 0;
};

struct Table {
    std::mutex& mutex = LayerLocks_Of(LayerLock::handles);
    std::vector<Slot> slots;
    std::vector<std::size_t> free;
};

// Never destroyed, because destructors of static objects close handles too. The first use needs no memory either.
Table& table() noexcept {
    alignas(Table) static unsigned char storage[sizeof(Table)];
    static auto* const only = new (storage) Table;
    return *only;
}
[[maybe_unused]] const Table& madeAtLoad = table();

HANDLE handleOf(std::size_t index, std::uint64_t generation) {
    return reinterpret_cast<HANDLE>((generation << kIndexBits | (index + 1)) << 2);
}

// The open slot that a handle names, or null. The table is locked.
Slot* slotOf(Table& all, HANDLE handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle) >> 2;
    const std::uint64_t index = (value & kMaxHandles) - 1;  // index 0 wraps and is too large
    if (index >= all.slots.size()) return nullptr;
    Slot& slot = all.slots[index];
    return slot.object && handleOf(index, slot.generation) == handle ? &slot : nullptr;
}

}  // namespace

HANDLE HandleTable_Open(std::shared_ptr<KernelObject> object, DWORD rights) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    if (all.free.empty()) {
        if (all.slots.size() >= kMaxHandles) return platform_failWith<HANDLE>(ERROR_TOO_MANY_OPEN_FILES, nullptr);
        // Reserve for all slots that can be free at once, so that closing needs no memory.
        all.free.reserve(std::max(all.free.capacity(), std::bit_ceil(all.slots.size() + 1)));
        all.slots.emplace_back();
        all.free.push_back(all.slots.size() - 1);
    }
    const std::size_t index = all.free.back();
    all.free.pop_back();
    all.slots[index].object = std::move(object);
    all.slots[index].rights = rights;
    return handleOf(index, all.slots[index].generation);
}

HandleEntry HandleTable_Find(HANDLE handle) {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const Slot* slot = slotOf(all, handle);
    return slot ? HandleEntry{slot->object, slot->rights} : HandleEntry{};
}

bool HandleTable_Close(HANDLE handle) {
    std::shared_ptr<KernelObject> last;  // destroyed after the lock is left: releasing an object may take a while
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    Slot* slot = slotOf(all, handle);
    if (!slot) return false;
    last = std::move(slot->object);
    slot->object = nullptr;
    slot->generation = (slot->generation + 1) & ((1ull << kGenerationBits) - 1);
    all.free.push_back(static_cast<std::size_t>(slot - all.slots.data()));
    return true;
}

extern "C" BOOL CloseHandle(HANDLE handle) {
    if (handle == INVALID_HANDLE_VALUE) return TRUE;  // the pseudo handle of this process: nothing to close
    return HandleTable_Close(handle) ? TRUE : platform_failWith(ERROR_INVALID_HANDLE, FALSE);
}
