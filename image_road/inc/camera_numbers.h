// The numbers of section "image" of a camera's configuration, and what the camera makes of each.
#pragma once

#include <cstdint>
#include <string>

#include "MIniData.h"

namespace image_road {

inline constexpr char kImageSection[] = "image";

struct CameraNumber {
    const char* key;
    std::int64_t standard;  // without an entry
    // A size has 64 bits, and one whose text is no number is 0. The others have 32 bits, and keep the standard then.
    // kept on purpose: docs/oddities.md, size-without-number
    bool isSize;
};

// clang-format off
inline constexpr CameraNumber kWidth         {"image_size_x",    1280, true };
inline constexpr CameraNumber kHeight        {"image_size_y",    1024, true };
inline constexpr CameraNumber kBytesPerPixel {"bytes_per_pixel", 1,    false};
inline constexpr CameraNumber kPixelFormat   {"pixel_format",    2,    false};
inline constexpr CameraNumber kArrangeType   {"arrange_type",    0,    false};
inline constexpr CameraNumber kTimeStampType {"time_stamp_type", 1,    false};
// clang-format on

/// The number that the camera takes: the one that the entry's value begins with, limited to the bits that it has; text
/// behind it does not matter.
///
/// @param value  Untouched when the camera takes none.
/// @return       false: the camera takes none and keeps what it has.
inline bool readCameraNumber(const MIniData& ini, const CameraNumber& number, std::int64_t& value) {
    std::string text;
    if (!ini.GetStringEntry(kImageSection, number.key, text)) return false;
    if (number.isSize) {
        ini.GetLongLongEntry(kImageSection, number.key, value);  // 0 for a text that is no number
        return true;
    }
    std::int32_t taken = 0;
    if (!ini.GetLongEntry(kImageSection, number.key, taken)) return false;
    value = taken;
    return true;
}

}  // namespace image_road
