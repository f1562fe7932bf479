// The machine-readable strip at the top of an image: proves from the pixels alone which frame it is, when it was
// complete and that it is whole. Cells of 8 x 8 bytes, 0 for a clear bit and 255 for a set one, most significant bit
// first, from the left, row of cells by row; as many cells in a row as fit:
//
//   bits   16 magic 0xD0C5 | 8 version | 8 flags | 64 frame number | 64 time stamp, ns | 32 CRC-32 of the fields |
//          32 CRC-32 of the image
//
// 224 cells. Their rows take 16 lines from 896 bytes per line up, more on narrower images (56 lines at 256 bytes).
// The CRC of the fields covers the 20 bytes from magic to time stamp, most significant byte first; the CRC of the
// image covers every byte below the strip. What is left of the strip's lines is 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "image_view.h"

namespace frames {

constexpr std::uint16_t kStripMagic = 0xD0C5;
constexpr std::uint8_t kStripVersion = 1;
constexpr std::size_t kStripCells = 224;
constexpr std::size_t kStripCellSize = 8;        // bytes wide, lines high
constexpr std::size_t kStripMinLineBytes = 256;  // narrower images carry no strip
constexpr std::size_t kStripMinLines = 16;

/// Flags of a strip.
constexpr std::uint8_t kStripRendered = 0;
constexpr std::uint8_t kStripReplayed = 1;  // the pixels below come from a file

/// The content of a strip.
struct Strip {
    std::uint8_t flags = 0;
    std::uint64_t frameNumber = 0;
    std::uint64_t timeStampNs = 0;  // the machine's monotonic clock when the image was complete
    std::uint32_t imageCrc = 0;     // of all bytes below the strip

    bool operator==(const Strip&) const = default;
};

/// Lines that the strip takes in images of that format; 0 when they carry none: lines of fewer than 256 bytes, or no
/// line left below the strip.
std::size_t stripLines(const ImageFormat& format);

/// CRC-32 of all bytes below the strip; of the whole image when it carries none.
std::uint32_t crcBelowStrip(const ImageView& image);

/// Draws the strip. Nothing for a format that carries none.
void stampStrip(const Canvas& image, const Strip& strip);

/// Whether the first bytes of a line are those of a strip's magic number and version. Says so of line 0 whatever length
/// the lines have that the strip was drawn for; of the next seven lines only when it is the one of this image.
bool lineBeginsStrip(const ImageView& image, std::size_t line);

/// Reads the strip. A cell counts as set when its bytes are at least half bright.
///
/// @return  none when the format carries none, the magic number or the version is another one, or the CRC of the
///          fields does not fit. The CRC of the image is not checked here.
std::optional<Strip> readStrip(const ImageView& image);

}  // namespace frames
