// How --help looks: one blank line between groups, descriptions wrapped, and nothing said twice. Which options need or
// exclude each other is what their descriptions, their groups' headings and the messages of wrong usage tell.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace options {

/// Columns of a help's lines at most, where words allow it.
constexpr std::size_t kHelpColumns = 110;

class HelpFormat : public CLI::Formatter {
public:
    /// The library's, with one blank line where it has several.
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    /// Names without the value that a --no-NAME stands for.
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    /// What it is given, and whether it has to be; not what it needs and excludes.
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

/// Breaks a text at blanks, so that no line is longer than that many columns, unless a single word is.
std::string wrapped(const std::string& text, std::size_t columns);

}  // namespace options
