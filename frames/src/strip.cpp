#include "strip.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

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

constexpr StripForm kAllForms[] = {StripForm::cells8, StripForm::cells4, StripForm::line};
static_assert(std::size(kAllForms) == std::size(kStripForms));

constexpr std::size_t kBeginBytes = 3;  // magic and version
constexpr std::uint8_t kOwnFlags = 0x0F;
constexpr std::uint8_t kAtTheBottom =
    0x80;  // in the flags of version 2, beside the form's number from 1 in bits 4 to 6

const StripFormRow& rowOf(StripForm form) { return kStripForms[static_cast<std::size_t>(form)]; }

std::uint8_t versionOf(const StripLayout& layout) {
    return layout.form == StripForm::cells8 && layout.place == StripPlace::top ? 1 : 2;
}

// What of the flags names form and place; version 1 has but one of each.
std::uint8_t shapeFlags(const StripLayout& layout) {
    if (versionOf(layout) == 1) return 0;
    const unsigned form = (static_cast<unsigned>(layout.form) + 1) << 4;
    return static_cast<std::uint8_t>(form | (layout.place == StripPlace::bottom ? kAtTheBottom : 0u));
}

std::size_t linesOf(const ImageFormat& format, StripForm form) {
    const StripFormRow& row = rowOf(form);
    if (format.lineBytes() < row.minLineBytes) return 0;
    const std::size_t columns = format.lineBytes() / row.cell;
    const std::size_t lines = std::max((kStripCells + columns - 1) / columns * row.cell, row.minLines);
    return lines < format.height ? lines : 0;
}

// The first byte of a cell, and how large the cells are.
struct CellPlace {
    std::size_t size, line, offset;
};

CellPlace placeOf(const ImageFormat& format, const StripLayout& layout, std::size_t cell) {
    const std::size_t size = rowOf(layout.form).cell;
    const std::size_t columns = format.lineBytes() / size;
    return {size, layout.firstLine + cell / columns * size, cell % columns * size};
}

StripBytes encode(const Strip& strip, const StripLayout& layout) {
    StripBytes bytes{};
    FieldWriter writer(bytes);
    writer.put(kStripMagic, 2);
    writer.put(versionOf(layout), 1);
    writer.put(versionOf(layout) == 1 ? strip.flags : (strip.flags & kOwnFlags) | shapeFlags(layout), 1);
    writer.put(strip.frameNumber, 8);
    writer.put(strip.timeStampNs, 8);
    writer.put(crc32(bytes.data(), kFieldBytes), 4);
    writer.put(strip.imageCrc, 4);
    return bytes;
}

bool cellIsSet(const ImageView& image, const StripLayout& layout, std::size_t cell) {
    const CellPlace place = placeOf(image.format, layout, cell);
    std::size_t brightness = 0;
    for (std::size_t line = 0; line < place.size; ++line) {
        const std::uint8_t* bytes = image.line(place.line + line) + place.offset;
        for (std::size_t byte = 0; byte < place.size; ++byte) brightness += bytes[byte];
    }
    return brightness >= place.size * place.size * 128;
}

void readBytes(const ImageView& image, const StripLayout& layout, std::size_t first, std::size_t end,
               StripBytes& bytes) {
    for (std::size_t cell = first * 8; cell < end * 8; ++cell) {
        const int bit = cellIsSet(image, layout, cell) ? 1 : 0;
        bytes[cell / 8] = static_cast<std::uint8_t>(bytes[cell / 8] << 1 | bit);
    }
}

}  // namespace

StripLayout stripLayout(const ImageFormat& format, const StripWish& wish) {
    StripLayout layout;
    layout.place = wish.place;
    for (const StripForm form : kAllForms) {
        if (wish.form && *wish.form != form) continue;
        layout.form = form;
        layout.lines = linesOf(format, form);
        if (layout.lines > 0) break;
    }
    layout.bodyLines = format.height - layout.lines;
    (layout.place == StripPlace::top ? layout.bodyFirst : layout.firstLine) =
        layout.place == StripPlace::top ? layout.lines : layout.bodyLines;
    return layout;
}

std::uint32_t crcOutsideStrip(const ImageView& image, const StripLayout& layout) {
    return crc32(image.line(layout.bodyFirst), layout.bodyLines * image.format.lineBytes());
}

void stampStrip(const Canvas& image, const Strip& strip, const StripLayout& layout) {
    if (layout.lines == 0) return;
    const StripBytes bytes = encode(strip, layout);
    std::memset(image.line(layout.firstLine), 0, layout.lines * image.format.lineBytes());
    for (std::size_t cell = 0; cell < kStripCells; ++cell) {
        if ((bytes[cell / 8] >> (7 - cell % 8) & 1) == 0) continue;
        const CellPlace place = placeOf(image.format, layout, cell);
        for (std::size_t line = 0; line < place.size; ++line)
            std::memset(image.line(place.line + line) + place.offset, 255, place.size);
    }
}

bool lineBeginsStrip(const ImageView& image, const StripLayout& layout, std::size_t line) {
    if (layout.lines == 0) return false;
    const std::uint32_t begin = std::uint32_t{kStripMagic} << 8 | versionOf(layout);
    for (std::size_t cell = 0; cell < kBeginBytes * 8; ++cell) {
        const std::uint8_t byte = image.line(line)[cell * rowOf(layout.form).cell];
        if ((byte >= 128) != ((begin >> (23 - cell) & 1) != 0)) return false;
    }
    return true;
}

std::optional<Strip> readStrip(const ImageView& image, const StripLayout& layout) {
    if (layout.lines == 0) return std::nullopt;
    StripBytes bytes{};
    FieldReader reader(bytes);
    readBytes(image, layout, 0, kBeginBytes, bytes);
    if (reader.get(2) != kStripMagic || reader.get(1) != versionOf(layout)) return std::nullopt;
    readBytes(image, layout, kBeginBytes, kStripBytes, bytes);
    Strip strip;
    strip.flags = static_cast<std::uint8_t>(reader.get(1));
    strip.frameNumber = reader.get(8);
    strip.timeStampNs = reader.get(8);
    if (reader.get(4) != crc32(bytes.data(), kFieldBytes)) return std::nullopt;
    strip.imageCrc = static_cast<std::uint32_t>(reader.get(4));
    if (versionOf(layout) == 1) return strip;
    if ((strip.flags & ~kOwnFlags) != shapeFlags(layout)) return std::nullopt;
    strip.flags &= kOwnFlags;
    return strip;
}

}  // namespace frames
