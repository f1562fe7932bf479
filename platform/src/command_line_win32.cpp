#include "command_line_win32.h"

namespace {

// Quotes around, backslashes doubled before a quote.
std::string quoted(const std::string& argument) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char character : argument) {
        if (character == '"') text.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    text.append(backslashes, '\\');
    return text + "\"";
}

}  // namespace

std::string platform_commandLineOf(const std::string& program, const std::vector<std::string>& arguments) {
    std::string commandLine = quoted(program);
    for (const std::string& argument : arguments) commandLine.append(" ").append(quoted(argument));
    return commandLine;
}
