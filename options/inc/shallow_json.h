// JSON from files of unknown origin.
#pragma once

#include <stdexcept>
#include <string_view>

#include <nlohmann/json.hpp>

namespace options {

/// Greatest nesting of lists and objects: far more than any file of ours has.
constexpr int kDeepestJson = 10;

class NestedTooDeeply : public std::runtime_error {
public:
    NestedTooDeeply() : std::runtime_error("nested too deeply") {}
};

/// Reads JSON, but none that is nested so deeply that whoever goes through it by recursion runs out of stack.
/// @throws NestedTooDeeply, or nlohmann::json::exception, which tells line and column.
inline nlohmann::json parseShallowJson(std::string_view text) {
    using Json = nlohmann::json;
    return Json::parse(text, [](int depth, Json::parse_event_t, const Json&) {
        if (depth > kDeepestJson) throw NestedTooDeeply();
        return true;
    });
}

}  // namespace options
