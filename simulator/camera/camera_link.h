// Asks the camera about its images again and again on a separate thread, so that images never wait for an answer.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "image_view.h"

namespace simulator {

class AnswerFaults;
class CameraAsker;

/// What is known about the camera.
struct CameraNews {
    enum class Kind {
        silent,       // it does not answer
        format,       // it reported its format
        absurd,       // it reported a format that no simulator can make
        unavailable,  // it cannot be asked; see problem
    };
    Kind kind = Kind::silent;
    frames::ImageFormat format{};
    std::string problem;

    bool operator==(const CameraNews&) const = default;
};

/// Pauses between questions, and how long a camera that has answered may stay silent before it counts as silent: it is
/// away briefly whenever a host reopens it.
struct AskingPace {
    std::chrono::milliseconds answered{1000};
    std::chrono::milliseconds unanswered{100};
    std::chrono::milliseconds silence{3000};
};

class CameraLink {
public:
    /// Tries to take the link, and begins to ask.
    /// @param faults  Faults of the answers to the camera's side; may be null.
    explicit CameraLink(const AskingPace& pace = {}, std::shared_ptr<AnswerFaults> faults = nullptr);

    /// Ends the thread; a running question takes about 2 seconds at most.
    ~CameraLink();
    CameraLink(const CameraLink&) = delete;
    CameraLink& operator=(const CameraLink&) = delete;

    /// Why the system refused the link at the start, and what to do; empty when it did not, or when another simulator
    /// has it.
    const std::string& refusal() const { return _refusal; }

    /// Waits until anything except silence is known.
    /// @return False when the limit has passed.
    bool waitForNews(std::chrono::milliseconds limit);

    /// What is known now, if it has changed since the last call; the silence at the beginning is not reported. Costs
    /// one load if nothing has changed. One thread.
    std::optional<CameraNews> takeNews();

private:
    void run();
    CameraNews askOnce();
    bool pause(std::chrono::milliseconds time);

    AskingPace _pace;
    std::shared_ptr<AnswerFaults> _faults;
    std::string _refusal;
    std::unique_ptr<CameraAsker> _asker;  // used by the thread; null: none yet, tried again
    std::mutex _mutex;                    // guards the three below
    std::condition_variable _changed;
    CameraNews _news;
    bool _stopped = false;
    std::atomic<std::uint64_t> _version{0};  // counts what becomes known
    std::uint64_t _taken = 0;                // version that takeNews returned; used by its caller
    std::thread _thread;
};

}  // namespace simulator
