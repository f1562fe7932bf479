// What a program finds set by its user: variables, and the folder of configuration files.
#pragma once

#include <string>
#include <vector>

namespace options {

struct Surroundings {
    std::vector<std::string> environment;  // NAME=VALUE each
    std::string configFolder;              // with a separator at its end; empty: the user has none
};

/// This process's own.
Surroundings surroundingsOfProcess();

/// The folder for this program's files that the environment names: $XDG_CONFIG_HOME/dorven/, else
/// $HOME/.config/dorven/; on Windows %APPDATA%\dorven\. A relative one does not count.
std::string configFolderIn(const std::vector<std::string>& environment);

/// Value of a variable; empty when it is not set.
std::string variableIn(const std::vector<std::string>& environment, const std::string& name);

}  // namespace options
