// The options that choose a user's own pictures and how they are shown.
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
    loop,      // all, then again from the first
    pingPong,  // back and forth, the outermost once each
    hold,      // each once, then the last one for ever
};

/// Index of the picture that a frame shows. @param count  Pictures, at least 1.
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

/// Adds the options to a command line and evaluates them.
class PictureCommandLine {
public:
    /// @param options  Must outlive the parsing; set by take.
    PictureCommandLine(CLI::App& app, PictureOptions& options);

    /// Call it after parsing. @return Why the options contradict each other; empty when they do not.
    /// @param patternOption  A given option that asks for a pattern; empty: there is none.
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
