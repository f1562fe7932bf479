// What a program says when another program takes away shared memory that it has mapped.
#pragma once

/// On Linux shared memory is a file, and a program of the same account can truncate it. The system then ends whoever
/// touches the missing part (SIGBUS). After this call, the process first writes a sentence to standard error, preceded
/// by the program's name, and ends with the exit code. Programs only, never the plugin: a host's signals belong to the
/// host. On Windows mapped memory cannot be taken away, and the call does nothing.
void platform_explainLostMemory(const char* program, int exitCode);
