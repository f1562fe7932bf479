#include "jpeg_markers.h"

#include <numeric>

namespace frames {
namespace {

constexpr std::size_t kMaxScans = 100;
constexpr std::uint8_t kEndMark = 0xD9;
constexpr std::uint8_t kScanMark = 0xDA;
constexpr std::uint8_t kTablesMark = 0xC4;

std::size_t bigEndian16(const std::uint8_t* bytes) { return std::size_t{bytes[0]} << 8 | bytes[1]; }

bool isRestart(std::uint8_t mark) { return mark >= 0xD0 && mark <= 0xD7; }
bool isFrame(std::uint8_t mark) { return mark >= 0xC0 && mark <= 0xCF && mark != 0xC4 && mark != 0xC8 && mark != 0xCC; }
bool isReadFrame(std::uint8_t mark) { return mark <= 0xC2; }

// Tables of codes: each a byte with its number, how many codes there are of each of 16 lengths, and their values. More
// than 256 codes do not fit into the decoder's table.
bool tablesAreWhole(const std::uint8_t* segment, std::size_t length) {
    constexpr std::size_t kHead = 17;
    constexpr std::size_t kMaxCodes = 256;
    for (std::size_t at = 2; at < length;) {
        if (length - at < kHead) return false;
        const std::size_t codes = std::accumulate(segment + at + 1, segment + at + kHead, std::size_t{0});
        if (codes > kMaxCodes || codes > length - at - kHead) return false;
        at += kHead + codes;
    }
    return true;
}

/// Goes from mark to mark.
class Markers {
public:
    Markers(const std::uint8_t* file, std::size_t bytes) : _file(file), _bytes(bytes) {}

    /// The next mark, or none at the end of the file. Skips what stands before it.
    bool next(std::uint8_t& mark) {
        while (_at + 1 < _bytes) {
            const bool found = _file[_at] == 0xFF && _file[_at + 1] != 0 && _file[_at + 1] != 0xFF;
            mark = _file[_at + 1];
            _at += found ? 2 : 1;
            if (found && !isRestart(mark)) return true;
        }
        return false;
    }

    /// The segment behind a mark; null when the file ends within it. Its length includes the two bytes of the length.
    const std::uint8_t* segment(std::size_t& length) {
        if (_bytes - _at < 2) return nullptr;
        length = bigEndian16(_file + _at);
        if (length < 2 || length > _bytes - _at) return nullptr;
        const std::uint8_t* const begin = _file + _at;
        _at += length;
        return begin;
    }

private:
    const std::uint8_t* _file;
    std::size_t _bytes;
    std::size_t _at = 2;  // behind the start mark
};

}  // namespace

std::string problemOfJpegMarkers(const std::uint8_t* file, std::size_t bytes, PictureSize& size) {
    constexpr std::size_t kFrameBytes = 8;  // length, precision, height, width, components
    Markers markers(file, bytes);
    std::size_t scans = 0;
    std::uint8_t mark = 0;
    while (markers.next(mark)) {
        if (mark == kEndMark) return scans > 0 ? std::string() : damaged("has no pixels");
        std::size_t length = 0;
        const std::uint8_t* const segment = markers.segment(length);
        if (!segment) return damaged("ends within its header");
        if (mark == kTablesMark && !tablesAreWhole(segment, length)) return damaged("its tables of codes are damaged");
        if (isFrame(mark)) {
            if (!isReadFrame(mark)) return "is a JPEG of a kind that is not read (lossless or arithmetic)";
            if (length < kFrameBytes || size.width != 0) return damaged("its frame header is damaged");
            size = {bigEndian16(segment + 5), bigEndian16(segment + 3)};
            if (size.width == 0 || size.height == 0) return damaged("its header names an impossible size");
        }
        if (mark != kScanMark) continue;
        if (size.width == 0) return damaged("its pixels come before its header");
        if (++scans > kMaxScans) return damaged("has more than " + std::to_string(kMaxScans) + " scans");
    }
    return damaged("ends before its last pixel");
}

}  // namespace frames
