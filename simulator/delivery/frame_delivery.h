// Makes one image after the other in the ring's slots and publishes them, with the faults that are asked for.
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

/// What became of the frame numbers.
struct SimulatorTotals {
    std::uint64_t written = 0;
    std::uint64_t refused = 0;      // by the full ring
    std::uint64_t skipped = 0;      // too late: more than half a ring of later ones was due already
    std::uint64_t unread = 0;       // waited in a ring that was laid anew
    std::uint64_t faults = 0;       // injected on purpose; frames that they dropped are in none of the above
    std::uint64_t ringDamaged = 0;  // times that another process had overwritten the ring's header
};

/// One thread's.
class FrameDelivery {
public:
    /// @param log     null: none.
    /// @param totals  Counted up. All but the rate outlive the delivery.
    FrameDelivery(const DeliveryOptions& options, const FrameRate& rate, ImageRing& ring, PreciseTimer& timer,
                  FaultLog* log, SimulatorTotals& totals);

    /// From now on frames may be torn or not; where they may, each one is kept for its successor.
    void setTearing(bool tearing) { _tearing = tearing; }

    /// Draws a frame into the slot that it will be published in, if there is room for it: what is left for deliver
    /// then does not depend on what the frame shows.
    void drawAhead(ImageSource& source, std::uint64_t frame);

    /// Draws a frame into the ring, unless that was done ahead, and publishes it; or counts it as refused.
    ///
    /// @return  False when a stop was requested while the frame waited for its delay: it is nowhere then.
    /// @param faults      Those of images that strike at the frame (FaultRow::ofImage). Where they exclude each other,
    ///                    drop wins, then reorder, which leaves out delay, jitter and repeat.
    /// @param completeNs  When the image counts as complete; none: when it is.
    bool deliver(ImageSource& source, std::uint64_t frame, const std::vector<Strike>& faults = {},
                 std::optional<std::int64_t> completeNs = std::nullopt);

    /// Publishes a frame that waits for its successor, which will not come.
    void deliverHeld();

    /// Numbers of the frames that wait unread in the ring.
    std::vector<std::uint64_t> unread() const;

    /// The ring was laid anew, empty; its images may have another size.
    void ringLaid();

    /// Counts a fault, and logs it.
    void tellFault(FaultKind kind, std::uint64_t frame, const std::vector<Expectation>& expectations);

    /// Frames that did not arrive for another reason than a fault (FaultLog::note).
    void tellNote(const char* note, const FrameRange& frames);

private:
    /// Pixels that are drawn, but neither stamped nor published yet.
    struct Drawn {
        const std::uint8_t* pixels = nullptr;
        std::uint64_t frame = 0;
        std::uint32_t crc = 0;
    };
    /// An image that is made, but not published yet.
    struct Made {
        struct Finding {
            FaultKind kind;
            std::vector<Expectation> expectations;
        };
        std::uint64_t frame = 0;
        std::int64_t completeNs = 0;     // really
        std::int64_t stampNs = 0;        // as it says
        std::uint64_t counterShift = 0;  // image counter minus frame number
        std::vector<Finding> findings;   // told once it is published
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
    std::vector<std::uint64_t> _numberInSlot;                // frame that was published in it last
    std::uint64_t _counterShift = 0;                         // image counter minus frame number
    std::optional<std::int64_t> _lastStampNs;                // of the image that was published last
    std::optional<Held> _held;                               // waits for its successor
    bool _tearing = false;                                   // a frame may be torn: its predecessor is kept
    std::vector<std::uint8_t> _older;                        // lower half of the frame before
    bool _verifiable = false;                                // the images carry a strip
    std::optional<std::int64_t> _stampNs;  // of the image that is being made; none: when it is complete
};

}  // namespace simulator
