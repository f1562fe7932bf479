#include "TeskImagesConfig.h"

#include <cstdint>

#include "RecordField.h"
#include "camera_numbers.h"
#include "config_chain.h"
#include "errtrace.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImages";

const char kFunction[] = "kest::dorven::openIniFile";

using image_road::CameraNumber;
using image_road::ConfigChain;
using image_road::ConfigFile;

/// Calls take with the configured number.
template <typename Take>
void apply(const MIniData& ini, const CameraNumber& number, Take take) {
    if (std::int64_t value = 0; readCameraNumber(ini, number, value)) take(value);
}

}  // namespace

std::shared_ptr<MIniData> openIniFile(const char* path) {
    M_TRACE(4, "%s  - %s", kFunction, path ? path : "(nullptr)");
    if (!path) return nullptr;
    ConfigChain chain(path);
    while (chain.read() == ConfigFile::leadsOn) {
        chain.follow();
        M_TRACE(4, "%s  - %s", kFunction, chain.path().c_str());
    }
    if (chain.file() == ConfigFile::camera || chain.file() == ConfigFile::absent) return chain.ini();
    M_ERRLOG("%s  - could not open camera config file: %s", kFunction, chain.path().c_str());
    return nullptr;
}

void applyImageSection(const MIniData& ini, NUV::IMAGEMEMORY& record) {
    const auto size = [](std::uint64_t& field) {
        return [&field](std::int64_t value) { storeField(field, static_cast<std::uint64_t>(value)); };
    };
    const auto code = [](std::int32_t& field) {
        return [&field](std::int64_t value) { field = static_cast<std::int32_t>(value); };
    };
    apply(ini, image_road::kWidth, size(record.width));
    apply(ini, image_road::kHeight, size(record.height));
    apply(ini, image_road::kBytesPerPixel,
          [&](std::int64_t value) { storeField(record.bytesPerPixel, static_cast<std::int32_t>(value)); });
    apply(ini, image_road::kPixelFormat, [&](std::int64_t value) { record.pixelFormat = NUV::PIXELFORMAT(value); });
    apply(ini, image_road::kArrangeType, code(record.arrangeType));
    apply(ini, image_road::kTimeStampType, code(record.timeStampType));
}

}  // namespace kest::dorven
