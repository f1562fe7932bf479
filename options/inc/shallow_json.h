// JSON from files of unknown origin.
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace options {

/// Greatest nesting of lists and objects: far more than any file of ours has.
constexpr int kDeepestJson = 10;

/// What is wrong with a text, in a sentence that names the place: "line 3, column 9: …".
class JsonProblem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class NestedTooDeeply : public JsonProblem {
public:
    NestedTooDeeply() : JsonProblem("nested too deeply") {}
};

/// @param read  Bytes up to the first one that does not fit, with it, as the library's error has them.
inline std::string jsonProblemAt(std::string_view text, std::size_t read) {
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return "is empty";
    const std::string_view good = text.substr(0, std::min(read > 0 ? read - 1 : 0, text.size()));
    const std::size_t lineBegin = good.rfind('\n') + 1;  // npos + 1 is 0
    const std::string line = "line " + std::to_string(std::ranges::count(good, '\n') + 1);
    if (read > text.size()) return line + ": the text ends too early; a bracket, a brace or a quote is not closed";
    return line + ", column " + std::to_string(good.size() - lineBegin + 1) + ": this is no JSON from '" +
           text[read > 0 ? read - 1 : 0] + "' on; look for a missing or surplus comma, quote or bracket";
}

/// Reads JSON, but none that is nested so deeply that whoever goes through it by recursion runs out of stack.
/// @throws JsonProblem.
inline nlohmann::json parseShallowJson(std::string_view text) {
    using Json = nlohmann::json;
    try {
        return Json::parse(text, [](int depth, Json::parse_event_t, const Json&) {
            if (depth > kDeepestJson) throw NestedTooDeeply();
            return true;
        });
    } catch (const Json::parse_error& error) {
        throw JsonProblem(jsonProblemAt(text, error.byte));
    } catch (const Json::exception&) {  // the only other one
        throw JsonProblem("a number is too large");
    }
}

}  // namespace options
