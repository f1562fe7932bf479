#include <algorithm>
#include <bit>
#include <cstring>

#include <emmintrin.h>

#include "errtrace.h"
#include "fastfile.h"
#include "fastfile_transfer.h"

namespace {

// Finds the first CR or LF; both in one pass, 16 bytes at a time.
const char* findLineEnd(const char* begin, const char* end) {
    const __m128i returns = _mm_set1_epi8('\r');
    const __m128i feeds = _mm_set1_epi8('\n');
    for (; end - begin >= 16; begin += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin));
        const __m128i hits = _mm_or_si128(_mm_cmpeq_epi8(bytes, returns), _mm_cmpeq_epi8(bytes, feeds));
        const auto places = static_cast<unsigned>(_mm_movemask_epi8(hits));
        if (places != 0) return begin + std::countr_zero(places);
    }
    return std::find_if(begin, end, [](char character) { return character == '\r' || character == '\n'; });
}

}  // namespace

MFastFileReader::MFastFileReader(const char* fileName) {
    if (!Open(fileName)) M_ERRTRACE("MFastFileReader::MFastFileReader(): Open(\"%s\") failed", fileName);
}

MFastFileReader::~MFastFileReader() {
    if (!Close()) M_ERRTRACE("MFastFileReader::~MFastFileReader(): Close() failed");
}

bool MFastFileReader::Open(const char* fileName) {
    if (!Close()) {
        M_ERRTRACE("MFastFileReader::Open(): Close() failed");
        return false;
    }
    _file = keepName(fileName) ? openfile(fileName) : INVALID_HANDLE_VALUE;
    if (_file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        _fileName.clear();
        M_ERRTRACE("MFastFileReader::Open(): openfile(\"%s\") failed: %d", fileName, static_cast<int>(error));
        return false;
    }
    _openState = kOpen;
    return true;
}

bool MFastFileReader::Close() {
    if (_openState != kOpen) return true;
    // A handle that cannot be closed is abandoned: before another attempt, its number may belong to another file.
    const HANDLE file = _file;
    _file = INVALID_HANDLE_VALUE;
    _openState = kClosed;
    _fileName.clear();
    forgetBuffer();
    if (CloseHandle(file)) return true;
    const DWORD error = GetLastError();
    M_ERRTRACE("MFastFileReader::Close(): CloseHandle() failed: %d", static_cast<int>(error));
    return false;
}

bool MFastFileReader::fill_buffer() {
    const std::ptrdiff_t count = read64(_file, _buffer, kBufferSize);
    if (count < 0) {
        M_ERRTRACE("MFastFileReader::fill_buffer(): read64() failed");
        return false;
    }
    if (count > 0) {
        _current = _buffer;
        _end = _buffer + count;
    }
    return true;
}

bool MFastFileReader::atEnd() {
    if (_openState != kOpen) {
        M_ERRTRACE("MFastFileReader::IsEOF(): no open file");
        return true;
    }
    if (!fill_buffer()) {
        M_ERRTRACE("MFastFileReader::IsEOF(): fill_buffer() failed");
        return false;
    }
    return usedUp();
}

std::ptrdiff_t MFastFileReader::Read(void* target, std::size_t count) { return read_from_buffer(target, count); }

std::size_t MFastFileReader::takeBuffered(char* target, std::size_t limit) {
    const std::size_t count = std::min(limit, static_cast<std::size_t>(_end - _current));
    std::copy_n(_current, count, target);
    _current += count;
    return count;
}

std::ptrdiff_t MFastFileReader::read_from_buffer(void* target, std::size_t count) {
    if (_openState != kOpen) {
        M_ERRTRACE("MFastFileReader::read_from_buffer(): no open file");
        return -1;
    }
    auto* const bytes = static_cast<char*>(target);
    const std::size_t buffered = takeBuffered(bytes, count);
    const std::size_t rest = count - buffered;
    if (rest == 0) return static_cast<std::ptrdiff_t>(count);

    if (rest < kBufferSize) {
        if (!fill_buffer()) {
            M_ERRTRACE("MFastFileReader::read_from_buffer(): fill_buffer() failed");
            return -1;
        }
        return static_cast<std::ptrdiff_t>(buffered + takeBuffered(bytes + buffered, rest));
    }
    forgetBuffer();  // its bytes no longer precede the file's position, so stepping back is impossible
    const std::ptrdiff_t straight = read64(_file, bytes + buffered, rest);
    if (straight < 0) {
        M_ERRTRACE("MFastFileReader::read_from_buffer(): read64(..,%u,..) failed", static_cast<unsigned>(rest));
        return -1;
    }
    return static_cast<std::ptrdiff_t>(buffered) + straight;
}

std::ptrdiff_t MFastFileReader::read_char_from_buffer(char& character) {
    if (usedUp()) return read_from_buffer(&character, 1);
    character = *_current++;
    return 1;
}

// Passes each buffer's bytes, up to the place that find returns, to store. Stops there, or at the end.
template <typename Find, typename Store>
MFastFileReader::Scan MFastFileReader::scan(Find find, Store store) {
    for (;;) {
        if (usedUp()) {
            if (!fill_buffer()) return Scan::failed;
            if (usedUp()) return Scan::atEnd;
        }
        const std::size_t length = static_cast<std::size_t>(find(_current, _end) - _current);
        store(_current, length);
        _current += length;
        if (_current != _end) return Scan::found;
    }
}

