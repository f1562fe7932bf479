#include <cstdint>

#include "platform.h"
#include "readable_extent.h"

namespace {

bool readable(const MEMORY_BASIC_INFORMATION& region) {
    return region.State == MEM_COMMIT && (region.Protect & (PAGE_NOACCESS | PAGE_GUARD | PAGE_EXECUTE)) == 0;
}

}  // namespace

std::size_t host::readableBytes(const void* address) {
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    std::uintptr_t end = place;
    const void* allocation = nullptr;
    MEMORY_BASIC_INFORMATION region{};
    // An allocation, such as a view of a file, falls into regions where its protection changes.
    while (VirtualQuery(reinterpret_cast<const void*>(end), &region, sizeof region) != 0 && readable(region)) {
        if (allocation && allocation != region.AllocationBase) break;
        allocation = region.AllocationBase;
        end = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
    }
    return end - place;
}
