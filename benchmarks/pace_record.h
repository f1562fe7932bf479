// Records images that arrive at a rate, and evaluates them: how late on their grid, how many, at what cost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <time.h>

namespace bench {

struct Pace {
    double lateP50Us = 0.0;  // relative to the grid
    double lateP99Us = 0.0;
    double lateMaxUs = 0.0;
    double framesPerSecond = 0.0;
    double missing = 0.0;   // numbers that did not come
    double cpuShare = 0.0;  // of one processor, per cent
};

/// Records the images of an interval, which begins half a second after the first image.
class PaceRecord {
public:
    /// @param framesPerSecond  The grid: frame n is due at t0 + n / framesPerSecond. t0 is fitted: it is the greatest
    ///                         with which no recorded image is early. So what all images share, such as the time to
    ///                         draw, does not count as lateness.
    /// @param seconds          Length of the interval.
    /// @param cpuClock         Clock of the process that makes the images.
    PaceRecord(double framesPerSecond, double seconds, clockid_t cpuClock);

    /// @param frame  Numbers ascend.   @param timeNs  Time of arrival on the monotonic clock.
    /// @return       False once the interval is over.
    bool note(std::uint64_t frame, std::int64_t timeNs);

    Pace pace() const;

private:
    struct Image {
        std::uint64_t frame;
        std::int64_t timeNs;
    };

    double _periodNs;
    std::int64_t _stretchNs;
    clockid_t _cpuClock;
    std::int64_t _beginNs = 0;  // of the interval; 0: no image yet
    std::int64_t _cpuAtFirstNs = 0;
    std::int64_t _cpuAtLastNs = 0;
    std::vector<Image> _images;
};

}  // namespace bench
