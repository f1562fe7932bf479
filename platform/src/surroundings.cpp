#include "surroundings.h"

#include "process_environment.h"

std::string platform_variableIn(const std::vector<std::string>& environment, const std::string& name) {
    for (const std::string& entry : environment) {
        if (entry.starts_with(name + '=')) return entry.substr(name.size() + 1);
    }
    return "";
}

Surroundings platform_surroundings() {
    const std::vector<std::string> environment = platform_processEnvironment();
    return {environment, platform_configFolderIn(environment)};
}
