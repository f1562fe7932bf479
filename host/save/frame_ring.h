// The latest images of a grab, kept in memory until it is known whether they are needed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "image_view.h"
#include "sidecar.h"

namespace host {

/// What was too slow for the images that were to be saved.
enum class Bottleneck { compressor, disk };

/// A copy of an image, with what is known about it.
struct KeptFrame {
    std::vector<std::uint8_t> bytes;  // empty: it came without pixels
    frames::ImageFormat format;
    FrameNote note;
    std::optional<Bottleneck> dropped{};  // it was counted as dropped because of this
};

/// Keeps those of the latest images that are pushed. Used by one thread.
class FrameRing {
public:
    /// @param reach  For how many positions an image is kept; 0: no image is kept.
    explicit FrameRing(std::size_t reach) : _reach(reach) {}

    /// Adds a frame whose position is greater than the previous one's.
    void push(KeptFrame frame) { _frames.push_back(std::move(frame)); }

    /// Returns the oldest buffer that is out of reach when the image at that position has come; an empty one when there
    /// is none.
    std::vector<std::uint8_t> takeOutOfReach(std::uint64_t latestImage) {
        if (_frames.empty() || latestImage - _frames.front().note.image < _reach) return {};
        std::vector<std::uint8_t> bytes = std::move(_frames.front().bytes);
        _frames.pop_front();
        return bytes;
    }

    /// Returns all frames, the oldest first.
    std::deque<KeptFrame> takeAll() { return std::exchange(_frames, {}); }

private:
    std::size_t _reach;
    std::deque<KeptFrame> _frames;
};

}  // namespace host
