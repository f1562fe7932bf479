// The patterns that the simulator draws: one table of them all, and what each can do.
//
// Coordinates: x to the right, y down, in pixels; whole numbers are the centres of pixels, (0, 0) that of the upper
// left one, so pixel x reaches from x - 1/2 to x + 1/2. Lines of the strip are left alone where the format carries one.
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
    unsigned bits = kFullBits;   // significant ones of 2-byte pixels, 8 … 16
    std::uint64_t seed = 1;      // of noise: the same seed gives the same images
    std::optional<bool> digits;  // frame number in the upper left corner; none: as the pattern's row says
    Motion motion;               // of measuring targets
    StripWish strip;             // whose lines are left alone
};

/// One thing that is known exactly of a frame, such as { "x_px", 639.5 }.
struct TrueValue {
    const char* key;
    double value;
};

/// Greys of a measuring target, an eighth and seven eighths of white in whole greys: neither black nor white, so that a
/// host may blur and sharpen without cutting.
struct TargetGreys {
    unsigned dark;
    unsigned bright;
};
TargetGreys targetGreys(const PixelWriter& writer);

/// Draws one pattern in one format. From one thread at a time.
class Pattern {
public:
    virtual ~Pattern() = default;
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    /// Draws a frame, but not the strip.
    ///
    /// @param pixels  An image of the format.
    /// @param before  Number of the frame that this pattern drew into these pixels last, with nothing changed since but
    ///                the strip's lines: then only what differs is drawn. None: everything is.
    /// @return        CRC-32 of the bytes outside the strip.
    virtual std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber,
                               std::optional<std::uint64_t> before) = 0;

    /// Where a measuring target stands in a frame, exactly; empty for other patterns.
    virtual std::vector<TrueValue> truth(std::uint64_t) const { return {}; }

protected:
    Pattern() = default;
};

/// What a pattern does from one frame to the next.
enum class PatternKind {
    still,      // the same in each frame, but for the digits
    moving,     // neighbouring frames differ
    measuring,  // a target whose place is known exactly; moves as the settings say
};

/// What a pattern keeps ready, to be copied into the images.
enum class PatternStore {
    fewLines,   // up to two dozen, up to twice as wide as the image or wider by an eleventh of its height
    manyLines,  // 64, more for more than 1024 lines of an image, wider by 255 pixels
    disc,       // a quarter as many as the shorter side has pixels, up to twice as wide
    image,      // up to all of them
};

struct PatternRow {
    const char* standardName;  // as feature names of cameras are spelled
    const char* name;          // the short one
    PatternKind kind;
    bool digits;  // unless the settings say otherwise
    const char* description;
    PatternStore store;
    std::unique_ptr<Pattern> (*make)(const ImageFormat& format, const PatternSettings& settings);  // for makePattern
};

/// All patterns. The first one is the default.
std::span<const PatternRow> patterns();

/// The pattern of that name, standard or short; capitals, '-' and '_' do not count. Null: none has it.
const PatternRow* findPattern(std::string_view name);

/// A row's pattern, with digits as the settings or else the row say.
///
/// @param format  At least one pixel.
std::unique_ptr<Pattern> makePattern(const PatternRow& row, const ImageFormat& format, PatternSettings settings);

/// Greatest number of bytes that a row's pattern takes.
std::size_t patternBytes(const PatternRow& row, const ImageFormat& format);

/// "still", "moving" or "measuring".
const char* patternKindName(PatternKind kind);

}  // namespace frames
