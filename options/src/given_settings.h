// The settings in environment and configuration file for a program's options. Not done by the library's envname and
// set_config: there the file wins over the environment, a setting that the command line excludes ends the program, and
// no message names the place of a bad value.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "config_file.h"
#include "surroundings.h"

namespace options {

/// A setting in one source for one option.
struct Setting {
    std::string section;              // only for that command; empty: for all commands that have the option
    std::string key;                  // the option's long name
    std::vector<std::string> values;  // as written there
    std::string source;               // "environment" or "file"
    std::string place;                // for people: "FILE: [grab] timeout", "environment variable DORVEN_HOST_TIMEOUT"
    std::string exactPlace;           // the same with the line: "FILE: line 3: [grab] timeout"
};

struct GivenSettings {
    std::string filePath;  // where the user's file is, or would be; empty: no such place
    std::vector<Setting> settings;
};

/// Collects both sources, the stronger one first.
/// @return  The reason when a source cannot be read or names an unknown option; otherwise empty.
std::string collectSettings(CLI::App& app, const Surroundings& surroundings, GivenSettings& given);

/// The strongest setting for an option of a command; null: none.
const Setting* settingFor(const GivenSettings& given, const CLI::App& app, const CLI::App& command,
                          const CLI::Option& option);

/// Sets an option without a value to a setting's values.
void give(CLI::Option& option, const Setting& setting);

/// Why an option refuses a setting, with the place; empty when it accepts it. Sets the option's variable.
std::string problemOf(CLI::Option& option, const Setting& setting);

}  // namespace options
