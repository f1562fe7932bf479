// Standard error in the conditions that a log may meet. For children only: nobody restores it.
#pragma once

#include <string>

/// Turns standard error into a pipe that holds some kilobytes, with its reader in this process.
class StandardErrorPipe {
public:
    StandardErrorPipe();
    ~StandardErrorPipe() { closeReader(); }
    StandardErrorPipe(const StandardErrorPipe&) = delete;
    StandardErrorPipe& operator=(const StandardErrorPipe&) = delete;

    /// Reads its present content without waiting for more.
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

    /// The name that the child opens (standardErrorBecomes).
    const std::string& name() const { return _name; }

    /// Reads its present content without waiting for more.
    std::string read();

private:
    std::string _name;
    void* _reader = nullptr;
};

/// Turns standard error into a PipeForChild, or into an existing file.
void standardErrorBecomes(const std::string& name);

/// A process that was stopped in the middle of a line while it holds the log file's lock.
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