template <typename Store>
MFastFileReader::LineScan MFastFileReader::scanLine(Store store) {
    const Scan found = scan(findLineEnd, store);
    if (found != Scan::found) return found == Scan::atEnd ? LineScan::done : LineScan::failed;
    if (*_current++ != '\r') return LineScan::done;
    if (usedUp() && !fill_buffer()) return LineScan::failedBehindCr;
    if (!usedUp() && *_current == '\n') ++_current;
    return LineScan::done;
}

// Reports that there is no memory. Always false.
bool MFastFileReader::refuseLine(std::string& line) {
    line.clear();
    M_ERRTRACE("MFastFileReader::ReadLine(STL): no memory for the line");
    return false;
}

bool MFastFileReader::ReadLine(std::string& line) {
    const char* const lineEnd = findLineEnd(_current, _end);
    if (_end - lineEnd > 1) {  // nearly always the line end and a byte after it are buffered
        const std::ptrdiff_t length = lineEnd - _current;
        if (!withMemory([&] { line.assign(_current, static_cast<std::size_t>(length)); })) return refuseLine(line);
        _current += length + (lineEnd[0] == '\r' && lineEnd[1] == '\n' ? 2 : 1);
        return true;
    }
    line.clear();
    LineScan result = LineScan::done;
    const auto append = [&line](const char* text, std::size_t length) { line.append(text, length); };
    if (!withMemory([&] { result = scanLine(append); })) return refuseLine(line);
    switch (result) {
        case LineScan::done:
            return true;
        case LineScan::failed:
            M_ERRTRACE("MFastFileReader::ReadLine(STL): fill_buffer() failed");
            break;
        case LineScan::failedBehindCr:
            // kept on purpose: docs/oddities.md, readline-blank
            M_ERRTRACE("MFastFileReader::ReadLine(STL):fill_buffer() failed");
            break;
    }
    return false;
}

std::ptrdiff_t MFastFileReader::ReadLine(char* line, std::size_t maximum) {
    std::size_t stored = 0;
    const LineScan result = scanLine([line, maximum, &stored](const char* text, std::size_t length) {
        const std::size_t fitting = std::min(length, maximum - stored);
        std::copy_n(text, fitting, line + stored);
        stored += fitting;
    });
    if (result != LineScan::done) {
        M_ERRTRACE("MFastFileReader::ReadLine(): fill_buffer() failed");
        return -1;
    }
    if (stored < maximum) line[stored] = '\0';
    return static_cast<std::ptrdiff_t>(stored);
}

bool MFastFileReader::ReadString(std::string& text) {
    text.clear();
    const auto findZero = [](const char* begin, const char* end) { return std::find(begin, end, '\0'); };
    const auto append = [&text](const char* part, std::size_t length) { text.append(part, length); };
    Scan found = Scan::failed;
    if (!withMemory([&] { found = scan(findZero, append); })) {
        text.clear();
        M_ERRTRACE("MFastFileReader::ReadString(): no memory for the text");
        return false;
    }
    if (found == Scan::failed) {
        M_ERRTRACE("MFastFileReader::ReadString(): fill_buffer() failed");
        return false;
    }
    if (found == Scan::found) ++_current;
    return true;
}

bool MFastFileReader::ReadChar(char& character) { return read_char_from_buffer(character) == 1; }

bool MFastFileReader::ReadCharNL(char& character) {
    char first = 0;
    const std::ptrdiff_t count = read_char_from_buffer(first);
    if (count < 0) M_ERRTRACE("MFastFileReader::ReadCharNL: read_char_from_buffer() #1 failed");
    if (count != 1) return false;
    if (first == '\r') {
        char second = 0;
        const std::ptrdiff_t secondCount = read_char_from_buffer(second);
        if (secondCount < 0) {
            M_ERRTRACE("MFastFileReader::ReadCharNL(): read_char_from_buffer() #2 failed");
            return false;
        }
        if (secondCount == 1 && second == '\n') {
            first = '\n';
        } else if (secondCount == 1 && !UnReadChar()) {
            M_ERRTRACE("MFastFileReader::ReadCharNL(): UnReadChar() failed");
            return false;
        }
    }
    character = first;
    return true;
}

bool MFastFileReader::UnReadChar() {
    if (_openState != kOpen || _current == _buffer) {
        M_ERRTRACE("MFastFileReader::UnReadChar(): can't rewind");
        return false;
    }
    --_current;
    return true;
}

template <typename Value>
bool MFastFileReader::readValue(Value& value) {
    char bytes[sizeof value];
    if (read_from_buffer(bytes, sizeof bytes) != static_cast<std::ptrdiff_t>(sizeof bytes)) return false;
    std::memcpy(&value, bytes, sizeof bytes);
    return true;
}

bool MFastFileReader::ReadInt(std::int32_t& value) { return readValue(value); }

bool MFastFileReader::ReadShort(std::int16_t& value) { return readValue(value); }

bool MFastFileReader::ReadLong(std::int32_t& value) { return readValue(value); }

bool MFastFileReader::ReadFloat(float& value) { return readValue(value); }

bool MFastFileReader::ReadDouble(double& value) { return readValue(value); }
