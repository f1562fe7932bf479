// The layout of --help: one blank line between groups, wrapped descriptions, and no repetition. Which options need or
// exclude each other is said in their descriptions, their groups' headings and the messages for wrong usage.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace options {

/// Greatest width of a help line, if words allow it.
constexpr std::size_t kHelpColumns = 110;

class HelpFormat : public CLI::Formatter {
public:
    /// The library's help, with single blank lines.
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    /// Names without the value that --no-NAME stands for.
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    /// Its argument, and whether it is required; not what it needs and excludes.
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

/// Breaks a text at blanks, so that no line is longer than that many columns, unless a single word is.
std::string wrapped(const std::string& text, std::size_t columns);

}  // namespace options
