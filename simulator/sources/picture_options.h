// The options that choose own pictures and how they are shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "image_view.h"
#include "strip.h"

namespace CLI {
class App;
}

namespace simulator {

/// Which picture a frame shows, of those in order.
enum class Play {
    loop,      // all, and again from the first
    pingPong,  // there and back again, the outermost once each
    hold,      // each once, then the last one for good
};

/// Number of the picture that a frame shows. @param count  Pictures, at least 1.
std::size_t pictureOfFrame(Play play, std::uint64_t frameNumber, std::size_t count);

struct PictureOptions {
    std::vector<std::string> images;             // --images: folders, globs, files; empty: a pattern is drawn
    std::optional<frames::ImageFormat> rawSize;  // --raw-size
    Play play = Play::loop;                      // --play
    bool scale = false;                          // --scale
    bool windowMoves = true;                     // --window-motion; false: larger pictures are refused
    std::size_t memoryMb = 2048;                 // --image-memory, millions of bytes
    bool piped = false;                          // --images -: a stream on standard input
    frames::StripWish strip;                     // --strip-cell, --strip-place: whose lines are left alone
};

/// Adds the options to a command line and reads what they say.
class PictureCommandLine {
public:
    /// @param options  Outlives the parsing; set by take.
    PictureCommandLine(CLI::App& app, PictureOptions& options);

    /// To call after parsing. @return why the options do not go together; empty when they do.
    /// @param patternOption  One that asks for a pattern; empty: none was given.
    std::string take(const std::string& patternOption);

private:
    void addFitting();

    CLI::App& _app;
    PictureOptions& _options;
    std::string whyNotPiped() const;

    std::string _rawSize;
    std::string _format;
    std::string _play;
    std::string _windowMotion;
};

}  // namespace simulator
