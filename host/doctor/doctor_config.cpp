#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include "MIniData.h"
#include "camera_numbers.h"
#include "closest_name.h"
#include "config_chain.h"
#include "doctor_checks.h"
#include "image_size.h"

namespace host {
namespace {

using image_road::CameraNumber;
using image_road::ConfigChain;
using image_road::ConfigFile;
using image_road::kImageSection;
using image_road::kRedirectKey;
using image_road::kRedirectSection;

constexpr const char* kCheck = "configuration";

struct KeyRow {
    CameraNumber number;
    std::int64_t least, greatest;
};
constexpr std::int64_t kLeast32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kGreatest32 = std::numeric_limits<std::int32_t>::max();
// The camera accepts any number; sizes and depth are limited to what a simulator can make.
// clang-format off
constexpr KeyRow kKeys[] = {
    {image_road::kWidth,         1,        frames::kMaxSide         },
    {image_road::kHeight,        1,        frames::kMaxSide         },
    {image_road::kBytesPerPixel, 1,        frames::kMaxBytesPerPixel},
    {image_road::kPixelFormat,   kLeast32, kGreatest32              },
    {image_road::kArrangeType,   kLeast32, kGreatest32              },
    {image_road::kTimeStampType, kLeast32, kGreatest32              },
};
// clang-format on

// "FILE: section 'NAME'"
std::string placeOf(const std::string& path, const char* kind, const std::string& name) {
    return std::string(path).append(": ").append(kind).append(" '").append(name).append("'");
}

// Reports names similar to known ones and, in a section of the camera, all unknown names.
void examineNames(const std::string& path, const MIniData& ini, Findings& findings) {
    const std::vector<std::string> sections{kRedirectSection, kImageSection};
    for (const std::string& section : ini.GetSectionNames()) {
        if (section != kRedirectSection && section != kImageSection) {
            if (const std::string suggestion = options::didYouMean(section, sections); !suggestion.empty())
                add(findings, kCheck, FindingLevel::warning,
                    placeOf(path, "section", section) + " is not read" + suggestion,
                    "correct the name of that section: names are case-sensitive");
            continue;
        }
        std::vector<std::string> keys{kRedirectKey};
        if (section == kImageSection) {
            keys.clear();
            for (const KeyRow& row : kKeys) keys.emplace_back(row.number.key);
        }
        for (const std::string& key : ini.GetEntryNames(section.c_str())) {
            const std::string plain = key.substr(0, key.find_last_not_of(" \t") + 1);
            if (std::find(keys.begin(), keys.end(), plain) != keys.end()) continue;
            const std::string suggestion = options::didYouMean(plain, keys);
            if (section != kImageSection && suggestion.empty()) continue;
            std::string text = placeOf(path, "key", plain);
            text.append(" of section '").append(section).append("' is not read").append(suggestion);
            add(findings, kCheck, FindingLevel::warning, text, "correct the name of that key, or remove the key");
        }
    }
}

void examineFile(const ConfigChain& chain, Findings& findings) {
    const std::string& path = chain.path();
    switch (chain.file()) {
        case ConfigFile::absent:
            return add(findings, kCheck, FindingLevel::problem,
                       path + ": there is no such file: the camera takes it for empty",
                       "make the file, or correct its name");
        case ConfigFile::unreadable:
            return add(findings, kCheck, FindingLevel::problem,
                       path + ": cannot be read: " + chain.reason() + ": the camera takes its defaults",
                       "make it an ini file that can be read");
        case ConfigFile::circle:
            return add(findings, kCheck, FindingLevel::problem,
                       path + ": the files lead in a circle: the camera takes its defaults",
                       std::string("remove ") + kRedirectKey + " from one of them");
        case ConfigFile::leadsOn:
        case ConfigFile::camera:
            break;
    }
    add(findings, kCheck, FindingLevel::ok, path);
    examineNames(path, *chain.ini(), findings);
    if (chain.file() == ConfigFile::leadsOn && chain.ini()->SectionExists(kImageSection))
        add(findings, kCheck, FindingLevel::warning,
            path + ": section '" + kImageSection + "' is not read, because " + kRedirectKey + " leads on",
            "move its keys to " + chain.target());
}

// The last file of the chain; path receives its name. Null when the camera cannot read it.
std::shared_ptr<MIniData> followChain(std::string& path, Findings& findings) {
    ConfigChain chain(path);
    while (chain.read() == ConfigFile::leadsOn) {
        examineFile(chain, findings);
        chain.follow();
    }
    examineFile(chain, findings);
    path = chain.path();
    const bool taken = chain.file() == ConfigFile::camera || chain.file() == ConfigFile::absent;
    return taken ? chain.ini() : nullptr;
}

// The finding for an entry: its number as the ini reader reads it, and the text after it.
Diagnosis judge(const KeyRow& row, const std::string& text, const std::string& place, std::int64_t value) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    const std::string name = std::string(row.number.key) + " = " + text.substr(begin) + " (" + place + ")";
    const std::string range = "give a number from " + std::to_string(row.least) + " to " + std::to_string(row.greatest);
    char* behind = nullptr;
    errno = 0;
    const std::int64_t number = std::strtoll(text.c_str(), &behind, 10);
    if (behind == text.c_str())
        return {kCheck, FindingLevel::problem, name + " is no number: the camera takes " + std::to_string(value),
                range};
    if (errno == ERANGE || number < row.least || number > row.greatest)
        return {kCheck, FindingLevel::problem, name + " is out of range", range};
    if (text.find_first_not_of(" \t", static_cast<std::size_t>(behind - text.c_str())) != std::string::npos)
        return {kCheck, FindingLevel::warning, name + ": the camera takes " + std::to_string(value), range};
    return {kCheck, FindingLevel::ok, name, ""};
}

// The number that the camera reads.
std::int64_t examineKey(const KeyRow& row, const MIniData& ini, const std::string& path, Findings& findings) {
    std::int64_t value = row.number.standard;
    readCameraNumber(ini, row.number, value);
    std::string text;
    if (ini.GetStringEntry(kImageSection, row.number.key, text)) {
        findings.push_back(judge(row, text, path, value));
    } else {
        addDetail(findings, kCheck,
                  std::string(row.number.key) + " = " + std::to_string(value) + " (the camera's default)");
    }
    return value;
}

}  // namespace

std::optional<frames::ImageFormat> examineConfiguration(const std::string& path, Findings& findings) {
    std::string last = path;
    if (path.empty()) add(findings, kCheck, FindingLevel::ok, "no file: the camera's defaults");
    const auto ini = path.empty() ? std::make_shared<MIniData>() : followChain(last, findings);
    if (!ini) return std::nullopt;
    std::int64_t values[std::size(kKeys)];
    bool possible = true;
    for (std::size_t index = 0; index < std::size(kKeys); ++index) {
        const KeyRow& row = kKeys[index];
        values[index] = examineKey(row, *ini, last, findings);
        possible = possible && values[index] >= row.least && values[index] <= row.greatest;
    }
    if (!possible) return std::nullopt;
    return frames::ImageFormat{static_cast<std::size_t>(values[0]), static_cast<std::size_t>(values[1]),
                               static_cast<std::size_t>(values[2])};
}

std::string problemOfConfiguration(const std::string& path) {
    Findings findings;
    examineConfiguration(path, findings);
    const auto problem = std::find_if(findings.begin(), findings.end(),
                                      [](const Diagnosis& finding) { return finding.level == FindingLevel::problem; });
    if (problem == findings.end()) return "";
    return problem->advice.empty() ? problem->found : problem->found + "; " + problem->advice;
}

}  // namespace host
