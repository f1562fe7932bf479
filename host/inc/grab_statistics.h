// What a grab measured, from the images' pixels and their arrival.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "inspection.h"
#include "sequence_check.h"

namespace host {

/// Results of a grab. Times in microseconds; none where nothing was measured.
struct GrabResults {
    std::uint64_t images = 0;  // all: simulated + torn + faked + unverified
    std::uint64_t simulated = 0;
    std::uint64_t torn = 0;
    std::uint64_t faked = 0;
    std::uint64_t unverified = 0;
    std::uint64_t lost = 0;
    std::uint64_t repeated = 0;
    std::uint64_t reordered = 0;
    std::optional<double> fpsMean;  // images per second
    std::optional<double> periodP50Us, periodP99Us, periodMaxUs;
    std::optional<double> latencyP50Us, latencyP99Us;
    std::optional<double> mbPerS;  // 10^6 bytes of pixels per second
};

/// Smallest value that at least that share of all values does not exceed. Reorders them.
/// @param share  0 … 1.   @return none when there are no values.
std::optional<double> percentile(std::vector<double>& values, double share);

/// Collects images as they arrive. The caller sees to it that one thread at a time calls.
class GrabStatistics {
public:
    /// @param startNs  When the grab began. Images that were complete earlier waited in the ring from before: they are
    ///                 counted, but their latency and the gap behind them tell nothing about this grab.
    explicit GrabStatistics(std::int64_t startNs) : _startNs(startNs) {}

    /// @param arrivalNs  When the callback was entered, on the machine's monotonic clock.
    void add(const frames::Inspection& inspection, std::size_t bytes, std::int64_t arrivalNs);

    GrabResults results() const;

    /// Counts and mean rates alone: results() without its ranking of all samples.
    GrabResults counts() const;

    std::uint64_t images() const { return _counts.images; }
    std::uint64_t simulated() const { return _counts.simulated; }

    /// Numbers of the torn frames, the first hundred of them.
    const std::vector<std::uint64_t>& tornFrames() const { return _tornFrames; }
    const SequenceCheck& sequence() const { return _sequence; }

private:
    void addStrip(const frames::Strip& strip, std::int64_t arrivalNs);

    std::int64_t _startNs;
    GrabResults _counts;  // the four kinds and their sum; the rest is made in results()
    SequenceCheck _sequence;
    std::vector<std::uint64_t> _tornFrames;
    std::vector<double> _periodsUs;    // the latest kMaxSamples, oldest overwritten first
    std::vector<double> _latenciesUs;  // likewise
    std::uint64_t _latencyCount = 0;
    std::int64_t _firstArrivalNs = 0;
    std::int64_t _lastArrivalNs = 0;
    std::uint64_t _bytesAfterFirst = 0;
    double _periodMaxUs = 0;
};

}  // namespace host
