#include "stretched_png.h"

#include <algorithm>
#include <iterator>

#include "crc32.h"

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kBehindHeader = 8 + 12 + 13;  // signature, and the header's chunk

// Between header and pixels, where readers look for it.
void insertSignificantBits(Bytes& file, unsigned bits) {
    Bytes chunk{0, 0, 0, 1, 's', 'B', 'I', 'T', static_cast<std::uint8_t>(bits)};
    const std::uint32_t crc = crc32(chunk.data() + 4, chunk.size() - 4);
    for (int shift = 24; shift >= 0; shift -= 8) chunk.push_back(static_cast<std::uint8_t>(crc >> shift));
    file.insert(file.begin() + kBehindHeader, chunk.begin(), chunk.end());
}

}  // namespace

std::uint16_t stretched(unsigned grey, unsigned bits) {
    const unsigned cut = std::min(grey, (1u << bits) - 1);
    return static_cast<std::uint16_t>(cut << (16 - bits) | cut >> (2 * bits - 16));
}

bool encodeStretchedPng(const ImageView& image, unsigned bits, Bytes& file, std::string& error, int level) {
    if (!image.pixels || image.format.bytesPerPixel != 2) return encodePng(image, file, error, level);
    Bytes pixels(image.format.bytes());
    for (std::size_t at = 0; at + 1 < pixels.size(); at += 2) {
        const std::uint16_t grey = stretched(image.pixels[at] | unsigned{image.pixels[at + 1]} << 8, bits);
        pixels[at] = static_cast<std::uint8_t>(grey);
        pixels[at + 1] = static_cast<std::uint8_t>(grey >> 8);
    }
    if (!encodePng({pixels.data(), image.format}, file, error, level)) return false;
    insertSignificantBits(file, bits);
    return true;
}

}  // namespace frames
