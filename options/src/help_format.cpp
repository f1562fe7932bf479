#include "help_format.h"

#include <sstream>
#include <utility>

namespace options {
namespace {

constexpr std::size_t kOptionColumn = 30;   // where descriptions begin
constexpr std::size_t kCommandColumn = 14;  // the same for commands
constexpr std::size_t kGap = 2;             // at least, between a name and its description

// "-n, --count", "    --timeout", "OUT"
std::string namesOf(const CLI::Option& option, bool isPositional) {
    if (isPositional) return option.get_name(true, false);
    std::string names;
    for (const std::string& name : option.get_snames()) names += (names.empty() ? "-" : ", -") + name;
    for (const std::string& name : option.get_lnames()) names += (names.empty() ? "    --" : ", --") + name;
    return names;
}

}  // namespace

HelpFormat::HelpFormat(std::size_t columns) : _columns(columns) {
    label("Positionals", "Arguments");
    label("SUBCOMMAND", "COMMAND");
    label("REQUIRED", "(required)");
}

std::string HelpFormat::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
    std::string help = CLI::Formatter::make_help(app, std::move(name), mode);
    for (std::size_t at = help.find("\n\n\n"); at != std::string::npos; at = help.find("\n\n\n", at)) help.erase(at, 1);
    const std::string heading = "\nSubcommands:\n";
    if (const std::size_t at = help.find(heading); at != std::string::npos)
        help.replace(at, heading.size(), "\nCommands:\n");
    return help;
}

std::string HelpFormat::make_description(const CLI::App* app) const {
    return wrapped(app->get_description(), _columns) + '\n';
}

std::string HelpFormat::entry(const std::string& name, const std::string& description, std::size_t column) const {
    const std::string blanks(column, ' ');
    std::string text = "  " + name;
    if (text.size() + kGap > column) {
        text += '\n' + blanks;
    } else {
        text.resize(column, ' ');
    }
    for (const char character : wrapped(description, _columns - column)) {
        text += character;
        if (character == '\n') text += blanks;
    }
    return text + '\n';
}

std::string HelpFormat::make_option(const CLI::Option* option, bool isPositional) const {
    return entry(namesOf(*option, isPositional) + make_option_opts(option), option->get_description(), kOptionColumn);
}

std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
    if (option->get_type_size() == 0) return "";
    std::string text;
    if (!option->get_type_name().empty()) text += " " + option->get_type_name();
    if (option->get_allow_extra_args()) text += " ...";
    if (option->get_required()) text += " " + get_label("REQUIRED");
    return text;
}

std::string HelpFormat::make_subcommand(const CLI::App* command) const {
    return entry(command->get_name(), command->get_description(), kCommandColumn);
}

std::string HelpFormat::make_footer(const CLI::App* app) const {
    std::istringstream lines(app->get_footer());
    std::string footer;
    std::string paragraph;
    const auto endParagraph = [&] {
        if (!paragraph.empty()) footer += wrapped(std::exchange(paragraph, ""), _columns) + '\n';
    };
    for (std::string line; std::getline(lines, line);) {
        const bool stays = line.empty() || line.front() == ' ';
        if (stays) endParagraph();
        if (stays) footer += line + '\n';
        if (!stays) paragraph += line + ' ';
        if (!stays && line.back() == ':') endParagraph();
    }
    endParagraph();
    return footer;
}

std::string wrapped(const std::string& text, std::size_t columns) {
    std::istringstream words(text);
    std::string lines;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > columns) {
            lines += line + '\n';
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return lines + line;
}

}  // namespace options
