#include "EchoGuard.h"

#include <algorithm>
#include <utility>

namespace kest::dorven {
namespace {

/// That many frames of one foreign id in a row are one frame that goes back and forth between handlers that change it
/// each time, and leaves no room for anything else.
constexpr int kRounds = 1000;

}  // namespace

void EchoGuard::asked(std::uint64_t id) {
    _own[_next] = {id, false};
    _next = (_next + 1) % _own.size();
    _hasAsked = true;
}

bool EchoGuard::isEcho(std::uint64_t id, const void* payload, std::size_t size) {
    if (Request* const own = findOwn(id)) return std::exchange(own->cameLate, true);
    // A foreign id. A peer that always asks with the same id, and happens to repeat the last answer, loses at most one
    // request: when the id comes again, it is no echo.
    if (!_hasAsked || id == _droppedId || !isRoundTrip(id, payload, size)) return false;
    _droppedId = id;
    return true;
}

void EchoGuard::answered(std::uint64_t id, const void* payload, std::size_t size) {
    _inARow = id == _answeredId ? std::min(_inARow, kRounds) + 1 : 1;
    _answeredId = id;
    const auto* const bytes = static_cast<const char*>(payload);
    _answer.assign(bytes, bytes + size);
}

EchoGuard::Request* EchoGuard::findOwn(std::uint64_t id) {
    const auto found = std::find_if(_own.begin(), _own.end(), [id](const Request& own) { return own.id == id; });
    return found != _own.end() && id != 0 ? &*found : nullptr;
}

bool EchoGuard::isRoundTrip(std::uint64_t id, const void* payload, std::size_t size) const {
    if (id != _answeredId) return false;
    const auto* const bytes = static_cast<const char*>(payload);
    return _inARow >= kRounds || std::equal(_answer.begin(), _answer.end(), bytes, bytes + size);
}

}  // namespace kest::dorven
