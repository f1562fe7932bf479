// The numbers in section "image" of a camera's configuration, and how the camera reads them.
#pragma once

#include <cstdint>
#include <string>

#include "MIniData.h"

namespace image_road {

inline constexpr char kImageSection[] = "image";

struct CameraNumber {
    const char* key;
    std::int64_t standard;  // used when there is no entry
    // A size has 64 bits, and a text that is no number gives 0. The others have 32 bits, and such a text gives the
    // standard.
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

/// The number that the camera reads: the one at the start of the entry's value, limited to its number of bits; text
/// after it is ignored.
///
/// @param value  Untouched when the camera reads none.
/// @return       false: the camera reads none and keeps its present number.
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
