// What a program says when another one takes shared memory away that it has mapped.
#pragma once

/// On Linux shared memory is a file, and a program of the same account can cut it short; whoever touches what is
/// missing is ended by the system (SIGBUS). From now on this process then writes a sentence to standard error, after
/// the program's name, and ends with the exit code. Programs only, never the plugin: a host's signals are its own. On
/// Windows mapped memory cannot be taken away, and nothing happens.
void platform_explainLostMemory(const char* program, int exitCode);
