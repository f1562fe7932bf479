#include "object_refusal.h"

namespace {

ObjectRefusal explainRoom(std::uint64_t bytes) {
    const ObjectRoom room = platform_lookAtRoom();
    return {"the memory that the system may promise is used up: of " + std::to_string(room.totalBytes) + " bytes " +
                std::to_string(room.freeBytes) + " are free, " + std::to_string(platform_roomFor(bytes)) +
                " are needed",
            "end other programs, or make the paging file larger", true};
}

}  // namespace

ObjectRoom platform_lookAtRoom() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    ObjectRoom room{"the paging file", 0, 0};
    if (!GlobalMemoryStatusEx(&status)) return room;
    room.freeBytes = status.ullAvailPageFile;
    room.totalBytes = status.ullTotalPageFile;
    return room;
}

std::uint64_t platform_roomFor(std::uint64_t bytes) {
    constexpr std::uint64_t kPageBytes = 4096;
    return (bytes + kPageBytes - 1) / kPageBytes * kPageBytes;
}

ObjectRefusal platform_explainRefusal(const char* name, DWORD error, std::uint64_t bytes) {
    const std::string quoted = std::string("\"") + name + '"';
    switch (error) {
        case ERROR_COMMITMENT_LIMIT:
        case ERROR_DISK_FULL:
            return explainRoom(bytes);
        case ERROR_INVALID_HANDLE:
            return {quoted + " is the name of an object of another kind already", "end the program that made it"};
        case ERROR_ACCESS_DENIED:
            return {quoted + " was made by a program of another user, or with more rights, and may not be opened",
                    "run both programs as the same user, both as administrator or neither"};
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_NO_SYSTEM_RESOURCES:
            return {"the memory of this process or of the machine is used up", "end other programs", bytes != 0};
        default:
            return {"the system refuses to make " + quoted + " (error " + std::to_string(error) + ")",
                    "look for a rule of this machine that forbids it, and restart it if there is none"};
    }
}
