#include "sidecar.h"

#include <nlohmann/json.hpp>

namespace host {
namespace {

constexpr const char* kSchema = "dorven-sidecar/1";

}  // namespace

FrameNote noteOf(const NUV::IMAGEMEMORY& record, const frames::Inspection& inspection, std::uint64_t image,
                 std::int64_t arrivalNs) {
    FrameNote note;
    note.image = image;
    note.counter = record.imageCounter;
    if (inspection.strip) note.frameNumber = inspection.strip->frameNumber;
    note.timeStampUs = record.timeStamp;
    note.frameTimeS = record.frameTime;
    note.arrivalNs = arrivalNs;
    note.kind = inspection.kind;
    return note;
}

std::string sidecarLine(const std::string& file, const FrameNote& note, const frames::ImageFormat& format) {
    nlohmann::ordered_json object;
    object["schema"] = kSchema;
    object["file"] = file;
    object["image"] = note.image;
    object["counter"] = note.counter;
    object["frame_number"] = note.frameNumber ? nlohmann::ordered_json(*note.frameNumber) : nullptr;
    object["time_stamp_us"] = note.timeStampUs;
    object["frame_time_us"] = note.frameTimeS * 1e6;
    object["arrival_ns"] = note.arrivalNs;
    object["kind"] = frames::imageKindName(note.kind);
    object["width_px"] = format.width;
    object["height_px"] = format.height;
    object["bytes_per_pixel"] = format.bytesPerPixel;
    // File names may have any encoding.
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace host
