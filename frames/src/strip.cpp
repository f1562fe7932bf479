#include "strip.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "crc32.h"

namespace frames {
namespace {

constexpr std::size_t kFieldBytes = 20;  // magic to time stamp
constexpr std::size_t kStripBytes = kFieldBytes + 4 + 4;
static_assert(kStripBytes * 8 == kStripCells);
using StripBytes = std::array<std::uint8_t, kStripBytes>;

// Both classes process the fields with the most significant byte first.
class FieldWriter {
public:
    explicit FieldWriter(StripBytes& bytes) : _next(bytes.data()) {}
    void put(std::uint64_t value, int size) {
        for (int byte = size - 1; byte >= 0; --byte) *_next++ = static_cast<std::uint8_t>(value >> (8 * byte));
    }

private:
    std::uint8_t* _next;
};

class FieldReader {
public:
    explicit FieldReader(const StripBytes& bytes) : _next(bytes.data()) {}
    std::uint64_t get(int size) {
        std::uint64_t value = 0;
        for (int byte = 0; byte < size; ++byte) value = value << 8 | *_next++;
        return value;
    }

private:
    const std::uint8_t* _next;
};

std::size_t cellsPerRow(const ImageFormat& format) { return format.lineBytes() / kStripCellSize; }

StripBytes encode(const Strip& strip) {
    StripBytes bytes{};
    FieldWriter writer(bytes);
    writer.put(kStripMagic, 2);
    writer.put(kStripVersion, 1);
    writer.put(strip.flags, 1);
    writer.put(strip.frameNumber, 8);
    writer.put(strip.timeStampNs, 8);
    writer.put(crc32(bytes.data(), kFieldBytes), 4);
    writer.put(strip.imageCrc, 4);
    return bytes;
}

bool cellIsSet(const ImageView& image, std::size_t column, std::size_t row) {
    unsigned brightness = 0;
    for (std::size_t line = 0; line < kStripCellSize; ++line) {
        const std::uint8_t* bytes = image.line(row * kStripCellSize + line) + column * kStripCellSize;
        for (std::size_t byte = 0; byte < kStripCellSize; ++byte) brightness += bytes[byte];
    }
    return brightness >= kStripCellSize * kStripCellSize * 128;
}

}  // namespace

std::size_t stripLines(const ImageFormat& format) {
    if (format.lineBytes() < kStripMinLineBytes) return 0;
    const std::size_t rows = (kStripCells + cellsPerRow(format) - 1) / cellsPerRow(format);
    const std::size_t lines = std::max(rows * kStripCellSize, kStripMinLines);
    return lines < format.height ? lines : 0;
}

std::uint32_t crcBelowStrip(const ImageView& image) {
    const std::size_t stripBytes = stripLines(image.format) * image.format.lineBytes();
    return crc32(image.pixels + stripBytes, image.format.bytes() - stripBytes);
}

void stampStrip(const Canvas& image, const Strip& strip) {
    const std::size_t lines = stripLines(image.format);
    if (lines == 0) return;
    const StripBytes bytes = encode(strip);
    const std::size_t columns = cellsPerRow(image.format);
    std::memset(image.pixels, 0, lines * image.format.lineBytes());
    for (std::size_t cell = 0; cell < kStripCells; ++cell) {
        if ((bytes[cell / 8] >> (7 - cell % 8) & 1) == 0) continue;
        for (std::size_t line = 0; line < kStripCellSize; ++line) {
            std::uint8_t* row = image.line(cell / columns * kStripCellSize + line);
            std::memset(row + cell % columns * kStripCellSize, 255, kStripCellSize);
        }
    }
}

bool lineBeginsStrip(const ImageView& image, std::size_t line) {
    if (stripLines(image.format) == 0) return false;
    constexpr std::uint32_t kBegin = std::uint32_t{kStripMagic} << 8 | kStripVersion;
    for (std::size_t cell = 0; cell < 24; ++cell) {
        const std::uint8_t byte = image.line(line)[cell * kStripCellSize];
        if ((byte >= 128) != ((kBegin >> (23 - cell) & 1) != 0)) return false;
    }
    return true;
}

std::optional<Strip> readStrip(const ImageView& image) {
    if (stripLines(image.format) == 0) return std::nullopt;
    StripBytes bytes{};
    const std::size_t columns = cellsPerRow(image.format);
    for (std::size_t cell = 0; cell < kStripCells; ++cell) {
        const int bit = cellIsSet(image, cell % columns, cell / columns) ? 1 : 0;
        bytes[cell / 8] = static_cast<std::uint8_t>(bytes[cell / 8] << 1 | bit);
    }
    FieldReader reader(bytes);
    if (reader.get(2) != kStripMagic || reader.get(1) != kStripVersion) return std::nullopt;
    Strip strip;
    strip.flags = static_cast<std::uint8_t>(reader.get(1));
    strip.frameNumber = reader.get(8);
    strip.timeStampNs = reader.get(8);
    if (reader.get(4) != crc32(bytes.data(), kFieldBytes)) return std::nullopt;
    strip.imageCrc = static_cast<std::uint32_t>(reader.get(4));
    return strip;
}

}  // namespace frames
