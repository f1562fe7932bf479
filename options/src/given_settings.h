// What environment and configuration file say to a program's options. Not by the library's envname and set_config:
// there the file wins over the environment, a setting that the command line excludes ends the program, and no message
// names the place of a bad value.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "config_file.h"
#include "surroundings.h"

namespace options {

/// What one source says to one option.
struct Setting {
    std::string section;              // only for that command; empty: for all that have the option
    std::string key;                  // the option's long name
    std::vector<std::string> values;  // as they stand there
    std::string source;               // "environment" or "file"
    std::string place;                // for people: "FILE: [grab] timeout", "environment variable DORVEN_HOST_TIMEOUT"
    std::string exactPlace;           // the same with the line: "FILE: line 3: [grab] timeout"
};

struct GivenSettings {
    std::string filePath;  // where the user's file is, or would be; empty: nowhere
    std::vector<Setting> settings;
};

/// Collects both sources, the stronger ones first.
/// @return  The reason when a source cannot be read or names what is no option; else empty.
std::string collectSettings(CLI::App& app, const Surroundings& surroundings, GivenSettings& given);

/// The strongest setting for an option of a command; null: none.
const Setting* settingFor(const GivenSettings& given, const CLI::App& app, const CLI::App& command,
                          const CLI::Option& option);

/// Puts a setting's values into an option that has none.
void give(CLI::Option& option, const Setting& setting);

/// Why an option refuses a setting, with the place; empty when it takes it. Sets the variable behind the option.
std::string problemOf(CLI::Option& option, const Setting& setting);

}  // namespace options
