// Judges the images of a grab by their pixels, and their records by comparison with these, one by one on arrival.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "findings.h"
#include "received_image.h"
#include "sequence_check.h"

namespace host {

/// An image that was complete longer before its arrival than this is stale.
constexpr std::int64_t kStaleNs = 1'000'000'000;

struct ImageCheckSettings {
    std::int64_t startNs = 0;                // when the grab began
    std::optional<std::int64_t> lateFromNs;  // latency from which an image is late; none: no image is late
    std::size_t capacity = 10'000;           // greatest number of stored findings
};

/// What is found, and how:
///   lost       a number between two that came did not come
///   repeated   a number came again
///   reordered  a number came behind a greater one; it is not lost
///   torn       the strip is valid, the bytes outside it are not those that it was made for; once for a frame that is
///              repeated
///   stale      the image was complete more than 1 s before it arrived, or before the grab began
///   format     width, height or bytes per pixel differ from the first image's, or the strip is missing or damaged
///              although an earlier image had one, unless the camera made the image itself
///   counter    the record's counter minus the strip's number changed (modulo 2^32)
///   timeBack   the strip's time stamp is earlier than that of an image with a smaller number
///   late       latency at or above a limit
///   stopped    no image came any more, or the camera began to make its own
/// Images that were complete before the grab began were waiting in the ring. They are stale and nothing else, except
/// torn, and no sequence begins with them. An image from before the grab that has no strip is recognised by its
/// record's time stamp, once an earlier image has shown that it uses the strips' clock. The latency of repeated,
/// reordered and timeBack images is not judged.
class ImageCheck {
public:
    explicit ImageCheck(const ImageCheckSettings& settings) : _settings(settings), _findings(settings.capacity) {}

    /// What an image reveals about itself.
    struct Told {
        std::optional<std::uint64_t> number;    // none without a strip
        std::optional<std::int64_t> latencyNs;  // none if it says nothing about this grab
        bool fromBefore = false;                // it was complete before the grab began
    };
    Told add(const ReceivedImage& image);

    /// Call it when no image comes any more. Finds nothing when no image with a strip has come.
    void stopped();

    /// Whether an image with a strip has come, even one from before the grab.
    bool sawSimulator() const { return _newest.has_value(); }

    const SequenceCheck& sequence() const { return _sequence; }

    /// All findings, sorted.
    FindingList findings() const;

    /// Number of frames of a kind in findings(); for lost frames see sequence().
    std::uint64_t frames(FindingKind kind) const { return _findings.frames(kind); }

    /// From the smallest to the greatest number since both the grab and the simulator began; none when no image
    /// with a number has come.
    const std::optional<FrameRange>& sight() const { return _sight; }

    /// How often the simulator restarted.
    std::uint64_t restarts() const { return _restarts; }

private:
    void find(FindingKind kind, std::uint64_t number, std::optional<double> latencyUs = {});
    bool recordHasStripsClock(const ReceivedImage& image) const;
    bool isFromBefore(const ReceivedImage& image) const;
    Told addFromBefore(const ReceivedImage& image);
    void checkTorn(std::uint64_t number, frames::ImageKind kind);
    void checkWithoutStrip(const ReceivedImage& image);
    void checkCounter(std::uint64_t number, std::uint32_t counter);
    Told checkStrip(const frames::Strip& strip, const ReceivedImage& image);
    std::optional<std::int64_t> checkTime(std::uint64_t number, std::uint64_t timeStampNs, Follows follows,
                                          std::int64_t arrivalNs);
    bool wentBack(std::uint64_t number, std::uint64_t timeStampNs) const;
    std::uint64_t numberByCounter(std::uint32_t counter) const;

    ImageCheckSettings _settings;
    FindingList _findings;  // all except the lost ones
    SequenceCheck _sequence;
    std::optional<frames::ImageFormat> _format;
    std::optional<FrameRange> _sight;
    std::optional<std::uint64_t> _newest;         // number of the image with a strip that came last or is the greatest
    std::optional<std::uint32_t> _counterAhead;   // the record's counter minus the strip's number
    std::optional<std::uint64_t> _torn;           // number of the latest torn image
    std::optional<bool> _recordsHaveStripsClock;  // as shown by an image from before the grab
    std::uint64_t _latestTimeStampNs = 0;
    struct Stamp {
        std::uint64_t number = 0;
        std::uint64_t timeStampNs = 0;
    };
    std::array<Stamp, 32> _stamps{};  // of the latest images, as a ring; unused: 0
    std::size_t _nextStamp = 0;
    std::uint64_t _restarts = 0;
};

}  // namespace host
