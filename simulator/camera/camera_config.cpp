#include "camera_config.h"

#include <cstdint>
#include <memory>

#include "camera_numbers.h"
#include "config_chain.h"
#include "image_size.h"

namespace simulator {
namespace {

using image_road::CameraNumber;
using image_road::ConfigChain;
using image_road::ConfigFile;

std::string refusalOf(const ConfigChain& chain) {
    const char* const joint = chain.file() == ConfigFile::circle ? ", because " : ": ";
    return chain.path() + ": could not open camera config file" + joint + chain.reason();
}

// " ('wide' is no number)", or nothing if the entry begins with one.
std::string remarkOn(const MIniData& ini, const CameraNumber& number) {
    std::string text;
    std::int64_t value = 0;
    if (!ini.GetStringEntry(image_road::kImageSection, number.key, text) ||
        ini.GetLongLongEntry(image_road::kImageSection, number.key, value))
        return "";
    return " ('" + text + "' is no number)";
}

bool readValue(const ConfigChain& chain, const CameraNumber& number, std::size_t greatest, std::size_t& value,
               std::string& error) {
    std::int64_t taken = number.standard;
    readCameraNumber(*chain.ini(), number, taken);
    value = static_cast<std::size_t>(taken);
    if (taken >= 1 && value <= greatest) return true;
    error = chain.path() + ": " + number.key + " is " + std::to_string(taken) + remarkOn(*chain.ini(), number) +
            ", but has to be from 1 to " + std::to_string(greatest);
    return false;
}

}  // namespace

bool readCameraFormat(const std::string& path, frames::ImageFormat& format, std::string& error) {
    ConfigChain chain(path);
    while (chain.read() == ConfigFile::leadsOn) chain.follow();
    if (chain.file() != ConfigFile::camera) {
        error = refusalOf(chain);
        return false;
    }
    frames::ImageFormat read;
    if (!readValue(chain, image_road::kWidth, frames::kMaxSide, read.width, error) ||
        !readValue(chain, image_road::kHeight, frames::kMaxSide, read.height, error) ||
        !readValue(chain, image_road::kBytesPerPixel, frames::kMaxBytesPerPixel, read.bytesPerPixel, error))
        return false;
    format = read;
    return true;
}

}  // namespace simulator
