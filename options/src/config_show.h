// Output of `config --show`: each option's value, and the source that it comes from.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "given_settings.h"

namespace options {

/// Version of the JSON object.
constexpr const char* kConfigSchema = "dorven-config/1";

struct ConfigShow {
    bool json = false;
    std::vector<std::string> keys;  // long names of options; empty: all
    std::size_t columns = 80;       // of the table, where its words allow it
};

/// For each option of each command the value that counts, and its source: "command line", "environment", "file" or
/// "default". A default that is worked out elsewhere, such as by asking the camera, has no value here.
///
/// @param data  Receives a table for people, or one object of JSON; nothing when a value is refused.
/// @return      The reason when an option refuses its value; else empty.
std::string showConfig(CLI::App& app, const GivenSettings& given, const ConfigShow& how, std::ostream& data);

/// What the help of `config` says about the sources, with examples.
std::string configHelp(const CLI::App& app);

}  // namespace options
