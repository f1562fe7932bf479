// The interface for observers of a running grab.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "grab_statistics.h"

namespace host {

/// What a grab delivered since the last report, once a second.
struct SecondNumbers {
    bool noSimulator = false;  // no image has come, and nobody runs who could send one
    double elapsedS = 0;       // since the grab began
    double lengthS = 0;        // of this look: about 1 s, the last one is shorter
    GrabResults totals;        // counts and rates since the grab began, without percentiles
    GrabResults second;        // times, rates and processor load of this look alone; no counts
};

/// One image that arrived.
struct FrameRow {
    std::uint64_t image = 0;  // counts from 0
    frames::ImageKind kind = frames::ImageKind::unverified;
    std::optional<std::uint64_t> number;       // of the strip
    std::optional<std::uint64_t> timeStampNs;  // of the strip
    std::uint32_t counter = 0;                 // of the record
    std::uint64_t recordTimeStampUs = 0;       // of the record
    std::int64_t arrivalNs = 0;
    std::optional<std::int64_t> periodNs, latencyNs;
};

/// Called on the thread that runs the grab, never on the camera's.
class GrabObserver {
public:
    virtual ~GrabObserver() = default;

    virtual void onSecond(const SecondNumbers& numbers) = 0;

    /// Whether onFrames must be called; queried once, before the grab begins.
    virtual bool wantsFrames() const { return false; }
    /// Images since the last call, in the order of their arrival.
    virtual void onFrames(std::span<const FrameRow>) {}

    /// Whether onSecond shows people that no simulator is running.
    virtual bool showsAdvice() const { return false; }

    /// False: nobody hears any more, and the grab is to end.
    virtual bool goesOn() const { return true; }

    /// The grab has ended; no further call follows.
    virtual void onEnd() {}
};

}  // namespace host
