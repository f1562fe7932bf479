// How --help looks: as wide as the terminal, options in two columns, one blank line between groups, descriptions
// wrapped, and nothing said twice. Which options need or exclude each other is what their descriptions, their groups'
// headings and the messages of wrong usage tell.
//
//   -n, --count IMAGES          End after that many images; 0: at Ctrl-C
//                               (default: 0)
//       --timeout SECONDS       …
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "text_columns.h"

namespace options {

class HelpFormat : public CLI::Formatter {
public:
    /// @param columns  Of each line at most, where words and examples allow it.
    explicit HelpFormat(std::size_t columns = kUsualColumns);

    /// The library's, with one blank line where it has several.
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_description(const CLI::App* app) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    /// What it is given, and whether it has to be; not what it needs and excludes.
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    /// Paragraphs are wrapped; lines that begin with a blank stay as they are.
    std::string make_footer(const CLI::App* app) const override;

private:
    std::string entry(const std::string& name, const std::string& description, std::size_t column) const;

    std::size_t _columns;
};

/// Breaks a text at blanks, so that no line is longer than that many columns, unless a single word is.
std::string wrapped(const std::string& text, std::size_t columns);

}  // namespace options
