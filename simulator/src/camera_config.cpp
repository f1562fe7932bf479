#include "camera_config.h"

#include <cstdint>
#include <memory>
#include <set>

#include "MIniData.h"
#include "image_size.h"

namespace simulator {
namespace {

const char kImageSection[] = "image";

bool isAbsolute(const std::string& path) {
    return path[0] == '/' || path[0] == '\\' || path.find(':') != std::string::npos;
}

std::string besideFile(const std::string& file, const std::string& relative) {
    const std::size_t separator = file.find_last_of("\\/");
    return (separator == std::string::npos ? "./" : file.substr(0, separator + 1)) + relative;
}

std::unique_ptr<MIniData> openFile(const std::string& path, std::string& error) {
    auto file = std::make_unique<MIniData>(path.c_str());
    if (file->IsOpen() && !file->FileAbsent()) return file;
    error = path + ": could not open camera config file";
    return nullptr;
}

// Follows "camera_config" from file to file; path becomes that of the last one.
std::unique_ptr<MIniData> openRedirected(std::string& path, std::string& error) {
    std::set<std::string> visited;
    for (;;) {
        if (!visited.insert(path).second) {
            error = path + ": could not open camera config file, because it leads back to itself";
            return nullptr;
        }
        auto file = openFile(path, error);
        std::string next;
        if (!file || !file->GetStringEntry("Dorven", "camera_config", next) || next.empty()) return file;
        path = isAbsolute(next) ? next : besideFile(path, next);
    }
}

// An absent entry keeps the value; so does, as in the camera, one that is no number.
bool readValue(const MIniData& file, const std::string& path, const char* entry, std::size_t greatest,
               std::size_t& value, std::string& error) {
    std::int64_t number = 0;
    if (!file.GetLongLongEntry(kImageSection, entry, number)) return true;
    if (number < 1 || number > static_cast<std::int64_t>(greatest)) {
        error = path + ": " + entry + " is " + std::to_string(number) + ", but has to be from 1 to " +
                std::to_string(greatest);
        return false;
    }
    value = static_cast<std::size_t>(number);
    return true;
}

}  // namespace

bool readCameraFormat(const std::string& path, frames::ImageFormat& format, std::string& error) {
    std::string lastPath = path;
    const auto file = openRedirected(lastPath, error);
    frames::ImageFormat read = kDefaultFormat;
    if (!file || !readValue(*file, lastPath, "image_size_x", frames::kMaxSide, read.width, error) ||
        !readValue(*file, lastPath, "image_size_y", frames::kMaxSide, read.height, error) ||
        !readValue(*file, lastPath, "bytes_per_pixel", frames::kMaxBytesPerPixel, read.bytesPerPixel, error))
        return false;
    format = read;
    return true;
}

}  // namespace simulator
