// The line that shows a running grab on a terminal, overwritten once a second.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "grab_observer.h"

namespace host {

/// The line, without control characters except colours.
///
/// @param wanted   Number of images that ends the grab; 0: no such number.
/// @param columns  Greatest length in characters; numbers that do not fit are left out from the end.
/// @param colours  Whether faults that are not 0 are red.
std::string liveLine(const SecondNumbers& numbers, std::uint64_t wanted, std::size_t columns, bool colours);

/// @param noColor  The environment variable NO_COLOR; null when it is not set.
/// @return         False when it is set and not empty.
bool coloursAreWanted(const char* noColor);

class LiveLine : public GrabObserver {
public:
    /// @param terminal  Standard error, if it is a terminal.
    LiveLine(std::ostream& terminal, std::uint64_t wanted, bool colours)
        : _terminal(terminal), _wanted(wanted), _colours(colours) {}

    void onSecond(const SecondNumbers& numbers) override;
    bool showsAdvice() const override { return true; }
    /// Takes the line away.
    void onEnd() override;

private:
    std::ostream& _terminal;
    std::uint64_t _wanted;
    bool _colours;
};

}  // namespace host
