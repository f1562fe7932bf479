// Assertions that report and go on: a failed one leaves one entry in the error log, nothing is thrown or stopped.
// The line behind an assertion therefore guards itself; kept on purpose: docs/oddities.md, assertions-go-on
#pragma once

#include <exception>
#include <string>

#include "platform.h"
#include "reported_places.h"

/// A failed condition, with its full message.
class MAssertException : public std::exception {
public:
    explicit MAssertException(std::string message);
    ~MAssertException() override;

    /// The message, valid while the exception lives.
    const char* what() const noexcept override;

    /// A copy of the message.
    virtual std::string message() const;

private:
    std::string _message;
};

/// Records a failed assertion in the error log: "Assertion failed: 'CONDITION', file FILE, line LINE: MESSAGE", without
/// ": MESSAGE" when the message is empty. The entry's own location is the assertion facility's.
void MAssert_Failed(const char* condition, const char* file, int line, const char* format, ...) PLATFORM_FORMAT(4, 5);

/// Checks a condition of the source file that kFile names. The text is given, not made from the expression, so that a
/// search of the logs finds it however the expression is written. Yields whether the condition held.
#define M_ASSERT_AT(lineNumber, condition, text, ...) \
    (static_cast<bool>(condition) || (MAssert_Failed(text, kFile, (lineNumber), __VA_ARGS__), false))
#define M_ASSERT(condition, text, ...) M_ASSERT_AT(M_HERE, condition, text, __VA_ARGS__)
