#include "scenario_watch.h"

#include <condition_variable>
#include <mutex>
#include <new>

#include "scenario.h"

namespace simulator {
namespace {

constexpr std::chrono::milliseconds kPause{100};
constexpr int kLooksUntilSettled = 20;

}  // namespace

bool ScenarioLook::isSettled(const FileStamp& stamp) {
    _looksAlike = stamp == _stamp ? _looksAlike + 1 : 0;
    _stamp = stamp;
    if (_looksAlike <= kLooksUntilSettled) return false;
    _looksAlike = kLooksUntilSettled;
    return true;
}

std::optional<std::string> ScenarioLook::look() {
    RegularFile file;
    std::string error;
    std::optional<std::string> text;
    if (file.open(_path, error)) {
        if (isSettled(file.stamp())) return std::nullopt;
        text = readScenario(file, _path, error);
    }
    if (!text || *text == _text) {
        _seen.reset();
        return std::nullopt;
    }
    if (_seen != text) {
        _seen = std::move(text);
        return std::nullopt;
    }
    _text = *text;
    _seen.reset();
    return text;
}

/// What outlives a watch whose check hangs.
struct ScenarioWatch::Shared {
    explicit Shared(Look wantedLook) : look(std::move(wantedLook)) {}

    void run() {
        std::unique_lock lock(mutex);
        while (!changed.wait_for(lock, kPause, [this] { return ending; })) {
            lock.unlock();
            std::optional<std::string> text;
            try {
                text = look();
            } catch (const std::bad_alloc&) {  // the next look may have the memory
            }
            lock.lock();
            if (text) news = std::move(text);
        }
        ended = true;
        changed.notify_all();
    }

    const Look look;
    std::mutex mutex;
    std::condition_variable changed;  // ending or ended
    std::optional<std::string> news;
    bool ending = false;
    bool ended = false;
};

ScenarioWatch::ScenarioWatch(Look look, std::chrono::milliseconds patience)
    : _shared(std::make_shared<Shared>(std::move(look))),
      _patience(patience),
      _thread([shared = _shared] { shared->run(); }) {}

ScenarioWatch::~ScenarioWatch() {
    std::unique_lock lock(_shared->mutex);
    _shared->ending = true;
    _shared->changed.notify_all();
    const bool ended = _shared->changed.wait_for(lock, _patience, [this] { return _shared->ended; });
    lock.unlock();
    if (ended) {
        _thread.join();
    } else {
        _thread.detach();
    }
}

std::optional<std::string> ScenarioWatch::take() {
    const std::lock_guard lock(_shared->mutex);
    return std::exchange(_shared->news, std::nullopt);
}

}  // namespace simulator
