#include "value_checks.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "option_list.h"

namespace options {
namespace {

constexpr const char* kFlagWords[] = {"true", "false", "on", "off", "yes", "no", "1", "0"};

std::string problemOfFlag(const std::string& text) {
    const bool known = std::find(std::begin(kFlagWords), std::end(kFlagWords), text) != std::end(kFlagWords);
    return known ? std::string() : "'" + text + "' is neither true nor false";
}

std::string problemOfValue(const std::string& text) { return text.empty() ? "an empty text is no value" : ""; }

}  // namespace

void addValueChecks(CLI::App& app) {
    for (CLI::App* command : commandsOf(app)) {
        for (CLI::Option* option : settableOptions(*command))
            option->check(CLI::Validator(option->get_expected_min() == 0 ? problemOfFlag : problemOfValue, ""));
    }
}

}  // namespace options
