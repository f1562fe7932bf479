// Standard error in the ways in which a log may find it. For children only: nobody puts it back.
#pragma once

#include <string>

/// Standard error becomes a pipe that holds some kilobytes, with its reader in this process.
class StandardErrorPipe {
public:
    StandardErrorPipe();
    ~StandardErrorPipe() { closeReader(); }
    StandardErrorPipe(const StandardErrorPipe&) = delete;
    StandardErrorPipe& operator=(const StandardErrorPipe&) = delete;

    /// Takes what is in it, without waiting for more.
    std::string read();

    void closeReader();

private:
    void* _reader = nullptr;
    bool _open = true;
};

/// A pipe with its reader here, for the standard error of a child.
class PipeForChild {
public:
    PipeForChild();
    ~PipeForChild();
    PipeForChild(const PipeForChild&) = delete;
    PipeForChild& operator=(const PipeForChild&) = delete;

    /// What the child opens (standardErrorBecomes).
    const std::string& name() const { return _name; }

    /// Takes what is in it, without waiting for more.
    std::string read();

private:
    std::string _name;
    void* _reader = nullptr;
};

/// Standard error becomes a PipeForChild, or a file that exists.
void standardErrorBecomes(const std::string& name);

/// A process that was stopped in the middle of a line: it has the log file's lock.
class StoppedWriter {
public:
    explicit StoppedWriter(const std::string& path);
    ~StoppedWriter() { goOn(); }
    StoppedWriter(const StoppedWriter&) = delete;
    StoppedWriter& operator=(const StoppedWriter&) = delete;

    void goOn();

private:
    void* _file = nullptr;
    bool _stopped = true;
};
