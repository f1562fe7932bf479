// What the simulator's command line asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "fault_spec.h"
#include "frame_rate.h"
#include "image_view.h"
#include "pacing_grid.h"
#include "pattern_options.h"
#include "picture_options.h"

namespace options {
struct Surroundings;
}

namespace simulator {

struct SimulatorOptions {
    enum class Command { run, ask, patterns };

    Command command = Command::run;

    // run
    std::optional<frames::ImageFormat> size;   // --size; its byte depth does not count
    std::string configFile;                    // --config; empty: none
    std::optional<std::size_t> bytesPerPixel;  // --bytes-per-pixel
    FrameRate framesPerSecond = 100;
    LatePolicy late = LatePolicy::skip;
    std::uint64_t frameCount = 0;  // 0: until stopped
    std::size_t lineCount = 8;
    std::optional<std::size_t> maxMemoryMb;  // --max-memory, millions of bytes
    double readerTimeoutSeconds = 10.0;      // 0: never
    bool strip = true;                       // not with --no-strip
    std::vector<FaultSpec> faults;
    std::string scenarioFile;  // --scenario; empty: none
    std::string faultLogFile;  // --fault-log; empty: none
    std::optional<std::uint64_t> seed;
    bool noFaults = false;
    bool ask = true;  // ask the camera for the format; not with --no-ask

    PatternOptions pattern;
    PictureOptions pictures;

    // ask, patterns
    bool json = false;

    // ask
    bool watch = false;            // again each second
    double timeoutSeconds = 12.0;  // longest time without an answer
};

/// Reads a command line. Options that the user gave win over what the configuration file says.
///
/// @param data    Receives what --help and --version ask for.
/// @param people  Receives the reason when the command line is wrong.
/// @return        The exit code when the program is to end now: 0 after --help and --version, 2 for wrong usage.
std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people);

/// The same with other variables and another user's file than this process has.
std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people,
                                         const options::Surroundings& surroundings);

}  // namespace simulator
