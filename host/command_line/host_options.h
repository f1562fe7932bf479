// The options on the host's command line.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "grab_limits.h"
#include "image_file.h"
#include "image_view.h"
#include "program_log.h"

namespace host {

/// Exit codes of the program.
constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitWrongUsage = 2;
constexpr int kExitNoImage = 3;  // or no answer
constexpr int kExitConnectionLost = 4;

/// Of each command that names a plugin.
struct CommonOptions {
    std::string pluginPath;  // set to the one beside this program when the options are added
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
    std::string folder;          // empty: nothing is saved; "-": standard output gets the images
    std::uint64_t every = 1;     // every nth image is saved, beginning with the first; 0: only around a loss
    std::string format = "png";  // "y4m" too, for standard output
    unsigned bits = 16;          // significant ones of 2-byte pixels, for y4m
    std::size_t pngLevel = frames::kDefaultPngLevel;
    std::size_t aroundLoss = 0;     // images before the first loss, and as many after it
    std::uint64_t memoryMb = 1000;  // for images that wait or are kept
    bool force = false;             // files that are there are replaced
    unsigned stretchBits = 0;       // of 2-byte pixels, for viewers of png; 0: they stay as they are
};

struct GrabOptions : ImageOptions {
    std::uint64_t imageCount = 0;  // 0: until stopped
    std::int64_t durationNs = 0;   // of the grab at most; 0: until stopped
    bool quiet = false;            // no progress and no live line
    SaveOptions save;
    std::optional<bool> requireSimulator;  // end without one; none: when the limits need one
    bool jsonLines = false;                // instead of json: lines while the grab runs
    bool frames = false;                   // with jsonLines: one for each image
    Limits limits;
    bool all = false;  // the table also has what is 0 or was not measured
};

struct VerifyOptions : GrabOptions {
    std::string faultLog;         // the simulator's
    std::string findingsFile;     // empty: grab
    bool allowExplained = false;  // findings that the simulator's notes explain are not mismatches
    bool printTemplate = false;   // of findings, instead of everything else
};

struct SnapOptions : ImageOptions {
    std::string file;            // "-": standard output gets the image
    std::string format = "png";  // for standard output; the ending of a file's name says its format
    unsigned bits = 16;          // as of SaveOptions
    bool anyImage = false;       // also faked, torn and unverified ones
    bool force = false;          // a file that is there is replaced
    unsigned stretchBits = 0;    // as SaveOptions::stretchBits
};

struct DoctorOptions : CameraOptions {
    bool all = false;  // people are told details, too
};

struct BenchOptions : CommonOptions {
    std::string simulatorPath;  // empty: beside this program
    frames::ImageFormat format{1280, 1024, 1};
    std::vector<double> rates{200.0, 1000.0};  // images per second
    double seconds = 2.0;                      // of each measurement
    bool quiet = false;                        // no progress
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
    options::LogOptions log;  // of each command but benchPartner
};

/// Whether standard output is for images.
bool writesImages(const HostOptions& options);

/// Reads a command line.
///
/// @param data    Receives what --help and --version ask for.
/// @param people  Receives the reason when the command line is wrong.
/// @return        The exit code when the program is to end now: 0 after --help and --version, 2 for wrong usage.
std::optional<int> parseHostOptions(int argc, const char* const* argv, HostOptions& options, std::ostream& data,
                                    std::ostream& people);

}  // namespace host
