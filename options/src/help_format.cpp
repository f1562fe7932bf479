#include "help_format.h"

#include <sstream>
#include <utility>

namespace options {

std::string HelpFormat::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
    std::string help = CLI::Formatter::make_help(app, std::move(name), mode);
    for (std::size_t at = help.find("\n\n\n"); at != std::string::npos; at = help.find("\n\n\n", at)) help.erase(at, 1);
    return help;
}

std::string HelpFormat::make_option_name(const CLI::Option* option, bool isPositional) const {
    std::string name = CLI::Formatter::make_option_name(option, isPositional);
    for (std::size_t open = name.find('{'); open != std::string::npos; open = name.find('{', open)) {
        const std::size_t close = name.find('}', open);
        if (close == std::string::npos) break;
        name.erase(open, close - open + 1);
    }
    return name;
}

std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
    if (option->get_type_size() == 0) return "";
    std::string text;
    if (!option->get_type_name().empty()) text += " " + option->get_type_name();
    if (option->get_allow_extra_args()) text += " ...";
    if (option->get_required()) text += " " + get_label("REQUIRED");
    return text;
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
    return wrapped(option->get_description(), kHelpColumns - get_column_width());
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
