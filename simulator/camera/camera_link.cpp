#include "camera_link.h"

#include <utility>

#include "answer_faults.h"
#include "camera_asker.h"

namespace simulator {

using Clock = std::chrono::steady_clock;

CameraLink::CameraLink(const AskingPace& pace, std::shared_ptr<AnswerFaults> faults)
    : _pace(pace), _faults(std::move(faults)), _asker(CameraAsker::open(_faults, _refusal)) {
    if (_refusal == kLinkTaken) _refusal.clear();
    _thread = std::thread([this] { run(); });
}

CameraLink::~CameraLink() {
    {
        const std::lock_guard lock(_mutex);
        _stopped = true;
    }
    _changed.notify_all();
    if (_faults) _faults->cancel();
    _thread.join();
}

bool CameraLink::waitForNews(std::chrono::milliseconds limit) {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, limit, [this] { return _news.kind != CameraNews::Kind::silent; });
}

std::optional<CameraNews> CameraLink::takeNews() {
    const std::uint64_t version = _version.load(std::memory_order_acquire);
    if (version == _taken) return std::nullopt;
    const std::lock_guard lock(_mutex);
    _taken = _version.load(std::memory_order_relaxed);
    return _news;
}

void CameraLink::run() {
    Clock::time_point answeredAt{};
    bool answered = false;
    do {
        CameraNews news = askOnce();
        answered = news.kind == CameraNews::Kind::format || news.kind == CameraNews::Kind::absurd;
        if (answered) answeredAt = Clock::now();
        if (news.kind == CameraNews::Kind::silent && Clock::now() - answeredAt < _pace.silence) continue;
        const std::lock_guard lock(_mutex);
        if (news == _news) continue;
        _news = std::move(news);
        _version.fetch_add(1, std::memory_order_release);
        _changed.notify_all();
    } while (pause(answered ? _pace.answered : _pace.unanswered));
}

CameraNews CameraLink::askOnce() {
    CameraNews news;
    if (!_asker) _asker = CameraAsker::open(_faults, news.problem);
    const auto format = _asker ? _asker->askFormat() : std::nullopt;
    if (_asker) news.problem = _asker->problem();
    if (!news.problem.empty()) {
        news.kind = CameraNews::Kind::unavailable;
    } else if (format) {
        news.kind = canBeMade(*format) ? CameraNews::Kind::format : CameraNews::Kind::absurd;
        news.format = *format;
    }
    return news;
}

/// @return False when the link must end.
bool CameraLink::pause(std::chrono::milliseconds time) {
    std::unique_lock lock(_mutex);
    return !_changed.wait_for(lock, time, [this] { return _stopped; });
}

}  // namespace simulator
