// A grab's results as JSON for programs, and what people are told of them beside the table.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "findings.h"
#include "grab_limits.h"
#include "grab_observer.h"
#include "grab_statistics.h"

namespace host {

/// Name of the JSON of a grab and of its lines; its number rises when a key changes its meaning or goes. From 2 on
/// numbers begin at the first image that was complete after the grab began, and mean rates leave pauses out. Earlier
/// builds wrote the number alone.
constexpr const char* kGrabSchema = "dorven-grab/2";

/// Names the images that were not verified and why, a line for each reason; nothing when all were.
void tellUnverified(const GrabResults& results, std::ostream& people);

/// Says so when the strip covers more than a tenth of the images, and what covers less.
void tellStripShare(const GrabResults& results, std::ostream& people);

/// What the JSON of a whole grab tells.
struct GrabReport {
    GrabResults results;
    std::string end;  // why it ended: as Grab::end() tells
    std::vector<BrokenLimit> limitsBroken;
    FindingList findings{0};
};

/// One object on one line. Numbers that were not measured are null.
void printJson(const GrabReport& report, std::ostream& stream);

/// The JSON of a grab, line by line while it runs: one object per second and, if requested, one per image. Each line
/// has a key "event".
class JsonLines : public GrabObserver {
public:
    JsonLines(std::ostream& data, bool frames) : _data(data), _frames(frames) {}

    void onSecond(const SecondNumbers& numbers) override;
    bool wantsFrames() const override { return _frames; }
    void onFrames(std::span<const FrameRow> rows) override;
    bool goesOn() const override { return _data.good(); }

    /// The last line: printJson's object with the event "end".
    /// @param framesOmitted  Images without a line.
    void printEnd(const GrabReport& report, std::uint64_t framesOmitted);

private:
    std::ostream& _data;
    bool _frames;
    GrabResults _before;  // totals at the last look
};

}  // namespace host
