#include "saved_findings.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "grab_report.h"
#include "shallow_json.h"

namespace host {
namespace {

using Json = nlohmann::json;

constexpr const char* kOtherText =
    "is not what grab --json or grab --json-lines printed; verify --findings-template shows what another host writes";

constexpr std::uintmax_t kMaxBytes = std::uintmax_t{256} << 20;

class ResultError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

const Json& member(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) throw ResultError(std::string("\"") + key + "\" is missing");
    return *found;
}

std::uint64_t number(const Json& object, const char* key) {
    const Json& value = member(object, key);
    if (!value.is_number_unsigned())
        throw ResultError(std::string("\"") + key + "\" is not a number from 0 to 2^64 - 1");
    return value.get<std::uint64_t>();
}

std::optional<double> timeOrNull(const Json& object, const char* key) {
    const Json& value = member(object, key);
    if (value.is_null()) return std::nullopt;
    if (!value.is_number()) throw ResultError(std::string("\"") + key + "\" is not a number of microseconds");
    return value.get<double>();
}

Finding findingOf(const Json& object) {
    if (!object.is_object()) throw ResultError("\"findings\" has something else than objects");
    const Json& name = member(object, "finding");
    const auto kind = name.is_string() ? findingByName(name.get<std::string>()) : std::nullopt;
    if (!kind) throw ResultError("\"findings\" has a finding of an unknown kind");
    Finding finding{*kind, {}, {}};
    finding.frames.first = number(object, "first");
    finding.frames.last = *kind == FindingKind::stopped ? finding.frames.first : number(object, "last");
    if (finding.frames.last < finding.frames.first)
        throw ResultError("a finding's \"last\" is smaller than its \"first\"");
    if (*kind == FindingKind::late || object.contains("latency_us")) {
        finding.latencyUs = timeOrNull(object, "latency_us");
        if (!finding.latencyUs) throw ResultError("a finding's \"latency_us\" is null");
    }
    return finding;
}

// Findings mean the same in all of them. Earlier builds wrote the number alone; 1.0 is the same number.
bool isKnown(const Json& schema) { return schema == kGrabSchema || schema == 1 || schema == 2; }

std::string shown(const Json& value) {
    if (!value.is_string() && !value.is_number()) return "no name";
    return value.dump(-1, ' ', true, Json::error_handler_t::replace).substr(0, 60);
}

GrabEvidence evidenceOf(const Json& object) {
    if (const Json& schema = member(object, "schema"); !isKnown(schema))
        throw ResultError("\"schema\" is " + shown(schema) + "; known are \"" + kGrabSchema + "\", 1 and 2");
    if (const std::string problem = problemOfEvidence(number(object, "findings_omitted"), number(object, "restarts"));
        !problem.empty())
        throw ResultError(problem);
    GrabEvidence evidence;
    const Json& findings = member(object, "findings");
    if (!findings.is_array()) throw ResultError("\"findings\" is not a list");
    for (const Json& item : findings) evidence.findings.push_back(findingOf(item));
    if (!member(object, "first_frame").is_null()) {
        evidence.sight = FrameRange{number(object, "first_frame"), number(object, "last_frame")};
        if (evidence.sight->last < evidence.sight->first)
            throw ResultError("\"last_frame\" is smaller than \"first_frame\"");
    }
    evidence.lateFromUs = timeOrNull(object, "late_from_us");
    evidence.judgesLateness = evidence.lateFromUs.has_value();
    return evidence;
}

// Null when it is not JSON.
Json jsonOrNull(std::string_view text) {
    try {
        return options::parseShallowJson(text);
    } catch (const options::NestedTooDeeply&) {
        throw;
    } catch (const options::JsonProblem&) {
        return nullptr;
    }
}

std::string_view lastLine(std::string_view text) {
    const std::size_t end = text.find_last_not_of(" \t\r\n");
    if (end == std::string_view::npos) return {};
    text = text.substr(0, end + 1);
    const std::size_t begin = text.rfind('\n');
    return begin == std::string_view::npos ? text : text.substr(begin + 1);
}

}  // namespace

std::string problemOfEvidence(std::uint64_t findingsOmitted, std::uint64_t restarts) {
    if (findingsOmitted > 0)
        return "there were more findings than were kept: " + std::to_string(findingsOmitted) +
               " were left out, so that nothing can be matched one to one";
    if (restarts > 0) return "the simulator began anew during the grab; its log tells of one run alone";
    return "";
}

bool readSavedFindings(std::string_view text, GrabEvidence& evidence, std::string& error) {
    try {
        Json object = jsonOrNull(text);
        if (!object.is_object()) object = jsonOrNull(lastLine(text));
        if (!object.is_object()) throw ResultError(kOtherText);
        evidence = evidenceOf(object);
        return true;
    } catch (const ResultError& problem) {
        error = problem.what();
    } catch (const options::NestedTooDeeply& problem) {
        error = problem.what();
    }
    return false;
}

bool readSavedFindingsFile(const std::string& path, GrabEvidence& evidence, std::string& error) {
    // Our programs use UTF-8 in narrow texts; Windows would not read a path of plain char as UTF-8.
    const std::filesystem::path file(reinterpret_cast<const char8_t*>(path.c_str()));
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    std::string chunk(std::size_t{1} << 16, '\0');
    while (stream.read(chunk.data(), static_cast<std::streamsize>(chunk.size())), stream.gcount() > 0) {
        text.append(chunk, 0, static_cast<std::size_t>(stream.gcount()));
        if (text.size() > kMaxBytes) {
            error = path + ": is larger than 256 MiB";
            return false;
        }
    }
    if (!stream.eof()) {
        error = path + ": cannot be read";
        return false;
    }
    if (readSavedFindings(text, evidence, error)) return true;
    error = path + ": " + error;
    return false;
}

}  // namespace host
