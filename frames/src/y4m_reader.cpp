#include "y4m_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <utility>

#include "image_size.h"
#include "printable.h"

namespace frames {
namespace {

constexpr std::size_t kMaxLine = 4096;
constexpr char kMagic[] = "YUV4MPEG2";
constexpr char kFrame[] = "FRAME";

/// How many pixels share one sample of colour.
struct ChromaRow {
    const char* name;
    std::size_t across, down;  // 0: there is no colour
};
// clang-format off
constexpr ChromaRow kChromas[] = {
    {"mono", 0, 0},
    {"420",  2, 2},
    {"422",  2, 1},
    {"444",  1, 1},
    {"411",  4, 1},
    {"440",  1, 2},
};
// clang-format on

bool parseNumber(const std::string& text, std::uint64_t& value) {
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    return problem == std::errc() && end == text.data() + text.size();
}

bool parseSide(const std::string& text, std::size_t& side) {
    std::uint64_t value = 0;
    if (!parseNumber(text, value) || value == 0 || value > kMaxSide) return false;
    side = static_cast<std::size_t>(value);
    return true;
}

// "30000:1001"; "0:0" stands for an unknown one.
bool parseRate(const std::string& text, Y4mFormat& format) {
    const std::size_t colon = text.find(':');
    return colon != std::string::npos && parseNumber(text.substr(0, colon), format.rateFrames) &&
           parseNumber(text.substr(colon + 1), format.rateSeconds);
}

// What stands behind the name of the arrangement: "p10" or, of mono, "10"; or the place of the colours ("jpeg",
// "mpeg2", "paldv"), which does not count.
bool parseBits(std::string rest, bool mono, unsigned& bits) {
    constexpr std::array<const char*, 4> kPlaces{"", "jpeg", "mpeg2", "paldv"};
    if (std::ranges::find(kPlaces, rest) != kPlaces.end()) return true;
    if (!mono) {
        if (rest[0] != 'p') return false;
        rest.erase(0, 1);
    }
    std::uint64_t value = 0;
    if (!parseNumber(rest, value) || value < 8 || value > 16) return false;
    bits = static_cast<unsigned>(value);
    return true;
}

bool parseChroma(const std::string& text, Y4mFormat& format) {
    for (const ChromaRow& row : kChromas) {
        const std::string name = row.name;
        if (!text.starts_with(name)) continue;
        if (!parseBits(text.substr(name.size()), row.across == 0, format.bits)) return false;
        if (row.across == 0) return true;
        const std::size_t across = (format.width + row.across - 1) / row.across;
        const std::size_t down = (format.height + row.down - 1) / row.down;
        format.chromaBytes = 2 * across * down * (format.bits > 8 ? 2 : 1);
        return true;
    }
    return false;
}

std::string quoted(const std::string& word) {
    constexpr std::size_t kShown = 40;
    std::string text = "'";
    return text.append(printable(word.substr(0, kShown))).append("'");
}

}  // namespace

bool parseY4mHeader(const std::string& line, Y4mFormat& format, std::string& error) {
    std::istringstream words(line);
    std::string word;
    if (!(words >> word) || word != kMagic) {
        error = "is no Y4M stream: it does not begin with YUV4MPEG2";
        return false;
    }
    Y4mFormat read;
    std::string chroma = "420";
    while (words >> word) {
        const std::string value = word.substr(1);
        bool known = true;
        if (word[0] == 'W') known = parseSide(value, read.width);
        if (word[0] == 'H') known = parseSide(value, read.height);
        if (word[0] == 'F') known = parseRate(value, read);
        if (word[0] == 'C') chroma = value;
        if (!known) {
            error = "its header has " + quoted(word) + ", which makes no sense";
            return false;
        }
    }
    if (read.width == 0 || read.height == 0) {
        error = "its header lacks width or height";
        return false;
    }
    if (!parseChroma(chroma, read)) {
        error = "its pixels are of the kind " + quoted("C" + chroma) +
                ", which is not read: mono, 420, 422 and 444 of 8 to 16 bits are";
        return false;
    }
    format = read;
    return true;
}

Y4mReader::Y4mReader(Source source, std::size_t maxBytes, std::string maxBytesOption)
    : _source(std::move(source)), _maxBytes(maxBytes), _maxBytesOption(std::move(maxBytesOption)) {}

Y4mReader::Result Y4mReader::fail(const std::string& reason) {
    _error = reason;
    return _result = Result::failed;
}

// What a source has answered.
Y4mReader::Result Y4mReader::take(std::ptrdiff_t count) {
    if (count < 0) return Result::waiting;
    if (count > 0) return Result::ready;
    if (_part == Part::frameLine && _line.empty()) return _result = Result::ended;
    if (_part == Part::header) return fail(_line.empty() ? "is empty" : "ends within its header");
    return fail("ends within a picture");
}

// One byte after the other: what stands behind the line is not to be taken.
Y4mReader::Result Y4mReader::readLine() {
    for (;;) {
        std::uint8_t byte = 0;
        if (const Result result = take(_source(&byte, 1)); result != Result::ready) return result;
        if (byte == '\n') return Result::ready;
        if (_line.size() >= kMaxLine) return fail("has a line of more than " + std::to_string(kMaxLine) + " bytes");
        _line += static_cast<char>(byte);
    }
}

Y4mReader::Result Y4mReader::readBytes(std::uint8_t* to, std::size_t size, std::size_t& done) {
    while (done < size) {
        const std::ptrdiff_t count = _source(to + done, size - done);
        if (const Result result = take(count); result != Result::ready) return result;
        done += static_cast<std::size_t>(count);
    }
    return Result::ready;
}

Y4mReader::Result Y4mReader::skipChroma() {
    std::array<std::uint8_t, 4096> piece{};
    while (_done < _format.chromaBytes) {
        const std::ptrdiff_t count = _source(piece.data(), std::min(piece.size(), _format.chromaBytes - _done));
        if (const Result result = take(count); result != Result::ready) return result;
        _done += static_cast<std::size_t>(count);
    }
    return Result::ready;
}

Y4mReader::Result Y4mReader::readHeader() {
    if (_result == Result::ended || _result == Result::failed) return _result;
    if (_part != Part::header) return Result::ready;
    if (const Result result = readLine(); result != Result::ready) return result;
    if (std::string reason; !parseY4mHeader(_line, _format, reason)) return fail(reason);
    if (_format.lumaBytes() > _maxBytes)
        return fail("has pictures of " + std::to_string(_format.width) + " x " + std::to_string(_format.height) +
                    " pixels, more than " + _maxBytesOption + " allows");
    _line.clear();
    _part = Part::frameLine;
    return Result::ready;
}

Y4mReader::Result Y4mReader::readPicture() {
    if (_result == Result::ended || _result == Result::failed) return _result;
    if (_part == Part::frameLine) {
        if (const Result result = readLine(); result != Result::ready) return result;
        if (_line != kFrame && !_line.starts_with(std::string(kFrame) + ' '))
            return fail("has " + quoted(_line) + " where a picture has to begin");
        _line.clear();
        _luma.resize(_format.lumaBytes());
        _part = Part::luma;
        _done = 0;
    }
    if (_part == Part::luma) {
        if (const Result result = readBytes(_luma.data(), _luma.size(), _done); result != Result::ready) return result;
        _part = Part::chroma;
        _done = 0;
    }
    if (const Result result = skipChroma(); result != Result::ready) return result;
    _part = Part::frameLine;
    return Result::ready;
}

}  // namespace frames
