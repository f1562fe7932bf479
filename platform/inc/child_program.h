// A program that runs beside this one for a while.
#pragma once

#include <string>
#include <vector>

/// A running child without input and output. The destructor ends it if it still runs.
class ChildProgram {
public:
    ChildProgram() = default;
    ~ChildProgram() { end(); }
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    /// Starts a program; call it once. @return false, with the program's name and the reason in error.
    bool start(const std::string& path, const std::vector<std::string>& arguments, std::string& error);

    bool running();

    /// Processor time that the child has used, in seconds; 0 when it does not run.
    double cpuSeconds() const;

    /// Ends the child at once and waits until it is gone.
    void end();

private:
    void* _process = nullptr;  // process handle, or process id
};

/// From now on the named objects of this process and its children have names of their own, on systems that support it.
/// Call it before the first named object. @return Whether the system supports it.
bool platform_beginOwnObjectNames();

/// Removes what platform_beginOwnObjectNames created. Nobody may use the names any more.
void platform_endOwnObjectNames();
