#include "massert.h"

#include <cstdarg>
#include <new>
#include <utility>

#include "errtrace.h"
#include "format_string.h"

namespace {

const char kFile[] = "mutil/src/massert";

constexpr int kReportLine = 61;  // kept on purpose: docs/oddities.md, entry-numbers

std::string failureText(const char* condition, const char* file, int line, const char* format, std::va_list arguments) {
    std::string message;
    formatString(message, format, arguments);
    std::string text = "Assertion failed: '";
    text.append(condition).append("', file ").append(file).append(", line ").append(std::to_string(line));
    if (!message.empty()) text.append(": ").append(message);
    return text;
}

}  // namespace

MAssertException::MAssertException(std::string message) : _message(std::move(message)) {}

MAssertException::~MAssertException() = default;

const char* MAssertException::what() const noexcept { return _message.c_str(); }

std::string MAssertException::message() const { return _message; }

void MAssert_Failed(const char* condition, const char* file, int line, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        const MAssertException failure(failureText(condition, file, line, format, arguments));
        _MErrLog_Location(0, kFile, kReportLine);
        _MErrLog_Add("%s", failure.what());
    } catch (const std::bad_alloc&) {  // nothing is thrown into the code after an assertion, not even this
        _MErrLog_Location(0, kFile, kReportLine);
        _MErrLog_Add("Assertion failed: '%s', file %s, line %d", condition, file, line);
    }
    va_end(arguments);
}
