// One image as the callback received it.
#pragma once

#include <cstdint>

#include "image_view.h"
#include "inspection.h"

namespace host {

struct ReceivedImage {
    frames::Inspection inspection;  // of its pixels
    frames::ImageFormat format;     // of the record
    std::uint32_t counter = 0;      // of the record
    std::uint64_t timeStampUs = 0;  // of the record, microseconds
    std::int64_t arrivalNs = 0;     // when the callback was entered, on the machine's monotonic clock
};

}  // namespace host
