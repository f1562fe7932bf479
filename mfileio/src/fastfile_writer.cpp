#include <algorithm>
#include <cstring>

#include "errtrace.h"
#include "fastfile.h"
#include "fastfile_transfer.h"

MFastFileWriter::MFastFileWriter() { _end = _buffer + kBufferSize; }

MFastFileWriter::MFastFileWriter(const char* fileName, int mode) : MFastFileWriter() {
    if (!Open(fileName, mode)) M_ERRTRACE("MFastFileWriter::MFastFileWriter(): Open(\"%s\",%d) failed", fileName, mode);
}

MFastFileWriter::~MFastFileWriter() { Close(); }

bool MFastFileWriter::Open(const char* fileName, int mode) {
    if (!Close()) return false;
    const int plainMode = mode & ~kFlush;
    const DWORD flags = mode & kFlush ? FILE_FLAG_WRITE_THROUGH : 0;
    _file = keepName(fileName) ? openwritefile(fileName, plainMode, flags) : INVALID_HANDLE_VALUE;
    if (_file == INVALID_HANDLE_VALUE) {
        _fileName.clear();
        M_ERRTRACE("%s(): openwritefile(%s, %d) failed", "MFastFileWriter::Open", fileName, plainMode);
        return false;
    }
    _openState = kOpen;
    return true;
}

bool MFastFileWriter::Close() {
    if (_openState != kOpen) return true;
    const bool written = write_to_disk();
    // A handle that cannot be closed is abandoned: before another attempt, its number may belong to another file.
    const HANDLE file = _file;
    _file = INVALID_HANDLE_VALUE;
    _openState = kClosed;
    _fileName.clear();
    _current = _buffer;
    if (CloseHandle(file)) return written;
    const DWORD error = GetLastError();
    M_ERRTRACE("%s(): CloseHandle() failed: %u", "MFastFileWriter::Close", static_cast<unsigned>(error));
    return false;
}

bool MFastFileWriter::Flush() {
    if (_openState != kOpen) {
        M_ERRTRACE("MFastFileWriter::Flush(): no open file");
        return false;
    }
    if (_file == INVALID_HANDLE_VALUE) {
        M_ERRTRACE("MFastFileWriter::Flush(): hFile not valid");
        return false;
    }
    if (!write_to_disk()) return false;
    if (FlushFileBuffers(_file)) return true;
    const DWORD error = GetLastError();
    M_ERRTRACE("MFastFileWriter::Flush(): FlushFileBuffers() failed: %d", static_cast<int>(error));
    return false;
}

bool MFastFileWriter::write_to_disk() {
    const auto pending = static_cast<std::size_t>(_current - _buffer);
    if (pending == 0) return true;
    std::size_t written = 0;
    if (write64(_file, _buffer, pending, kLargestTransfer, &written) < 0) {
        M_ERRTRACE("%s(): write64() failed", "MFastFileWriter::write_to_disk");
    } else if (written < pending) {
        M_ERRTRACE("%s(): wrote only %u bytes instead of %Iu bytes", "MFastFileWriter::write_to_disk",
                   static_cast<unsigned>(written), pending);
    }
    // Unwritten bytes wait at the start of the buffer.
    _current = std::copy(_buffer + written, _buffer + pending, _buffer);
    return written == pending;
}

std::ptrdiff_t MFastFileWriter::write_to_buffer(const void* source, std::size_t count) {
    if (_openState != kOpen) {
        M_ERRTRACE("MFastFileWriter::write_to_buffer(): no open file");
        return -1;
    }
    const auto* bytes = static_cast<const char*>(source);
    for (std::size_t rest = count; rest > 0;) {
        if (_current == _end && !write_to_disk()) return -1;
        const std::size_t part = std::min(rest, static_cast<std::size_t>(_end - _current));
        _current = std::copy_n(bytes, part, _current);
        bytes += part;
        rest -= part;
    }
    return static_cast<std::ptrdiff_t>(count);
}

std::ptrdiff_t MFastFileWriter::Write(const void* source, std::size_t count) { return write_to_buffer(source, count); }

bool MFastFileWriter::WriteChar(char character) {
    if (_openState != kOpen) return write_to_buffer(&character, 1) == 1;
    if (_current == _end && !write_to_disk()) {
        M_ERRTRACE("MFastFileWriter::WriteChar(): write_to_disk() failed");
        return false;
    }
    *_current++ = character;
    return true;
}

bool MFastFileWriter::WriteCharNL(char character) {
    return (character != '\n' || WriteChar('\r')) && WriteChar(character);
}

std::ptrdiff_t MFastFileWriter::WriteString(std::string_view text) { return write_to_buffer(text.data(), text.size()); }

std::ptrdiff_t MFastFileWriter::WriteStringNL(std::string_view text) {
    if (text.empty()) return write_to_buffer(text.data(), 0);  // fails without a file, as any other text does
    if (!std::all_of(text.begin(), text.end(), [this](char character) { return WriteCharNL(character); })) return -1;
    return static_cast<std::ptrdiff_t>(text.size()) + std::count(text.begin(), text.end(), '\n');
}

std::ptrdiff_t MFastFileWriter::WriteLine(std::string_view line) {
    const std::size_t lineEnd = line.find('\n');
    if (lineEnd != std::string_view::npos) {
        M_ERRTRACE("MFastFileWriter::WriteLine(): EOL detected in string at pos %Iu", lineEnd);
        return -1;
    }
    const std::ptrdiff_t count = WriteString(line);
    if (count < 0 || !WriteCharNL('\n')) return -1;
    return count + 2;
}

std::ptrdiff_t MFastFileWriter::WriteLineNL(std::string_view text) {
    const std::ptrdiff_t count = WriteStringNL(text);
    if (count < 0 || !WriteCharNL('\n')) return -1;
    return count + 2;
}

bool MFastFileWriter::WriteInt(std::int32_t value) { return write_to_buffer(&value, sizeof value) == sizeof value; }

bool MFastFileWriter::WriteShort(std::int16_t value) { return write_to_buffer(&value, sizeof value) == sizeof value; }

bool MFastFileWriter::WriteLong(std::int32_t value) { return write_to_buffer(&value, sizeof value) == sizeof value; }

bool MFastFileWriter::WriteFloat(float value) { return write_to_buffer(&value, sizeof value) == sizeof value; }

bool MFastFileWriter::WriteDouble(double value) { return write_to_buffer(&value, sizeof value) == sizeof value; }
