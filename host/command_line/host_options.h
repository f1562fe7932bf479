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

/// Of each command that names a plugin.
struct CommonOptions {
    std::string pluginPath;
    bool json = false;
};

struct InfoOptions : CommonOptions {
    bool commands = false;  // the table of commands instead of the identity
};

/// Of each command that reads a camera's configuration.
struct CameraOptions : CommonOptions {
    std::string configFile;  // empty: the camera's defaults
};

struct CallOptions : CameraOptions {
    std::int32_t id = 0;
    std::optional<std::string> value;
    bool open = false;  // open the device before the command
};

/// Of each command that waits for images.
struct ImageOptions : CameraOptions {
    double timeoutSeconds = 30.0;  // longest time without an image
    bool share = false;            // open the camera although another host has it
};

struct SaveOptions {
    std::string folder;       // empty: nothing is saved
    std::uint64_t every = 1;  // every nth image is saved, beginning with the first; 0: only around a loss
    std::string format = "png";
    std::size_t pngLevel = frames::kDefaultPngLevel;
    std::size_t aroundLoss = 0;     // images before the first loss, and as many after it
    std::uint64_t memoryMb = 1000;  // for images that wait or are kept
    bool force = false;             // files that are there are replaced
    unsigned stretchBits = 0;       // of 2-byte pixels, for viewers of png; 0: they stay as they are
};

struct GrabOptions : ImageOptions {
    std::uint64_t imageCount = 0;  // 0: until stopped
    SaveOptions save;
    bool jsonLines = false;  // instead of json: lines while the grab runs
    bool frames = false;     // with jsonLines: one for each image
    Limits limits;
};

struct VerifyOptions : GrabOptions {
    std::string faultLog;         // the simulator's
    std::string findingsFile;     // empty: grab
    bool allowExplained = false;  // findings that the simulator's notes explain are no mismatch
};

struct SnapOptions : ImageOptions {
    std::string file;
    bool anyImage = false;     // also faked, torn and unverified ones
    bool force = false;        // a file that is there is replaced
    unsigned stretchBits = 0;  // as SaveOptions::stretchBits
};

struct DoctorOptions : CameraOptions {};

struct BenchOptions : CommonOptions {
    std::string simulatorPath;  // empty: beside this program
    frames::ImageFormat format{1280, 1024, 1};
    std::vector<double> rates{200.0, 1000.0};  // images per second
    double seconds = 2.0;                      // of each measurement
};

struct BenchPartnerOptions {
    std::string events;  // beginning of their names
};

struct AskSnapOptions {
    bool json = false;
    double timeoutSeconds = 12.0;  // longest time without an answer
};

/// The command, and its options; the others' are as they begin.
struct HostOptions {
    enum class Command { info, grab, call, askSnap, verify, snap, doctor, bench, benchPartner };

    Command command = Command::info;
    InfoOptions info;
    GrabOptions grab;
    VerifyOptions verify;
    SnapOptions snap;
    DoctorOptions doctor;
    BenchOptions bench;
    BenchPartnerOptions benchPartner;
    CallOptions call;
    AskSnapOptions askSnap;
};

/// Reads a command line.
///
/// @param data    Receives what --help and --version ask for.
/// @param people  Receives the reason when the command line is wrong.
/// @return        The exit code when the program is to end now: 0 after --help and --version, 2 for wrong usage.
std::optional<int> parseHostOptions(int argc, const char* const* argv, HostOptions& options, std::ostream& data,
                                    std::ostream& people);

}  // namespace host
