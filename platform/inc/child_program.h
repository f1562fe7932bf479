// A program that runs beside this one for a while.
#pragma once

#include <string>
#include <vector>

namespace host {

/// A running child without input and output. It is ended, if it still runs, when the object goes.
class ChildProgram {
public:
    ChildProgram() = default;
    ~ChildProgram() { end(); }
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    /// Starts a program; once. @return false, with its name and the reason.
    bool start(const std::string& path, const std::vector<std::string>& arguments, std::string& error);

    bool running();

    /// Processor time that it has used, in seconds; 0 when it does not run.
    double cpuSeconds() const;

    /// Ends it at once and waits until it is gone.
    void end();

private:
    void* _process = nullptr;  // process handle, or process id
};

/// Processor time of this process, in seconds.
double ownCpuSeconds();

/// From now on this process and its children have names of objects of their own, where the system has that: call it
/// before the first named object. @return Whether the system has that.
bool beginOwnObjectNames();

/// Removes what beginOwnObjectNames left behind; nobody uses the names any more.
void endOwnObjectNames();

}  // namespace host
