// PNG files of cameras with 9 to 15 bits, for viewers: those take 16 bits for the whole range and show such images
// nearly black.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "image_file.h"
#include "image_view.h"

namespace frames {

/// A grey of some bits over the whole range of 16: its bits, and behind them its first ones again. Shifted back to the
/// right it is what it was. Greater ones are white.
std::uint16_t stretched(unsigned grey, unsigned bits);

/// The bytes of a PNG file as encodePng makes them, with the greys of 2-byte pixels stretched, and with their number of
/// bits in its chunk sBIT. Images of other byte depths are encoded as they are.
///
/// @param bits  Significant ones of 2-byte pixels, 9 to 15.
bool encodeStretchedPng(const ImageView& image, unsigned bits, std::vector<std::uint8_t>& file, std::string& error,
                        int level = kDefaultPngLevel);

}  // namespace frames
