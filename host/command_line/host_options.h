// What the host's command line asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "grab_limits.h"
#include "image_file.h"
#include "image_view.h"

namespace host {

/// Exit codes of the program.
constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitWrongUsage = 2;
constexpr int kExitNoImage = 3;  // or no answer
constexpr int kExitConnectionLost = 4;

struct HostOptions {
    enum class Command { info, grab, call, askSnap, verify, snap, doctor, bench, benchPartner };

    Command command = Command::info;
    std::string pluginPath;
    bool json = false;

    // info
    bool commands = false;  // the table of commands instead of the identity

    // call
    std::int32_t commandId = 0;
    std::optional<std::string> commandValue;
    bool open = false;  // open the device before the command

    // grab, call
    std::string configFile;  // empty: the camera's defaults

    // ask-snap
    double answerTimeoutSeconds = 12.0;  // longest time without an answer

    // grab, snap
    std::uint64_t imageCount = 0;  // 0: until stopped
    double timeoutSeconds = 30.0;  // longest time without an image
    std::string outputFolder;      // empty: nothing is saved
    std::uint64_t saveEvery = 1;   // every nth image is saved, beginning with the first; 0: only around a loss
    std::string saveFormat = "png";
    std::size_t pngLevel = frames::kDefaultPngLevel;
    std::size_t aroundLoss = 0;         // images before the first loss, and as many after it
    std::uint64_t saveMemoryMb = 1000;  // for images that wait or are kept
    bool force = false;                 // also snap: files that are there are replaced
    bool share = false;                 // also snap: open the camera although another host has it

    // snap
    std::string snapFile;
    bool anyImage = false;  // also faked, torn and unverified ones

    // grab, verify
    bool jsonLines = false;  // instead of json: lines while the grab runs
    bool frames = false;     // with jsonLines: one for each image
    Limits limits;

    // verify
    std::string faultLog;         // the simulator's
    std::string findingsFile;     // empty: grab
    bool allowExplained = false;  // findings that the simulator's notes explain are no mismatch

    // bench
    std::string simulatorPath;  // empty: beside this program
    frames::ImageFormat benchSize{1280, 1024, 1};
    std::vector<double> benchRates{200.0, 1000.0};  // images per second
    double benchSeconds = 2.0;                      // of each measurement
    std::string benchPartner;                       // bench-partner: beginning of the events' names
};

/// Reads a command line.
///
/// @param data    Receives what --help and --version ask for.
/// @param people  Receives the reason when the command line is wrong.
/// @return        The exit code when the program is to end now: 0 after --help and --version, 2 for wrong usage.
std::optional<int> parseHostOptions(int argc, const char* const* argv, HostOptions& options, std::ostream& data,
                                    std::ostream& people);

}  // namespace host
