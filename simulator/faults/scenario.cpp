#include "scenario.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "closest_name.h"
#include "printable.h"
#include "shallow_json.h"

namespace simulator {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMaxBytes = 1'000'000;
constexpr std::uint64_t kMaxSeed = std::uint64_t{1} << 53;  // what every reader of JSON keeps exactly
const char kSchema[] = "dorven-scenario/1";

// A reference to an entry; null when there is none. Not a copy, because copying nested values is recursive.
const Json& entryOf(const Json& object, const char* name) {
    static const Json none;
    const auto found = object.find(name);
    return found == object.end() ? none : *found;
}

// What is wrong with the first entry of an object that is none of those; empty: nothing.
std::string strayEntry(const Json& object, std::initializer_list<std::string_view> known) {
    for (const auto& [name, value] : object.items()) {
        if (std::ranges::find(known, std::string_view(name)) == known.end())
            return options::noSuchName("entry", name, known);
    }
    return "";
}

// Builds "NAME:VALUE@WHEN" from an object's entries. False, with the reason, when there are other entries.
bool joinFault(const Json& object, std::string& text, std::string& error) {
    error = strayEntry(object, {"fault", "value", "when"});
    if (!error.empty()) return false;
    const Json& name = entryOf(object, "fault");
    const Json& value = entryOf(object, "value");
    const Json& when = entryOf(object, "when");
    const bool sound = name.is_string() && (value.is_null() || value.is_string()) &&
                       (when.is_null() || when.is_string() || when.is_number_unsigned());
    if (!sound) {
        error =
            "a fault is an object with \"fault\" (a text), and \"value\" (a text) and \"when\" (a text or a number) "
            "where it needs them";
        return false;
    }
    text = name.get<std::string>();
    if (value.is_string()) text.append(":").append(value.get<std::string>());
    if (when.is_string()) text.append("@").append(when.get<std::string>());
    if (when.is_number_unsigned()) text.append("@").append(std::to_string(when.get<std::uint64_t>()));
    return true;
}

bool readFault(const Json& json, Scenario& scenario, std::string& error) {
    std::string text;
    if (json.is_object()) {
        if (!joinFault(json, text, error)) return false;
    } else if (json.is_string()) {
        text = json.get<std::string>();
    } else {
        error = "a fault is a text or an object";
        return false;
    }
    auto fault = parseFault(text, error);
    if (fault) scenario.faults.push_back(std::move(*fault));
    return fault.has_value();
}

bool readFaults(const Json& faults, Scenario& scenario, std::string& error) {
    if (!faults.is_array()) {
        error = "\"faults\" is no list";
        return false;
    }
    for (std::size_t index = 0; index < faults.size(); ++index) {
        if (readFault(faults[index], scenario, error)) continue;
        error.insert(0, "faults[" + std::to_string(index) + "]: ");
        return false;
    }
    return true;
}

bool readRoot(const Json& root, Scenario& scenario, std::string& error) {
    if (!root.is_object() || entryOf(root, "schema") != kSchema) {
        error = std::string("is no object with \"schema\": \"") + kSchema + "\"";
        return false;
    }
    error = strayEntry(root, {"schema", "description", "seed", "faults", "$schema"});
    if (!error.empty()) return false;
    const Json& description = entryOf(root, "description");
    const Json& seed = entryOf(root, "seed");
    if (root.contains("description") && !description.is_string()) {
        error = "\"description\" is no text";
    } else if (!seed.is_null() && (!seed.is_number_unsigned() || seed.get<std::uint64_t>() > kMaxSeed)) {
        error = "\"seed\" is no whole number from 0 to 2^53";
    } else if (!root.contains("faults")) {
        error = "\"faults\" is missing";
    } else {
        if (description.is_string()) scenario.description = description.get<std::string>();
        if (!seed.is_null()) scenario.seed = seed.get<std::uint64_t>();
        return readFaults(root["faults"], scenario, error);
    }
    return false;
}

}  // namespace

std::optional<Scenario> parseScenario(const std::string& text, std::string& error) {
    Scenario scenario;
    try {
        const Json root = options::parseShallowJson(text);
        if (readRoot(root, scenario, error)) return scenario;
    } catch (const options::JsonProblem& problem) {
        error = problem.what();
    }
    error = printable(std::move(error));
    return std::nullopt;
}

std::optional<std::string> readScenario(RegularFile& file, const std::string& path, std::string& error) {
    std::string text;
    if (file.stamp().bytes > kMaxBytes) {
        error = path + ": is larger than 1 MB";
    } else if (!file.readAll(text)) {
        error = path + ": cannot be read";
    } else {
        return text;
    }
    return std::nullopt;
}

std::optional<std::string> readScenarioFile(const std::string& path, std::string& error) {
    RegularFile file;
    return file.open(path, error) ? readScenario(file, path, error) : std::nullopt;
}

}  // namespace simulator
