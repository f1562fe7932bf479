// Standard output as data: if a program's data did not arrive, it has failed.
#pragma once

#include <ostream>

namespace options {

/// Flushes what a program has written.
///
/// @param exitCode  The program's exit code so far.   @param program  Its name, for the message.
/// @return          exitCode; 1, after a message, when the data could not be written.
inline int afterWriting(std::ostream& data, int exitCode, const char* program, std::ostream& people) {
    if (data.flush()) return exitCode;
    people << program << ": standard output could not be written" << std::endl;
    return 1;
}

}  // namespace options
