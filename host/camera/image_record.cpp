#include "image_record.h"

#include <cstddef>

namespace host {
namespace {

constexpr std::size_t kMaxImageBytes = std::size_t{1} << 40;

}  // namespace

std::optional<frames::ImageFormat> formatOf(const NUV::IMAGEMEMORY& record) {
    const auto bytesPerPixel = record.bytesPerPixel > 0 ? static_cast<std::size_t>(record.bytesPerPixel) : 0;
    std::size_t room = kMaxImageBytes;
    for (const std::size_t factor : {record.width, record.height, bytesPerPixel}) {
        if (factor > room) return std::nullopt;
        if (factor > 0) room /= factor;
    }
    return frames::ImageFormat{record.width, record.height, bytesPerPixel};
}

}  // namespace host
