// Assertions that report and continue: a failed one leaves one entry in the error log; nothing is thrown or stopped.
// The line after an assertion must guard itself; kept on purpose: docs/oddities.md, assertions-go-on
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

    /// The message, valid as long as the exception exists.
    const char* what() const noexcept override;

    /// A copy of the message.
    virtual std::string message() const;

private:
    std::string _message;
};

/// Records a failed assertion in the error log: "Assertion failed: 'CONDITION', file FILE, line LINE: MESSAGE", without
/// ": MESSAGE" when the message is empty. The location of the entry is that of the assertion library.
void MAssert_Failed(const char* condition, const char* file, int line, const char* format, ...) PLATFORM_FORMAT(4, 5);

/// Checks a condition in the source file that kFile names. The text is given separately, not derived from the
/// expression, so that a search of the logs finds it however the expression is written. Yields whether the condition
/// held.
#define M_ASSERT_AT(lineNumber, condition, text, ...) \
    (static_cast<bool>(condition) || (MAssert_Failed(text, kFile, (lineNumber), __VA_ARGS__), false))
#define M_ASSERT(condition, text, ...) M_ASSERT_AT(M_HERE, condition, text, __VA_ARGS__)
