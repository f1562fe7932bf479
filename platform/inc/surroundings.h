// What a program's user has set: environment variables and the folder of configuration files.
#pragma once

#include <string>
#include <vector>

struct Surroundings {
    std::vector<std::string> environment;  // NAME=VALUE each
    std::string configFolder;              // ends with a separator; empty: the user has none
};

/// Those of this process.
Surroundings platform_surroundings();

/// The folder for this program's files according to these variables: $XDG_CONFIG_HOME/dorven/, otherwise
/// $HOME/.config/dorven/; on Windows %APPDATA%\dorven\. Relative paths are ignored.
std::string platform_configFolderIn(const std::vector<std::string>& environment);

/// Value of a variable; empty when it is not set.
std::string platform_variableIn(const std::vector<std::string>& environment, const std::string& name);
