// The measurements of a grab, from the images' pixels and their arrival.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "image_check.h"
#include "received_image.h"
#include "time_histogram.h"

namespace host {

/// Results of a grab, from the first image on that was complete after the grab began. Times in microseconds; none if
/// not measured.
struct GrabResults {
    std::uint64_t images = 0;  // all: simulated + torn + faked + unverified
    std::uint64_t simulated = 0;
    std::uint64_t torn = 0;
    std::uint64_t faked = 0;
    std::uint64_t unverified = 0;
    std::array<std::uint64_t, frames::kUnverifiedReasons> unverifiedBecause{};  // by frames::Unverified
    std::uint64_t lost = 0;
    std::uint64_t repeated = 0;
    std::uint64_t reordered = 0;
    std::uint64_t stale = 0;  // including those from before the grab, which no other number counts
    std::uint64_t format = 0;
    std::uint64_t counter = 0;
    std::uint64_t timeBack = 0;
    std::uint64_t late = 0;
    std::uint64_t stopped = 0;
    std::uint64_t restarts = 0;     // how often the simulator restarted
    std::uint64_t pauses = 0;       // see GrabStatistics
    std::optional<double> fpsMean;  // images per second, without pauses
    std::optional<double> periodP50Us, periodP99Us, periodMaxUs;
    std::optional<double> jitterP99Us;  // distance from periodP50Us within which 99 of 100 periods lie
    std::optional<double> latencyP50Us, latencyP99Us, latencyMaxUs;
    std::optional<double> mbPerS;      // 10^6 bytes of pixels per second, without pauses
    std::optional<double> cpuPercent;  // of one core, by this process
    std::optional<double> durationS;   // from the start to the last report
    std::optional<double> pauseS;      // all pauses together
    std::optional<double> lateFromUs;  // smallest latency that counted as late
    std::optional<FrameRange> sight;   // smallest and greatest frame number since the grab began
    // None when nothing was to be saved.
    std::optional<std::uint64_t> saved, notSaved;
    const char* notSavedReason = nullptr;  // ImageSaver::Outcome::reason
    // Of the first verified image; its strip has no lines before one came.
    frames::ImageFormat verifiedFormat = {};
    frames::StripLayout strip = {};
};

/// What arrived since the samples were last taken.
struct IntervalSamples {
    TimeHistogram periods;
    TimeHistogram latencies;
    std::uint64_t images = 0;
    std::uint64_t bytes = 0;

    void clear();

    /// Percentiles and rates only. @param seconds  Length of the interval.
    GrabResults measures(double seconds) const;
};

/// A time without an image is a pause when it is longer than this and longer than kPausePeriods median periods.
constexpr std::int64_t kPauseNs = 2'000'000'000;
constexpr double kPausePeriods = 3.0;

/// Collects images as they arrive. The caller ensures that one thread at a time calls.
class GrabStatistics {
public:
    /// Images that were complete before the grab began were waiting in the ring: they count as stale and as nothing
    /// else. Pauses are periods too, but not part of the mean rates.
    explicit GrabStatistics(const ImageCheckSettings& settings);

    /// What an image reveals about itself and its arrival.
    struct Told {
        std::optional<std::uint64_t> number;
        std::optional<std::int64_t> periodNs;  // since the previous image arrived; none for the first one
        std::optional<std::int64_t> latencyNs;
        bool fromBefore = false;  // stale and nothing else; images() does not count it
    };
    Told add(const ReceivedImage& image);

    /// Call it when no image comes any more (ImageCheck::stopped).
    void stopped() { _check.stopped(); }

    /// Call it when no image has come until this time: the time since the last one may be a pause.
    void waitedUntil(std::int64_t nowNs) { _waitedUntilNs = nowNs; }

    /// Percentiles are of all images.
    GrabResults results() const;

    /// Counts and mean rates only: results() without evaluating the distributions.
    GrabResults counts() const;

    /// Swaps what arrived since the last call for empty samples; takes a moment.
    void exchangeInterval(IntervalSamples& empty) { std::swap(_interval, empty); }

    std::uint64_t images() const { return _counts.images; }
    const ImageCheck& check() const { return _check; }

private:
    struct Gap {
        std::int64_t ns;
        std::size_t bytes;  // of the image after it
    };
    struct Pauses {
        std::uint64_t between = 0;  // two images
        std::int64_t betweenNs = 0;
        std::uint64_t bytes = 0;
        std::int64_t atEndNs = 0;  // since the last image; 0: that is not a pause
    };

    void countPeriod(const ReceivedImage& image, std::int64_t periodNs);
    void countKind(const frames::Inspection& inspection);
    Pauses pauses() const;

    GrabResults _counts;  // the four kinds and their sum; results() computes the rest
    ImageCheck _check;
    TimeHistogram _periods;
    TimeHistogram _latencies;
    IntervalSamples _interval;
    std::int64_t _firstArrivalNs = 0;
    std::int64_t _lastArrivalNs = 0;
    std::int64_t _waitedUntilNs = 0;
    std::uint64_t _bytesAfterFirst = 0;
    std::vector<Gap> _longGaps;  // above kPauseNs, so at most one in that time
};

}  // namespace host
