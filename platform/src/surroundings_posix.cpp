#include <unistd.h>

#include "process_environment.h"
#include "surroundings.h"

std::vector<std::string> platform_processEnvironment() {
    std::vector<std::string> entries;
    for (char** entry = environ; entry && *entry; ++entry) entries.emplace_back(*entry);
    return entries;
}

std::string platform_configFolderIn(const std::vector<std::string>& environment) {
    if (const std::string folder = platform_variableIn(environment, "XDG_CONFIG_HOME"); folder.starts_with('/'))
        return folder + "/dorven/";
    const std::string home = platform_variableIn(environment, "HOME");
    return home.starts_with('/') ? home + "/.config/dorven/" : "";
}
