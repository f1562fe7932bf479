// The machine-readable strip in an image: proves from the pixels alone which frame it is, when it was complete and that
// it is whole. 224 cells, 0 for a clear bit and 255 for a set one, most significant bit first, from the left, row of
// cells by row; as many cells in a row as fit:
//
//   bits   16 magic 0xD0C5 | 8 version | 8 flags | 64 frame number | 64 time stamp, ns | 32 CRC-32 of the fields |
//          32 CRC-32 of the image
//
// Three forms: cells of 8 x 8 bytes, cells of 4 x 4 bytes, and one line with a byte per bit. Each takes whole lines, at
// the top of the image or at the bottom. 8 x 8 at the top is version 1; all others are version 2, whose flags name
// form and place, so that no form is taken for another one.
//
// The CRC of the fields covers the 20 bytes from magic to time stamp, most significant byte first; the CRC of the
// image covers every byte outside the strip's lines. What is left of the strip's lines is 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "image_view.h"

namespace frames {

constexpr std::uint16_t kStripMagic = 0xD0C5;
constexpr std::size_t kStripCells = 224;

enum class StripForm : std::uint8_t { cells8, cells4, line };
enum class StripPlace : std::uint8_t { top, bottom };

/// What a form needs. In the order of StripForm.
struct StripFormRow {
    const char* name;          // as --strip-cell takes it
    std::size_t cell;          // bytes wide, lines high
    std::size_t minLineBytes;  // narrower images cannot carry it
    std::size_t minLines;      // that it takes, however wide the image is
};
// clang-format off
inline constexpr std::array kStripForms{
    StripFormRow{"8",    8, 256, 16},
    StripFormRow{"4",    4, 128, 4 },
    StripFormRow{"line", 1, 224, 1 },
};
// clang-format on

/// Which strip an image is to carry.
struct StripWish {
    std::optional<StripForm> form;  // none: the first one that fits, in the order of StripForm
    StripPlace place = StripPlace::top;

    bool operator==(const StripWish&) const = default;
};

/// Where an image carries its strip.
struct StripLayout {
    StripForm form = StripForm::cells8;
    StripPlace place = StripPlace::top;
    std::size_t lines = 0;      // that the strip takes; 0: the image carries none
    std::size_t firstLine = 0;  // of the strip
    std::size_t bodyFirst = 0;  // first line outside the strip
    std::size_t bodyLines = 0;  // all lines outside the strip

    bool operator==(const StripLayout&) const = default;
};

/// Where images of that format carry the wished strip. Without lines when it does not fit: the lines are too short, or
/// none would be left outside the strip.
StripLayout stripLayout(const ImageFormat& format, const StripWish& wish = {});

/// Lines that the strip takes; 0 when images of that format carry none.
inline std::size_t stripLines(const ImageFormat& format, const StripWish& wish = {}) {
    return stripLayout(format, wish).lines;
}

/// Flags of a strip.
constexpr std::uint8_t kStripRendered = 0;
constexpr std::uint8_t kStripReplayed = 1;  // the pixels outside the strip come from a file

/// The content of a strip.
struct Strip {
    std::uint8_t flags = 0;  // without those that name form and place
    std::uint64_t frameNumber = 0;
    std::uint64_t timeStampNs = 0;  // the machine's monotonic clock when the image was complete
    std::uint32_t imageCrc = 0;     // of all bytes outside the strip

    bool operator==(const Strip&) const = default;
};

/// CRC-32 of all bytes outside the strip; of the whole image when it carries none.
std::uint32_t crcOutsideStrip(const ImageView& image, const StripLayout& layout);
inline std::uint32_t crcOutsideStrip(const ImageView& image) {
    return crcOutsideStrip(image, stripLayout(image.format));
}

/// Draws the strip. Nothing without a strip's lines.
void stampStrip(const Canvas& image, const Strip& strip, const StripLayout& layout);
inline void stampStrip(const Canvas& image, const Strip& strip) { stampStrip(image, strip, stripLayout(image.format)); }

/// Whether the first bytes of a line are those of a strip's magic number and version, in a strip of that layout. In one
/// at the top, says so of line 0 whatever length the lines have that the strip was drawn for; of the further lines of
/// its first row of cells only when it is the one of this image.
bool lineBeginsStrip(const ImageView& image, const StripLayout& layout, std::size_t line);

/// Reads the strip of a layout. A cell counts as set when its bytes are at least half bright. An image without one is
/// told by the first 24 cells.
///
/// @return  none without a strip's lines, when the magic number, the version, form or place is another one, or the CRC
///          of the fields does not fit. The CRC of the image is not checked here.
std::optional<Strip> readStrip(const ImageView& image, const StripLayout& layout);
inline std::optional<Strip> readStrip(const ImageView& image) { return readStrip(image, stripLayout(image.format)); }

}  // namespace frames
