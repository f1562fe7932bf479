#include "bmp_header.h"

namespace frames {
namespace {

constexpr std::size_t kFileHeader = 14;
constexpr std::size_t kPixelsPlace = 10;
constexpr std::size_t kSmallestHeader = 40;
constexpr std::size_t kGreatestSide = 0x7FFFFFFF;
constexpr std::uint32_t kUncompressed = 0;
constexpr std::uint32_t kBitFields = 3;

std::uint32_t littleEndian(const std::uint8_t* bytes, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t byte = 0; byte < count; ++byte) value |= std::uint32_t{bytes[byte]} << (8 * byte);
    return value;
}

// A height below 0 means lines from the top.
std::size_t magnitude(std::uint32_t side) { return (side & 0x80000000u) != 0 ? 0u - side : side; }

/// Where the pixels are and what they are.
struct Pixels {
    const std::uint8_t* begin;
    std::size_t lineBytes;
    std::size_t bits;     // of a pixel
    std::size_t colours;  // of the palette
};

// The decoder leaves the colours undefined that a palette lacks.
bool namesMissingColours(const Pixels& pixels, const PictureSize& size) {
    if (pixels.bits > 8 || pixels.colours >= std::size_t{1} << pixels.bits) return false;
    const std::size_t perByte = 8 / pixels.bits;
    for (std::size_t y = 0; y < size.height; ++y) {
        for (std::size_t x = 0; x < size.width; ++x) {
            const std::size_t shift = 8 - pixels.bits * (x % perByte + 1);
            const std::size_t byte = pixels.begin[y * pixels.lineBytes + x / perByte];
            if ((byte >> shift & ((1u << pixels.bits) - 1)) >= pixels.colours) return true;
        }
    }
    return false;
}

}  // namespace

std::string problemOfBmpHeader(const std::uint8_t* file, std::size_t bytes, PictureSize& size) {
    if (bytes < kFileHeader + kSmallestHeader) return damaged("ends within its header");
    const std::uint8_t* const header = file + kFileHeader;
    const std::size_t headerBytes = littleEndian(header, 4);
    if (headerBytes < kSmallestHeader) return "is a BMP of a kind that is not read";
    size = {littleEndian(header + 4, 4), magnitude(littleEndian(header + 8, 4))};
    if (size.width == 0 || size.height == 0 || size.width > kGreatestSide || size.height > kGreatestSide)
        return damaged("its header names an impossible size");
    const std::uint32_t compression = littleEndian(header + 16, 4);
    if (compression != kUncompressed && compression != kBitFields)
        return "is a compressed BMP; only plain ones are read";
    const std::size_t bits = littleEndian(header + 14, 2);
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return damaged("its header names an impossible number of bits per pixel");
    const std::size_t begin = littleEndian(file + kPixelsPlace, 4);
    const std::size_t lineBytes = (size.width * bits + 31) / 32 * 4;
    if (begin > bytes || (bytes - begin) / lineBytes < size.height) return damaged("ends before its last pixel");
    if (begin < kFileHeader + headerBytes) return damaged("its pixels begin within its header");
    const Pixels pixels{file + begin, lineBytes, bits, (begin - kFileHeader - headerBytes) / 4};
    return namesMissingColours(pixels, size) ? damaged("its pixels have colours that its palette lacks") : "";
}

}  // namespace frames
