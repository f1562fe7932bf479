#include <unistd.h>

#include "process_environment.h"
#include "surroundings.h"

namespace options {

std::vector<std::string> processEnvironment() {
    std::vector<std::string> entries;
    for (char** entry = environ; entry && *entry; ++entry) entries.emplace_back(*entry);
    return entries;
}

std::string configFolderIn(const std::vector<std::string>& environment) {
    if (const std::string folder = variableIn(environment, "XDG_CONFIG_HOME"); folder.starts_with('/'))
        return folder + "/dorven/";
    const std::string home = variableIn(environment, "HOME");
    return home.starts_with('/') ? home + "/.config/dorven/" : "";
}

}  // namespace options
