// The options on the simulator's command line.
#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

#include "ask.h"
#include "delivery_options.h"
#include "fault_options.h"
#include "image_view.h"
#include "pacing_options.h"
#include "pattern_options.h"
#include "picture_options.h"
#include "program_log.h"

struct Surroundings;

namespace simulator {

struct SimulatorOptions {
    enum class Command { run, ask, patterns };

    Command command = Command::run;

    // run
    std::optional<frames::ImageFormat> size;   // --size; its byte depth is unused
    std::string configFile;                    // --config; empty: not given
    std::optional<std::size_t> bytesPerPixel;  // --bytes-per-pixel
    std::optional<std::size_t> maxMemoryMb;    // --max-memory, millions of bytes
    bool quiet = false;                        // no progress and no live line
    bool ask = true;                           // ask the camera for the format; not with --no-ask
    PacingOptions pacing;
    DeliveryOptions delivery;
    PatternOptions pattern;
    PictureOptions pictures;
    FaultOptions faults;

    AskOptions asking;         // ask
    bool listsAsJson = false;  // patterns
    options::LogOptions log;   // run, ask
};

/// Reads a command line. Options from the user win over the configuration file.
///
/// @param data    Receives the output of --help and --version.
/// @param people  Receives the reason when the command line is wrong.
/// @return        The exit code when the program must end now: 0 after --help and --version, 2 for wrong usage.
std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people);

/// The same with other variables and another user's file than those of this process.
std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people, const Surroundings& surroundings);

}  // namespace simulator
