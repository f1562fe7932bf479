// Data about an image besides its pixels, and its line in the file next to saved images.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "HostTypes.h"
#include "inspection.h"

namespace host {

/// Name of the sidecar in the folder of saved images.
constexpr const char* kSidecarName = "frames.jsonl";

struct FrameNote {
    std::uint64_t image = 0;                   // position in the grab, from 0
    std::uint32_t counter = 0;                 // as the camera counts
    std::optional<std::uint64_t> frameNumber;  // of the strip; none when the image has no valid one
    std::uint64_t timeStampUs = 0;             // as reported by the camera
    double frameTimeS = 0;                     // as reported by the camera
    std::int64_t arrivalNs = 0;                // when the callback was entered, on the machine's monotonic clock
    frames::ImageKind kind = frames::ImageKind::unverified;
};

/// The note for an image of a grab.
FrameNote noteOf(const NUV::IMAGEMEMORY& record, const frames::Inspection& inspection, std::uint64_t image,
                 std::int64_t arrivalNs);

/// One flat JSON object and a line end, every key with its unit:
/// schema, file, image, counter, frame_number (null without a strip), time_stamp_us, frame_time_us (null when it is no
/// number), arrival_ns, kind, width_px, height_px, bytes_per_pixel.
std::string sidecarLine(const std::string& file, const FrameNote& note, const frames::ImageFormat& format);

}  // namespace host
