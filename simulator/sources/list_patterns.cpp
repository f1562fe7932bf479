#include "list_patterns.h"

#include <iomanip>

#include <nlohmann/json.hpp>

#include "pattern.h"

namespace simulator {
namespace {

constexpr int kJsonSchema = 1;
constexpr int kNameWidth = 15;
constexpr int kStandardNameWidth = 26;
constexpr int kKindWidth = 11;

void listAsJson(std::ostream& data) {
    using Json = nlohmann::ordered_json;
    Json list = Json::array();
    for (const frames::PatternRow& row : frames::patterns()) {
        Json pattern;
        pattern["name"] = row.name;
        pattern["standard_name"] = row.standardName;
        pattern["kind"] = patternKindName(row.kind);
        pattern["digits"] = row.digits;
        pattern["description"] = row.description;
        list.push_back(std::move(pattern));
    }
    Json object;
    object["schema"] = kJsonSchema;
    object["patterns"] = std::move(list);
    data << object.dump() << std::endl;
}

void line(std::ostream& data, const char* name, const char* standardName, const char* kind, const char* description) {
    data << std::left << std::setw(kNameWidth) << name << std::setw(kStandardNameWidth) << standardName
         << std::setw(kKindWidth) << kind << description << '\n';
}

}  // namespace

void listPatterns(bool json, std::ostream& data) {
    if (json) return listAsJson(data);
    line(data, "NAME", "STANDARD NAME", "KIND", "DESCRIPTION");
    for (const frames::PatternRow& row : frames::patterns())
        line(data, row.name, row.standardName, patternKindName(row.kind), row.description);
    data.flush();
}

}  // namespace simulator
