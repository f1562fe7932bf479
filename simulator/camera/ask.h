// The command "ask": the camera's answers, for people and programs.
#pragma once

#include <ostream>

namespace simulator {

struct AskOptions {
    bool json = false;
    bool watch = false;            // again every second
    double timeoutSeconds = 12.0;  // longest time without an answer
};

/// Asks until the camera has answered all three questions; with watch again every second until a stop is requested.
///
/// @param data    Receives the answers, for people or as JSON.   @param people  Receives everything else.
/// @return        Exit code: 0 answered; 1 the link cannot be had; 3 no answer for the options' timeout, or none before
///                a stop was requested.
int askCamera(const AskOptions& options, std::ostream& data, std::ostream& people);

}  // namespace simulator
