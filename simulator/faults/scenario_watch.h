// Whether a scenario's file has become another one while the simulator runs.
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

/// Looks at a file again and again. One thread.
class ScenarioLook {
public:
    /// @param text  What the file held when it was read.
    ScenarioLook(std::string path, std::string text) : _path(std::move(path)), _text(std::move(text)) {}

    /// One look. Reads the file only as long as its size or time have changed within the last 20 looks: by then a
    /// change, too, that the file system's clock is too coarse to tell has come.
    /// @return  The file's new text, once: when two looks in a row saw the same, so that nothing is taken which is only
    ///          half written yet. A file that is missing for a moment, as while an editor replaces it, is no news; nor
    ///          is one that cannot be read, or that is no regular file.
    std::optional<std::string> look();

private:
    bool isSettled(const FileStamp& stamp);

    std::string _path;
    std::string _text;                 // taken last
    std::optional<std::string> _seen;  // other than that, at the last look
    FileStamp _stamp;                  // at the last look
    int _looksAlike = 0;               // in a row, with that stamp
};

/// Looks every 100 ms on a thread of its own, so that a disk that hangs holds up no image.
class ScenarioWatch {
public:
    /// What the thread does. @return A new text, or none.
    using Look = std::function<std::optional<std::string>()>;

    /// @param patience  How long the end waits for a look that hangs; then the thread is left to itself.
    /// @throws std::system_error when there is no thread to have.
    explicit ScenarioWatch(Look look, std::chrono::milliseconds patience = std::chrono::seconds(1));
    ~ScenarioWatch();
    ScenarioWatch(const ScenarioWatch&) = delete;
    ScenarioWatch& operator=(const ScenarioWatch&) = delete;

    /// The newest text that was found, once; at once.
    std::optional<std::string> take();

private:
    struct Shared;

    std::shared_ptr<Shared> _shared;
    std::chrono::milliseconds _patience;
    std::thread _thread;
};

}  // namespace simulator
