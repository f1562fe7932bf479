// Whether objects can be created, and whether those of a simulator fit.
#include <string>

#include "camera_numbers.h"
#include "doctor_checks.h"
#include "image_line.h"
#include "mmemlinefifo.h"
#include "object_look.h"
#include "object_names.h"
#include "platform.h"

namespace host {
namespace {

// A simulator's ring has room at least for such images.
constexpr frames::ImageFormat kUsualFormat{image_road::kWidth.standard, image_road::kHeight.standard,
                                           image_road::kBytesPerPixel.standard};
constexpr std::uint64_t kUsualLines = 8;

bool isTold(const Findings& findings, const std::string& found) {
    for (const Diagnosis& finding : findings) {
        if (finding.found == found) return true;
    }
    return false;
}

std::uint64_t ringBytes(const frames::ImageFormat& format) {
    return MMemLineFifo_MemoryBytes(kUsualLines, image_road::imageLineBytes(format.bytes()));
}

std::string formatText(const frames::ImageFormat& format) {
    return std::to_string(format.width) + "x" + std::to_string(format.height) + " of " +
           std::to_string(format.bytesPerPixel) + (format.bytesPerPixel == 1 ? " byte" : " bytes");
}

}  // namespace

bool examineMaking(Findings& findings) {
    constexpr const char* kCheck = "objects";
    const std::string name = "DorVenDoctor_" + std::to_string(GetCurrentProcessId());
    const HANDLE made = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 1, name.c_str());
    const DWORD error = GetLastError();
    if (made) {
        CloseHandle(made);
        addDetail(findings, kCheck, "one was made and removed");
        return true;
    }
    const ObjectRefusal refusal = platform_explainRefusal(name.c_str(), error, 1);
    if (!isTold(findings, refusal.reason))
        add(findings, kCheck, FindingLevel::problem, "none can be made: " + refusal.reason, refusal.remedy);
    return false;
}

void examineRoom(const ObjectRoom& room, const std::optional<frames::ImageFormat>& expected, Findings& findings) {
    constexpr const char* kCheck = "room";
    const bool isThere = platform_lookAtObject(image_road::kImagesMemory, 0).kind == ObjectSight::Kind::memory;
    if (isThere || room.totalBytes == 0) return;
    const auto& format = expected && expected->bytes() > kUsualFormat.bytes() ? *expected : kUsualFormat;
    const std::uint64_t needed = platform_roomFor(ringBytes(format));
    const std::string found = room.place + " has " + std::to_string(room.freeBytes) + " of " +
                              std::to_string(room.totalBytes) + " bytes free; a simulator's ring of " +
                              std::to_string(kUsualLines) + " images of " + formatText(format) + " takes " +
                              std::to_string(needed);
    if (room.freeBytes >= needed) {
        add(findings, kCheck, FindingLevel::ok, found);
        return;
    }
    const std::string remedy =
        platform_explainRefusal(image_road::kImagesMemory, ERROR_COMMITMENT_LIMIT, needed).remedy;
    add(findings, kCheck, FindingLevel::problem, found, remedy + "; or start dorven-simulator with fewer --lines");
}

}  // namespace host
