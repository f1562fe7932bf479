// The patterns that the simulator draws: one table of all of them, and what each can do.
//
// Coordinates: x to the right, y down, in pixels. Whole numbers are the centres of pixels, (0, 0) is that of the upper
// left one, so pixel x extends from x - 1/2 to x + 1/2. If the format has a strip, its lines are not drawn.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "image_view.h"
#include "motion.h"
#include "pixel_writer.h"
#include "strip.h"

namespace frames {

struct PatternSettings {
    unsigned bits = kFullBits;   // significant bits of 2-byte pixels, 8 … 16
    std::uint64_t seed = 1;      // of noise: the same seed gives the same images
    std::optional<bool> digits;  // frame number in the upper left corner; none: as in the pattern's row
    Motion motion;               // of measuring targets
    StripWish strip;             // whose lines are left alone
};

/// One fact that is known exactly for a frame, such as { "x_px", 639.5 }.
struct TrueValue {
    const char* key;
    double value;
};

/// Greys of a measuring target: an eighth and seven eighths of white, in whole greys. Neither black nor white, so that
/// a host can blur and sharpen without clipping.
struct TargetGreys {
    unsigned dark;
    unsigned bright;
};
TargetGreys targetGreys(const PixelWriter& writer);

/// Draws one pattern in one format. Use it from one thread at a time.
class Pattern {
public:
    virtual ~Pattern() = default;
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    /// Draws a frame without the strip.
    ///
    /// @param pixels  An image of the format.
    /// @param before  Number of the frame that this pattern drew into these pixels last, with nothing changed since but
    ///                the strip's lines: then only what differs is drawn. None: everything is.
    /// @return        CRC-32 of the bytes outside the strip.
    virtual std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber,
                               std::optional<std::uint64_t> before) = 0;

    /// The exact place of a measuring target in a frame; empty for other patterns.
    virtual std::vector<TrueValue> truth(std::uint64_t) const { return {}; }

protected:
    Pattern() = default;
};

/// How a pattern changes from one frame to the next.
enum class PatternKind {
    still,      // the same in each frame, except for the digits
    moving,     // consecutive frames differ
    measuring,  // a target whose place is known exactly; moves according to the settings
};

/// What a pattern stores, to copy it into the images.
enum class PatternStore {
    fewLines,   // up to two dozen, up to twice as wide as the image or wider by an eleventh of its height
    manyLines,  // 64, more if an image has more than 1024 lines, wider by 255 pixels
    disc,       // a quarter of the pixels of the shorter side, up to twice as wide
    image,      // up to all lines of an image
};

struct PatternRow {
    const char* standardName;  // spelled like feature names of cameras
    const char* name;          // the short one
    PatternKind kind;
    bool digits;  // unless the settings say otherwise
    const char* description;
    PatternStore store;
    std::unique_ptr<Pattern> (*make)(const ImageFormat& format, const PatternSettings& settings);  // for makePattern
};

/// All patterns. The first one is the default.
std::span<const PatternRow> patterns();

/// The pattern with that standard or short name; capitals, '-' and '_' are ignored. Null: none has it.
const PatternRow* findPattern(std::string_view name);

/// Creates a row's pattern, with digits according to the settings, otherwise to the row.
///
/// @param format  At least one pixel.
std::unique_ptr<Pattern> makePattern(const PatternRow& row, const ImageFormat& format, PatternSettings settings);

/// Greatest number of bytes that a row's pattern uses.
std::size_t patternBytes(const PatternRow& row, const ImageFormat& format);

/// "still", "moving" or "measuring".
const char* patternKindName(PatternKind kind);

}  // namespace frames
