// What is noted of images that come at a rate, and what it amounts to: how late on their grid, how many, at what cost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <time.h>

namespace bench {

struct Pace {
    double lateP50Us = 0.0;  // behind the grid
    double lateP99Us = 0.0;
    double lateMaxUs = 0.0;
    double framesPerSecond = 0.0;
    double missing = 0.0;   // numbers that did not come
    double cpuShare = 0.0;  // of one processor, per cent
};

/// Notes the images of a stretch, from half a second behind the first image on.
class PaceRecord {
public:
    /// @param framesPerSecond  The grid: frame n is due at t0 + n / framesPerSecond. t0 is fitted: the greatest with
    ///                         which no image noted is early. So whatever all images share, such as the time to draw,
    ///                         is no lateness.
    /// @param seconds          Length of the stretch.
    /// @param cpuClock         Of the process that makes the images.
    PaceRecord(double framesPerSecond, double seconds, clockid_t cpuClock);

    /// @param frame  Numbers ascend.   @param timeNs  When it came, on the monotonic clock.
    /// @return       False once the stretch is over.
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
    std::int64_t _beginNs = 0;  // of the stretch; 0: no image yet
    std::int64_t _cpuAtFirstNs = 0;
    std::int64_t _cpuAtLastNs = 0;
    std::vector<Image> _images;
};

}  // namespace bench
