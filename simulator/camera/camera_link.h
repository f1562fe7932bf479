// What the camera says about its images, asked again and again on a thread of its own, so that images never wait for an
// answer.
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

/// What is known of the camera.
struct CameraNews {
    enum class Kind {
        silent,       // it does not answer
        format,       // it told its format
        absurd,       // it told a format that no simulator can make
        unavailable,  // it cannot be asked; see problem
    };
    Kind kind = Kind::silent;
    frames::ImageFormat format{};
    std::string problem;

    bool operator==(const CameraNews&) const = default;
};

/// Pauses between questions, and how long a camera that has answered may fail to before it counts as silent: it is
/// away for a moment whenever a host opens it anew.
struct AskingPace {
    std::chrono::milliseconds answered{1000};
    std::chrono::milliseconds unanswered{100};
    std::chrono::milliseconds silence{3000};
};

class CameraLink {
public:
    /// Looks whether the link can be had, and begins to ask.
    /// @param faults  Of the answers to the camera's side; null: none.
    explicit CameraLink(const AskingPace& pace = {}, std::shared_ptr<AnswerFaults> faults = nullptr);

    /// Ends the thread; a question under way takes about 2 seconds at most.
    ~CameraLink();
    CameraLink(const CameraLink&) = delete;
    CameraLink& operator=(const CameraLink&) = delete;

    /// Why the system refused the link when this began, and what to do; empty: it did not, or another simulator has it.
    const std::string& refusal() const { return _refusal; }

    /// Waits until something else than silence is known.
    /// @return False when the limit has passed.
    bool waitForNews(std::chrono::milliseconds limit);

    /// What is known now, when that has changed since the last call; the silence of the beginning is no news. Costs one
    /// load when there is none. One thread.
    std::optional<CameraNews> takeNews();

private:
    void run();
    CameraNews askOnce();
    bool pause(std::chrono::milliseconds time);

    AskingPace _pace;
    std::shared_ptr<AnswerFaults> _faults;
    std::string _refusal;
    std::unique_ptr<CameraAsker> _asker;  // the thread's, as soon as there is one; null: tried again
    std::mutex _mutex;                    // guards the three below
    std::condition_variable _changed;
    CameraNews _news;
    bool _stopped = false;
    std::atomic<std::uint64_t> _version{0};  // counts what becomes known
    std::uint64_t _taken = 0;                // version that takeNews has given; its caller's
    std::thread _thread;
};

}  // namespace simulator
