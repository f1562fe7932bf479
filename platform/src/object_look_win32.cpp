#include <algorithm>
#include <cstring>

#include "object_look.h"
#include "platform.h"

namespace {

// Reads the size of its readable pages, and its first bytes.
ObjectSight lookAtMemory(HANDLE mapping, std::size_t contentBytes) {
    ObjectSight sight{ObjectSight::Kind::unreadable, 0, {}};
    const void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    if (!view) return sight;
    MEMORY_BASIC_INFORMATION information{};
    if (VirtualQuery(view, &information, sizeof information) != 0 && information.State == MEM_COMMIT) {
        sight.kind = ObjectSight::Kind::memory;
        sight.bytes = information.RegionSize;
        sight.content.resize(std::min<std::size_t>(contentBytes, information.RegionSize));
        if (!sight.content.empty()) std::memcpy(sight.content.data(), view, sight.content.size());
    }
    UnmapViewOfFile(view);
    return sight;
}

}  // namespace

ObjectSight platform_lookAtObject(const char* name, std::size_t contentBytes) {
    if (const HANDLE mapping = OpenFileMappingA(FILE_MAP_READ, FALSE, name)) {
        const ObjectSight sight = lookAtMemory(mapping, contentBytes);
        CloseHandle(mapping);
        return sight;
    }
    if (GetLastError() == ERROR_FILE_NOT_FOUND) return {};
    if (const HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, name)) {
        CloseHandle(event);
        return {ObjectSight::Kind::event, 0, {}};
    }
    return {ObjectSight::Kind::unreadable, 0, {}};
}

ObjectsElsewhere platform_lookElsewhere(const char* /*eventName*/) { return {}; }

ObjectFolderSight platform_lookAtObjectFolder() { return {}; }
