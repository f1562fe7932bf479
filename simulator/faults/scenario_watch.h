// Notices when a scenario's file changes while the simulator runs.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "regular_file.h"

namespace simulator {

/// Checks a file again and again. Used by one thread.
class ScenarioLook {
public:
    /// @param text  Content of the file when it was read.
    ScenarioLook(std::string path, std::string text) : _path(std::move(path)), _text(std::move(text)) {}

    /// One check. Reads the file only if its size or time has changed within the last 20 checks: within that time even
    /// a change that the file system's clock is too coarse to show has appeared.
    /// @return  The file's new text, once: when two checks in a row saw the same, so that no half-written text is
    ///          taken. A file that is missing for a moment, for example while an editor replaces it, is not reported;
    ///          neither is a file that cannot be read or is not a regular file.
    std::optional<std::string> look();

private:
    bool isSettled(const FileStamp& stamp);

    std::string _path;
    std::string _text;                 // last text that was returned
    std::optional<std::string> _seen;  // a different text at the last check
    FileStamp _stamp;                  // at the last check
    int _looksAlike = 0;               // checks in a row with that stamp
};

/// Checks every 100 ms on a separate thread, so that a hanging disk delays no image.
class ScenarioWatch {
public:
    /// What the thread does. @return A new text, or none.
    using Look = std::function<std::optional<std::string>()>;

    /// @param patience  How long the destructor waits for a check that hangs; then it abandons the thread.
    /// @throws std::system_error when no thread is available.
    explicit ScenarioWatch(Look look, std::chrono::milliseconds patience = std::chrono::seconds(1));
    ~ScenarioWatch();
    ScenarioWatch(const ScenarioWatch&) = delete;
    ScenarioWatch& operator=(const ScenarioWatch&) = delete;

    /// The newest text found, once; does not wait.
    std::optional<std::string> take();

private:
    struct Shared;

    std::shared_ptr<Shared> _shared;
    std::chrono::milliseconds _patience;
    std::thread _thread;
};

}  // namespace simulator
