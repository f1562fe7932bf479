#include <charconv>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <system_error>
#include <vector>

#include "MIniData.h"
#include "closest_name.h"
#include "doctor_checks.h"
#include "platform.h"

namespace host {
namespace {

constexpr const char* kCheck = "configuration";
constexpr const char* kRedirectSection = "Dorven";
constexpr const char* kRedirectKey = "camera_config";
constexpr const char* kImageSection = "image";

struct KeyRow {
    const char* key;
    std::int64_t standard;  // without an entry
    std::int64_t least, greatest;
    std::int64_t withoutNumber;  // of an entry whose value begins with no number
};
constexpr std::int64_t kLeast32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kGreatest32 = std::numeric_limits<std::int32_t>::max();
// The camera takes any number; sizes and depth are those that a simulator can make.
constexpr KeyRow kKeys[] = {
    {"image_size_x",    1280, 1,        65536,       0},
    {"image_size_y",    1024, 1,        65536,       0},
    {"bytes_per_pixel", 1,    1,        16,          1},
    {"pixel_format",    2,    kLeast32, kGreatest32, 2},
    {"arrange_type",    0,    kLeast32, kGreatest32, 0},
    {"time_stamp_type", 1,    kLeast32, kGreatest32, 1},
};

bool isAbsolute(const std::string& path) {
    return path.find(':') != std::string::npos || (!path.empty() && (path[0] == '/' || path[0] == '\\'));
}

std::string folderOf(const std::string& path) {
    const std::size_t separator = path.find_last_of("\\/");
    return separator == std::string::npos ? "./" : path.substr(0, separator + 1);
}

// One name for one file, links followed as far as the system tells.
std::string plainName(std::string path) {
    for (char& character : path) character = character == '\\' ? '/' : character;
    std::error_code failure;
    const auto plain = std::filesystem::weakly_canonical(
        std::filesystem::path(reinterpret_cast<const char8_t*>(path.c_str())), failure);
    return failure ? path : plain.generic_string();
}

// "FILE: section 'NAME'"
std::string placeOf(const std::string& path, const char* kind, const std::string& name) {
    return std::string(path).append(": ").append(kind).append(" '").append(name).append("'");
}

// Names that nearly are one of those that are read, and in a section of the camera's all that are not.
void examineNames(const std::string& path, const MIniData& ini, Findings& findings) {
    const std::vector<std::string> sections{kRedirectSection, kImageSection};
    for (const std::string& section : ini.GetSectionNames()) {
        if (section != kRedirectSection && section != kImageSection) {
            if (const std::string suggestion = options::didYouMean(section, sections); !suggestion.empty())
                add(findings, kCheck, FindingLevel::warning,
                    placeOf(path, "section", section) + " is not read" + suggestion,
                    "names of sections and keys are case-sensitive");
            continue;
        }
        std::vector<std::string> keys{kRedirectKey};
        if (section == kImageSection) {
            keys.clear();
            for (const KeyRow& row : kKeys) keys.emplace_back(row.key);
        }
        for (const std::string& key : ini.GetEntryNames(section.c_str())) {
            const std::string plain = key.substr(0, key.find_last_not_of(" \t") + 1);
            if (std::find(keys.begin(), keys.end(), plain) != keys.end()) continue;
            const std::string suggestion = options::didYouMean(plain, keys);
            if (section != kImageSection && suggestion.empty()) continue;
            std::string text = placeOf(path, "key", plain);
            text.append(" of section '").append(section).append("' is not read").append(suggestion);
            add(findings, kCheck, FindingLevel::warning, text);
        }
    }
}

// A file of the chain; null, with a finding, when the camera cannot read it.
std::unique_ptr<MIniData> openFile(const std::string& path, Findings& findings) {
    if (_access(path.c_str(), 0) != 0) {
        add(findings, kCheck, FindingLevel::problem, path + ": there is no such file: the camera takes it for empty",
            "make the file, or correct its name");
        return std::make_unique<MIniData>();
    }
    auto ini = std::make_unique<MIniData>(path.c_str());
    if (!ini->IsOpen()) {
        const std::string reason = ini->GetLastErrorText().empty() ? "" : ": " + ini->GetLastErrorText();
        add(findings, kCheck, FindingLevel::problem,
            path + ": cannot be read" + reason + ": the camera takes its defaults",
            "make it an ini file that can be read");
        return nullptr;
    }
    add(findings, kCheck, FindingLevel::ok, path);
    examineNames(path, *ini, findings);
    return ini;
}

// The last file of the chain, whose name path becomes; null when it cannot be read.
std::unique_ptr<MIniData> followChain(std::string& path, Findings& findings) {
    std::vector<std::string> visited;
    for (;;) {
        const std::string plain = plainName(path);
        if (std::find(visited.begin(), visited.end(), plain) != visited.end()) {
            add(findings, kCheck, FindingLevel::problem,
                path + ": the files lead in a circle: the camera takes its defaults",
                std::string("remove ") + kRedirectKey + " from one of them");
            return nullptr;
        }
        visited.push_back(plain);
        auto ini = openFile(path, findings);
        std::string target;
        if (!ini || !ini->GetStringEntry(kRedirectSection, kRedirectKey, target)) return ini;
        if (ini->SectionExists(kImageSection))
            add(findings, kCheck, FindingLevel::warning,
                path + ": section '" + kImageSection + "' is not read, because " + kRedirectKey + " leads on",
                "move its keys to " + target);
        path = (isAbsolute(target) ? std::string() : folderOf(path)).append(target);
    }
}

// The value that the camera takes from a text, as its ini reader does: the number that the text begins with.
std::int64_t examineValue(const KeyRow& row, const std::string& text, const std::string& place, Findings& findings) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    const bool plus = begin < text.size() && text[begin] == '+';
    const char* const first = text.data() + begin + (plus ? 1 : 0);
    const char* const last = text.data() + text.size();
    std::int64_t value = 0;
    const auto [end, failure] = std::from_chars(first, last, value);
    const std::string name = std::string(row.key) + " = " + text.substr(begin) + " (" + place + ")";
    if (failure == std::errc::invalid_argument) {
        add(findings, kCheck, FindingLevel::problem,
            name + " is no number: the camera takes " + std::to_string(row.withoutNumber));
        return row.withoutNumber;
    }
    const std::string range = "give a number from " + std::to_string(row.least) + " to " + std::to_string(row.greatest);
    if (failure != std::errc() || value < row.least || value > row.greatest) {
        add(findings, kCheck, FindingLevel::problem, name + " is out of range", range);
        return failure == std::errc() ? value : 0;
    }
    if (text.find_first_not_of(" \t", static_cast<std::size_t>(end - text.data())) != std::string::npos) {
        add(findings, kCheck, FindingLevel::warning, name + ": the camera takes " + std::to_string(value), range);
    } else {
        add(findings, kCheck, FindingLevel::ok, name);
    }
    return value;
}

std::int64_t examineKey(const KeyRow& row, const MIniData& ini, const std::string& path, Findings& findings) {
    std::string text;
    if (ini.GetStringEntry(kImageSection, row.key, text)) return examineValue(row, text, path, findings);
    add(findings, kCheck, FindingLevel::ok,
        std::string(row.key) + " = " + std::to_string(row.standard) + " (the camera's default)");
    return row.standard;
}

}  // namespace

std::optional<frames::ImageFormat> examineConfiguration(const std::string& path, Findings& findings) {
    std::string last = path;
    if (path.empty()) add(findings, kCheck, FindingLevel::ok, "no file: the camera's defaults");
    const auto ini = path.empty() ? std::make_unique<MIniData>() : followChain(last, findings);
    if (!ini) return std::nullopt;
    std::int64_t values[std::size(kKeys)];
    bool possible = true;
    for (std::size_t index = 0; index < std::size(kKeys); ++index) {
        values[index] = examineKey(kKeys[index], *ini, last, findings);
        possible = possible && values[index] >= kKeys[index].least && values[index] <= kKeys[index].greatest;
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
