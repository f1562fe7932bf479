// Patterns that consist of few different lines: each is rendered once and copied wherever the image shows it. The CRCs
// of the lines are stored, so that an image's CRC is computed from them without reading the image.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "crc32_append.h"
#include "image_view.h"
#include "pattern.h"
#include "pixel_writer.h"

namespace frames {

/// A line at least as wide as the image, of which the image shows a part: its pixels from some offset on.
class StoredLine {
public:
    /// Takes the pixels and computes the CRC of each part that can be shown.
    /// @param bytes   At least one line of the image's format.
    /// @param append  For blocks as long as a line of the image.
    void assign(std::vector<std::uint8_t> bytes, const ImageFormat& format, const Crc32Append& append);

    /// Greatest offset of a part.
    std::size_t lastOffset() const { return _crcs.size() - 1; }
    const std::uint8_t* pixels(std::size_t offset) const { return _bytes.data() + offset * _bytesPerPixel; }
    std::uint32_t crc(std::size_t offset) const { return _crcs[offset]; }

private:
    std::size_t _bytesPerPixel = 1;
    std::vector<std::uint8_t> _bytes;
    std::vector<std::uint32_t> _crcs;  // by offset
};

/// Some lines, counted from the first one outside the strip.
struct LineRange {
    std::size_t first = 0;
    std::size_t end = 0;  // one after the last
};

/// Base of such patterns. Lines are counted from the first one outside the strip.
class LinePattern : public Pattern {
public:
    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) final;

protected:
    LinePattern(const ImageFormat& format, const PatternSettings& settings);

    /// What a line of the image shows: a part of a stored line. If there is a second one, its part is combined with it
    /// by bitwise exclusive or.
    struct Shown {
        const StoredLine* line;
        std::size_t offset = 0;
        const StoredLine* mixedIn = nullptr;
        std::size_t mixedOffset = 0;
    };

    /// Prepares the lines of a frame, before shown is called for them.
    virtual void prepare(std::uint64_t frameNumber) = 0;
    virtual Shown shown(std::size_t y) const = 0;

    /// Lines in which two frames may differ.
    virtual LineRange differing(std::uint64_t frameNumber, std::uint64_t other) const = 0;

    /// Renders a line: brightness(x), a number or a Colour, for x from 0 to pixels - 1.
    template <typename Brightness>
    void render(StoredLine& line, std::size_t pixels, Brightness brightness) const {
        std::vector<std::uint8_t> bytes(pixels * _format.bytesPerPixel);
        for (std::size_t x = 0; x < pixels; ++x) _writer.put(bytes.data() + x * _format.bytesPerPixel, brightness(x));
        line.assign(std::move(bytes), _format, _appendLine);
    }

    std::size_t width() const { return _format.width; }
    std::size_t height() const { return _height; }  // outside the strip
    std::size_t top() const { return _top; }        // first line outside the strip
    LineRange everyLine() const { return {0, height()}; }
    const ImageFormat& format() const { return _format; }
    const PixelWriter& writer() const { return _writer; }
    const Crc32Append& appendLine() const { return _appendLine; }

private:
    LineRange digitLines() const;
    void drawLine(std::uint8_t* pixels, const Shown& part) const;
    std::uint32_t crcOf(const Shown& part) const;

    ImageFormat _format;
    unsigned _bits;
    PixelWriter _writer;
    std::size_t _top;
    std::size_t _height;
    std::size_t _digitScale;  // 0: no digits
    Crc32Append _appendLine;
    std::uint32_t _crcOfZeros;  // CRC of a line of zeros
};

/// Base class of line patterns that never change: lines are prepared once.
class StillPattern : public LinePattern {
protected:
    using LinePattern::LinePattern;
    void prepare(std::uint64_t) final {}
    LineRange differing(std::uint64_t, std::uint64_t) const final { return {}; }
};

}  // namespace frames
