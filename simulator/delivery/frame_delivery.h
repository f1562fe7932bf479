// Makes images one by one in the ring's slots and publishes them, with the requested faults.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "delivery_options.h"
#include "fault_log.h"
#include "fault_plan.h"
#include "frame_rate.h"
#include "image_ring.h"
#include "image_source.h"
#include "precise_timer.h"

namespace simulator {

/// Counts of what happened to the frame numbers.
struct SimulatorTotals {
    std::uint64_t written = 0;
    std::uint64_t refused = 0;      // by the full ring
    std::uint64_t skipped = 0;      // too late: more than half a ring of later ones was already due
    std::uint64_t unread = 0;       // waited in a ring that was recreated
    std::uint64_t faults = 0;       // injected on purpose; frames dropped by them are not counted above
    std::uint64_t ringDamaged = 0;  // how often another process had overwritten the ring's header
};

/// Used by one thread.
class FrameDelivery {
public:
    /// @param log     May be null.
    /// @param totals  Are incremented. All arguments but the rate must outlive the delivery.
    FrameDelivery(const DeliveryOptions& options, const FrameRate& rate, ImageRing& ring, PreciseTimer& timer,
                  FaultLog* log, SimulatorTotals& totals);

    /// From now on frames may, or may not, be torn; if they may, each one is kept for its successor.
    void setTearing(bool tearing) { _tearing = tearing; }

    /// If there is room, draws a frame into the slot in which it will be published. The work left for deliver then does
    /// not depend on the content of the frame.
    void drawAhead(ImageSource& source, std::uint64_t frame);

    /// Draws a frame into the ring, unless that was done ahead, and publishes it; or counts it as refused.
    ///
    /// @return  False when a stop was requested while the frame waited for its delay: it is nowhere then.
    /// @param faults      Those of images that strike at the frame (FaultRow::ofImage). Where they exclude each other,
    ///                    drop wins, then reorder, which leaves out delay, jitter and repeat.
    /// @param completeNs  When the image counts as complete; none: when it is.
    bool deliver(ImageSource& source, std::uint64_t frame, const std::vector<Strike>& faults = {},
                 std::optional<std::int64_t> completeNs = std::nullopt);

    /// Time stamp of a frame that is delivered next and counts as complete at a time: that one, or the last time stamp
    /// where it is later. A frame that was late may be complete only after its successors were due.
    std::int64_t stampOf(std::int64_t completeNs) const;

    /// Publishes a frame that waits for its successor, which will not come.
    void deliverHeld();

    /// Numbers of the frames that wait unread in the ring.
    std::vector<std::uint64_t> unread() const;

    /// The ring was recreated, empty; its images may have another size.
    void ringLaid();

    /// Counts and logs a fault.
    void tellFault(FaultKind kind, std::uint64_t frame, const std::vector<Expectation>& expectations);

    /// Logs frames that did not arrive for a reason other than a fault (FaultLog::note).
    void tellNote(const char* note, const FrameRange& frames);

private:
    /// Pixels that are drawn, but not yet stamped or published.
    struct Drawn {
        const std::uint8_t* pixels = nullptr;
        std::uint64_t frame = 0;
        std::uint32_t crc = 0;
    };
    /// An image that is made, but not yet published.
    struct Made {
        struct Finding {
            FaultKind kind;
            std::vector<Expectation> expectations;
        };
        std::uint64_t frame = 0;
        std::int64_t completeNs = 0;     // the real time
        std::int64_t stampNs = 0;        // the time in the image
        std::uint64_t counterShift = 0;  // image counter minus frame number
        std::vector<Finding> findings;   // logged once it is published
    };
    struct Held {
        Made made;
        std::vector<std::uint8_t> pixels;
    };
    using Strikes = std::vector<Strike>;

    std::uint32_t draw(ImageSource& source, std::uint8_t* pixels, std::optional<std::uint64_t>& drawn,
                       std::uint64_t frame);
    Made make(ImageSource& source, std::uint8_t* pixels, std::optional<std::uint64_t>& drawn, std::uint64_t frame,
              const Strikes& faults);
    bool tear(const frames::Canvas& image, const frames::StripLayout& strip, std::uint32_t crc);
    void keepForTearing(const frames::Canvas& image, const frames::StripLayout& strip);
    void shiftCounter(Made& made) const;
    void setTimeBack(Made& made, std::int64_t timeNs) const;
    bool waitLonger(Made& made, const Strikes& faults);
    void hold(ImageSource& source, std::uint64_t frame, const Strikes& faults);
    bool deliverNow(ImageSource& source, std::uint64_t frame, const Strikes& faults);
    void tellFindings(const Made& made);
    void deliverCopy(const Held& held);
    bool publish(const Made& made);
    bool publishCopy(const std::vector<std::uint8_t>& pixels, const Made& made);
    void refuse(std::uint64_t frame);
    std::vector<Expectation> ifVerifiable(const Expectation& expectation) const;

    const DeliveryOptions& _options;
    FrameRate _rate;
    ImageRing& _ring;
    PreciseTimer& _timer;
    FaultLog* _log;
    SimulatorTotals& _totals;
    std::optional<Drawn> _ahead;                             // in the slot to be published next
    std::vector<std::optional<std::uint64_t>> _drawnInSlot;  // frame whose unchanged pixels each slot holds
    std::vector<std::uint64_t> _numberInSlot;                // frame that was last published in it
    std::uint64_t _counterShift = 0;                         // image counter minus frame number
    std::optional<std::int64_t> _lastStampNs;                // of the image that was published last
    std::optional<Held> _held;                               // waits for its successor
    bool _tearing = false;                                   // a frame may be torn, so its predecessor is kept
    std::vector<std::uint8_t> _older;                        // lower half of the previous frame
    bool _verifiable = false;                                // the images have a strip
    std::optional<std::int64_t> _stampNs;  // for the image that is being made; none: when it is complete
};

}  // namespace simulator
