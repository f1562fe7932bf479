#include "TeskImagesConfig.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "RecordField.h"
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

/// The parts of a path that count: none that is empty or ".", and none that a ".." behind it takes back. The text alone
/// decides, byte by byte, so that names in any code page pass.
std::vector<std::string_view> partsOf(const std::string& path) {
    const auto isRoot = [](std::string_view part) { return part.empty() || part.back() == ':'; };
    std::vector<std::string_view> parts;
    for (std::size_t begin = 0, end = 0; begin <= path.size(); begin = end + 1) {
        end = std::min(path.find_first_of("\\/", begin), path.size());
        const std::string_view part = std::string_view(path).substr(begin, end - begin);
        if (part == ".." && !parts.empty() && parts.back() != "..") {
            if (!isRoot(parts.back())) parts.pop_back();  // the root is its own parent
        } else if (begin == 0 ? part != "." : !part.empty() && part != ".") {
            parts.push_back(part);
        }
    }
    return parts;
}

/// One spelling for the names of one file, as far as the text tells. Behind a folder that is a link ".." leads
/// elsewhere, so two files may share it.
std::string plainForm(const std::string& path) {
    std::string plain;
    for (const std::string_view part : partsOf(path)) plain.append(part).append("/");
    return plain;
}

/// The library knows one separator on both systems.
std::string withSlashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

/// Whether two names of one plain form are one file's. Where that cannot be found out, as with a name in a code page
/// that the library does not convert, the text decides: they are.
bool isSameFile(const std::string& path, const std::string& other) {
    if (path == other) return true;
    try {
        std::error_code error;
        return std::filesystem::equivalent(withSlashes(path), withSlashes(other), error) || error;
    } catch (const std::exception&) {
        return true;
    }
}

/// The files that were read, so that names that lead back to one of them do not lead on for ever.
class VisitedFiles {
public:
    /// False when the file was there before.
    bool insert(const std::string& path) {
        std::vector<std::string>& sharing = _byPlainForm[plainForm(path)];
        const auto isThisFile = [&](const std::string& other) { return isSameFile(path, other); };
        if (std::any_of(sharing.begin(), sharing.end(), isThisFile)) return false;
        sharing.push_back(path);
        return true;
    }

private:
    std::map<std::string, std::vector<std::string>> _byPlainForm;
};

/// Sizes take the value of a text that is no number, which is 0, kept on purpose: hosts see the mistake in the record.
void readSize(const MIniData& ini, const char* key, std::uint64_t& size) {
    auto value = static_cast<std::int64_t>(size);
    ini.GetLongLongEntry(kImageSection, key, value);
    storeField(size, static_cast<std::uint64_t>(value));
}

}  // namespace

std::shared_ptr<MIniData> openIniFile(const char* path) {
    M_TRACE(4, "%s  - %s", kFunction, path ? path : "(nullptr)");
    if (!path) return nullptr;
    std::string current = path;
    VisitedFiles visited;
    for (;;) {
        auto ini = std::make_shared<MIniData>(current.c_str());
        if (!ini->IsOpen() || !visited.insert(current)) {
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
    if (ini.GetLongEntry(kImageSection, "bytes_per_pixel", value)) storeField(record.bytesPerPixel, value);
    if (ini.GetLongEntry(kImageSection, "pixel_format", value)) record.pixelFormat = NUV::PIXELFORMAT(value);
    if (ini.GetLongEntry(kImageSection, "arrange_type", value)) record.arrangeType = value;
    if (ini.GetLongEntry(kImageSection, "time_stamp_type", value)) record.timeStampType = value;
}

}  // namespace kest::dorven
