#include "TeskImagesConfig.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

#include "errtrace.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImages";

const char kFunction[] = "kest::dorven::openIniFile";
const char kImageSection[] = "image";

bool isAbsolute(const std::string& path) {
    return path.find(':') != std::string::npos || (!path.empty() && (path[0] == '/' || path[0] == '\\'));
}

/// The folder of a file with its separator, "./" when its name has none.
std::string folderOf(const std::string& path) {
    const std::size_t separator = path.find_last_of("\\/");
    return separator == std::string::npos ? "./" : path.substr(0, separator + 1);
}

/// One spelling for the names of one file, as far as the text tells.
std::string plainForm(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return std::filesystem::path(path).lexically_normal().generic_string();
}

/// Sizes take the value of a text that is no number, which is 0, kept on purpose: hosts see the mistake in the record.
void readSize(const MIniData& ini, const char* key, std::uint64_t& size) {
    auto value = static_cast<std::int64_t>(size);
    ini.GetLongLongEntry(kImageSection, key, value);
    size = static_cast<std::uint64_t>(value);
}

}  // namespace

std::shared_ptr<MIniData> openIniFile(const char* path) {
    M_TRACE(4, "%s  - %s", kFunction, path ? path : "(nullptr)");
    if (!path) return nullptr;
    std::string current = path;
    std::set<std::string> visited;
    for (;;) {
        auto ini = std::make_shared<MIniData>(current.c_str());
        if (!ini->IsOpen() || !visited.insert(plainForm(current)).second) {
            M_ERRLOG("%s  - could not open camera config file: %s", kFunction, current.c_str());
            return nullptr;
        }
        std::string target;
        if (!ini->GetStringEntry("Dorven", "camera_config", target)) return ini;
        current = (isAbsolute(target) ? std::string() : folderOf(current)).append(target);
        M_TRACE(4, "%s  - %s", kFunction, current.c_str());
    }
}

void applyImageSection(const MIniData& ini, NUV::IMAGEMEMORY& record) {
    readSize(ini, "image_size_x", record.width);
    readSize(ini, "image_size_y", record.height);
    std::int32_t value = 0;
    if (ini.GetLongEntry(kImageSection, "bytes_per_pixel", value)) record.bytesPerPixel = value;
    if (ini.GetLongEntry(kImageSection, "pixel_format", value)) record.pixelFormat = NUV::PIXELFORMAT(value);
    if (ini.GetLongEntry(kImageSection, "arrange_type", value)) record.arrangeType = value;
    if (ini.GetLongEntry(kImageSection, "time_stamp_type", value)) record.timeStampType = value;
}

}  // namespace kest::dorven
