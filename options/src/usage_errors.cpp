#include "usage_errors.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "closest_name.h"
#include "option_list.h"

namespace options {
namespace {

using Words = std::vector<std::string>;

// The command that a failed parse had reached; the program itself when it had reached none.
const CLI::App& reachedCommand(const CLI::App& app) {
    const CLI::App* reached = &app;
    while (!reached->get_subcommands().empty()) reached = reached->get_subcommands().front();
    return *reached;
}

// "'dorven-host help grab' shows what grab takes"
std::string helpHint(const CLI::App& app, const CLI::App& command) {
    const std::string name = app.get_name();
    if (&command == &app) return "'" + name + " help' shows what there is";
    return "'" + name + " help " + command.get_name() + "' shows what " + command.get_name() + " takes";
}

Words optionNames(const CLI::App& command) {
    Words names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

bool hasOption(const CLI::App& command, const std::string& name) {
    return std::ranges::any_of(command.get_options(),
                               [&](const CLI::Option* option) { return option->check_name(name); });
}

// The commands that have an option.
Words ownersOf(const CLI::App& app, const std::string& option) {
    Words names;
    for (const std::string& name : commandNamesOf(app)) {
        if (name != kConfigCommand && hasOption(*app.get_subcommand(name), option)) names.push_back(name);
    }
    return names;
}

// The library keeps what stands before the command with the program itself, and reads on.
bool comesBeforeItsCommand(const CLI::App& app, const std::string& word) {
    Words own = app.remaining(false);
    std::erase(own, "--");
    return !own.empty() && own.front() == word;
}

std::string unknownOption(const CLI::App& app, const std::string& word) {
    const CLI::App& command = reachedCommand(app);
    const std::string option = word.substr(0, word.find('='));
    const std::string quoted = "'" + option + "'";
    const Words owners = ownersOf(app, option);
    if (comesBeforeItsCommand(app, word) && !owners.empty()) {
        const bool isOwner = std::ranges::find(owners, command.get_name()) != owners.end();
        return quoted + " belongs after its command: " + app.get_name() + " " +
               (isOwner ? command.get_name() : owners.front()) + " " + option;
    }
    const std::string problem = command.get_name() + " has no option " + quoted;
    if (!owners.empty()) return problem + "; " + joinedByAnd(owners) + (owners.size() > 1 ? " have it" : " has it");
    // "-timeout" is taken for a long name with one dash too few.
    const bool isLong = option.size() > 2;
    const std::string longName = option.starts_with("--") ? option : "-" + option;
    const std::string meant = isLong ? didYouMeanFirst(longName, optionNames(command)) : "";
    return meant + problem + (meant.empty() ? "; " + helpHint(app, command) : "");
}

std::string surplusWord(const CLI::App& app, const std::string& word) {
    const CLI::App& command = reachedCommand(app);
    if (&command == &app) return noSuchName("command", word, commandNamesOf(app));
    const Words names = commandNamesOf(app);
    if (std::ranges::find(names, word) != names.end() && command.get_name() != kHelpCommand)
        return "'" + word + "' comes after " + command.get_name() + ": give one command at a time";
    return "'" + word + "' is one word too many; " + helpHint(app, command);
}

bool looksLikeOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-' && std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

std::string unknownWord(const CLI::App& app) {
    const Words words = unknownWords(app);
    return looksLikeOption(words.front()) ? unknownOption(app, words.front()) : surplusWord(app, words.front());
}

// The option that a message of the library begins with; null: none.
const CLI::Option* optionOf(const CLI::App& command, std::string_view message, std::string_view before) {
    if (!message.starts_with(before)) return nullptr;
    message.remove_prefix(before.size());
    const CLI::Option* longest = nullptr;
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        const std::string_view behind = message.substr(std::min(name.size(), message.size()));
        const bool isIt = !name.empty() && message.starts_with(name) &&
                          (behind.empty() || behind.front() == ' ' || behind.front() == ':');
        if (isIt && (!longest || name.size() > longest->get_name().size())) longest = option;
    }
    return longest;
}

std::string withType(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    return option.get_name() + (type.empty() || option.get_positional() ? "" : " " + type);
}

// "--every requires --output": both names.
std::pair<std::string, std::string> bothNames(const std::string& message) {
    return {message.substr(0, message.find(' ')), message.substr(message.rfind(' ') + 1)};
}

}  // namespace

std::string sentenceFor(const CLI::ParseError& error, const CLI::App& app) {
    const CLI::App& command = reachedCommand(app);
    const std::string kind = error.get_name();
    const std::string message = error.what();
    if (!unknownWords(app).empty()) return unknownWord(app);
    if (kind == "RequiresError") return bothNames(message).first + " goes with " + bothNames(message).second + " only";
    if (kind == "ExcludesError")
        return bothNames(message).first + " and " + bothNames(message).second + " do not go together";
    const CLI::Option* const option =
        optionOf(command, message, kind == "ConversionError" ? "Could not convert: " : "");
    if (!option) return kind == "ValidationError" ? message : "cannot be read; " + helpHint(app, command);
    if (kind == "RequiredError")
        return command.get_name() + " needs " + withType(*option) + "; " + helpHint(app, command);
    if (kind == "ArgumentMismatch") return option->get_name() + " needs a value: " + withType(*option);
    return option->get_name() + ": " + reasonOf(error, *option);
}

std::string reasonOf(const CLI::ParseError& error, const CLI::Option& option) {
    const std::string message = error.what();
    if (error.get_name() == "ConversionError") return "'" + option.results().back() + "' is no value for it";
    const std::string name = option.get_name() + ": ";
    return message.starts_with(name) ? message.substr(name.size()) : message;
}

std::string joinedByAnd(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        if (index > 0) text += index + 1 == words.size() ? " and " : ", ";
        text += words[index];
    }
    return text;
}

}  // namespace options
