#include "given_settings.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "closest_name.h"
#include "option_list.h"
#include "usage_errors.h"

namespace options {
namespace {

bool hasKey(CLI::App& command, const std::string& key) {
    const auto options = settableOptions(command);
    return std::any_of(options.begin(), options.end(), [&](const CLI::Option* option) {
        return std::count(option->get_lnames().begin(), option->get_lnames().end(), key) > 0;
    });
}

bool anyHasKey(CLI::App& app, const std::string& key) {
    const auto commands = commandsOf(app);
    return std::any_of(commands.begin(), commands.end(), [&](CLI::App* command) { return hasKey(*command, key); });
}

// The long name for a variable; empty: it names no option.
std::string keyOfVariable(CLI::App& app, const std::string& name) {
    for (CLI::App* command : commandsOf(app)) {
        for (const CLI::Option* option : settableOptions(*command)) {
            for (const std::string& key : option->get_lnames()) {
                if (variableName(app, key) == name) return key;
            }
        }
    }
    return "";
}

std::vector<std::string> variableNames(CLI::App& app) {
    std::vector<std::string> names;
    for (const std::string& key : keysOf(app)) names.push_back(variableName(app, key));
    return names;
}

std::string collectEnvironment(CLI::App& app, const std::vector<std::string>& environment, GivenSettings& given) {
    for (const std::string& entry : environment) {
        const std::size_t separator = entry.find('=');
        const std::string name = entry.substr(0, separator);
        if (!name.starts_with(variablePrefix(app)) || separator == std::string::npos) continue;
        const std::string value = entry.substr(separator + 1);
        const std::string key = keyOfVariable(app, name);
        const std::string place = "environment variable " + name;
        if (key.empty())
            return place + ": " + didYouMeanFirst(name, variableNames(app)) + app.get_name() + " has no such option";
        if (!value.empty()) given.settings.push_back({"", key, {value}, "environment", place, place});
    }
    return "";
}

CLI::App* commandOfSection(CLI::App& app, const std::string& section) {
    for (CLI::App* command : commandsOf(app)) {
        if (commandName(app, *command) == section) return command;
    }
    return nullptr;
}

// Sections first, because they win over keys above them.
void sectionsFirst(std::vector<FileEntry>& entries) {
    std::stable_partition(entries.begin(), entries.end(),
                          [](const FileEntry& entry) { return !entry.section.empty(); });
}

// "[grab] key timeout"
std::string placeOf(const FileEntry& entry) {
    std::string head = "[" + entry.section + "]";
    if (entry.key.empty()) return head;
    return (entry.section.empty() ? "key " : head + " key ") + entry.key;
}

std::string collectFile(CLI::App& app, GivenSettings& given) {
    std::vector<FileEntry> entries;
    if (std::string problem = readConfigFile(given.filePath, entries); !problem.empty()) return problem;
    sectionsFirst(entries);
    std::vector<std::string> sections;
    for (const CLI::App* command : commandsOf(app)) sections.push_back(commandName(app, *command));
    for (const FileEntry& entry : entries) {
        const std::string place = given.filePath + ": " + placeOf(entry);
        const std::string exact = given.filePath + ": line " + std::to_string(entry.line) + ": " + placeOf(entry);
        CLI::App* const command = commandOfSection(app, entry.section);
        if (!command)
            return exact + ": " + didYouMeanFirst(entry.section, sections) + app.get_name() + " has no such command";
        if (entry.key.empty()) continue;
        const auto keys = entry.section.empty() ? keysOf(app) : keysOf(*command);
        const std::string meant = exact + ": " + didYouMeanFirst(entry.key, keys) + app.get_name() + " ";
        if (!entry.section.empty() && !hasKey(*command, entry.key))
            return meant + entry.section + " has no such option";
        if (!anyHasKey(app, entry.key)) return meant + "has no such option";
        const bool twice = std::any_of(given.settings.begin(), given.settings.end(),
                                       [&](const Setting& setting) { return setting.place == place; });
        if (twice) return exact + ": stands there twice";
        given.settings.push_back({entry.section, entry.key, entry.values, "file", place, exact});
    }
    return "";
}

// Splits a text at blanks into words, which are in quotes if they contain blanks; in quotes, \ escapes a quote.
std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words;
    while (!(text = trimmed(text)).empty()) {
        const bool quoted = std::string_view("'\"`").find(text.front()) != std::string_view::npos;
        const char end = quoted ? text.front() : ' ';
        if (quoted) text.remove_prefix(1);
        std::string word;
        while (!text.empty() && text.front() != end) {
            const bool escaped = quoted && text.size() > 1 && text[0] == '\\' && text[1] == end;
            if (escaped) text.remove_prefix(1);
            word += text.front();
            text.remove_prefix(1);
        }
        text.remove_prefix(std::min<std::size_t>(1, text.size()));
        words.push_back(std::move(word));
    }
    return words;
}

// Splits one text into several values only for options that take several and have no separator of their own.
std::vector<std::string> valuesFor(const CLI::Option& option, const Setting& setting) {
    if (setting.values.size() != 1 || option.get_items_expected_max() <= 1 || option.get_delimiter() != '\0')
        return setting.values;
    return wordsOf(setting.values.front());
}

}  // namespace

std::string collectSettings(CLI::App& app, const Surroundings& surroundings, GivenSettings& given) {
    std::string problem = collectEnvironment(app, surroundings.environment, given);
    if (!problem.empty() || surroundings.configFolder.empty()) return problem;
    given.filePath = surroundings.configFolder + configFileName(app);
    return collectFile(app, given);
}

const Setting* settingFor(const GivenSettings& given, const CLI::App& app, const CLI::App& command,
                          const CLI::Option& option) {
    for (const Setting& setting : given.settings) {
        const bool names = std::count(option.get_lnames().begin(), option.get_lnames().end(), setting.key) > 0;
        if (names && (setting.section.empty() || setting.section == commandName(app, command))) return &setting;
    }
    return nullptr;
}

void give(CLI::Option& option, const Setting& setting) {
    for (const std::string& value : valuesFor(option, setting)) {
        const bool isFlag = option.get_expected_min() == 0;
        option.add_result(isFlag ? option.get_flag_value(setting.key, value) : value);
    }
}

std::string problemOf(CLI::Option& option, const Setting& setting) {
    if (setting.values.size() > 1 && option.get_expected_max() == 1) return setting.exactPlace + ": stands there twice";
    try {
        option.clear();
        give(option, setting);
        option.run_callback();
        return "";
    } catch (const CLI::ParseError& error) {
        return setting.exactPlace + ": " + reasonOf(error, option);  // the place names the option already
    }
}

}  // namespace options
