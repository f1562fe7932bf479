// Ini data and their file: reading and saving.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "MIniData_parts.h"
#include "errtrace.h"
#include "fastfile.h"
#include "fileops.h"
#include "regular_file.h"

namespace {

const char kTooLarge[] = "is larger than 64 MB";

// A reader that fails after a number of bytes, because a file may grow while it is read.
class BoundedReader : public MFastFileReader {
public:
    explicit BoundedReader(std::uint64_t greatest) : _left(greatest) {}

    bool exceeded() const { return _exceeded; }

protected:
    bool fill_buffer() override {
        if (_exceeded || !MFastFileReader::fill_buffer()) return false;
        const auto taken = static_cast<std::uint64_t>(_end - std::min(_current, _end));
        _exceeded = taken > _left;
        _left -= std::min(taken, _left);
        if (_exceeded) _current = _end;
        return !_exceeded;
    }

private:
    std::uint64_t _left;
    bool _exceeded = false;
};

}  // namespace

bool IniData::Open(const char* fileName) {
    std::string ownName = fileName ? fileName : "";  // before Close clears what Reload passes
    if (!Close()) {
        M_ERRTRACE("MIniData::Open(): Close() failed");
        return false;
    }
    _fileName = std::move(ownName);
    _unchanged = false;
    const bool readable = looksReadable();  // first: a pipe of Windows has no file's attributes
    if (readable && !file_access(_fileName.c_str())) {
        _holdsWholeFile = errno == ENOENT;  // also what only could not be found out counts as absent
        _open = true;                       // and still absent: a new, empty file
        return true;
    }
    _fileAbsent = false;
    if (!readable) return false;
    BoundedReader reader(kGreatestFile);
    if (!reader.Open(_fileName.c_str())) {
        M_ERRTRACE("MIniData::Open(): MFastFileReader::Open() failed");
        return false;
    }
    if (!readLines(reader)) return reader.exceeded() && refuseFile(M_HERE, kTooLarge);
    _unchanged = true;
    _open = true;
    _holdsWholeFile = !_lineDropped;
    return true;
}

// Refuses what could block the reader or never end. The reader reports all other obstacles.
bool IniData::looksReadable() {
    const FileLook look = platform_lookAtFile(_fileName.c_str());
    if (look.other) return refuseFile(M_HERE, "is no regular file");
    return look.bytes <= kGreatestFile || refuseFile(M_HERE, kTooLarge);
}

// Reports, from the given line of this file, why a file is refused, and stores the reason. Always false.
bool IniData::refuseFile(int codeLine, const char* reason) {
    _lastError = reason;
    _MErrTrace_Location(0, kFile, codeLine);
    _MErrTrace_Add("MIniData::Open(\"%.80s\"): %s", _fileName.c_str(), reason);
    return false;
}

bool IniData::readLines(MFastFileReader& reader) {
    const ReplacedLinesGone replacedLinesGone(*this);
    std::string line;
    for (bool first = true; !reader.IsEOF(); first = false) {
        if (!reader.ReadLine(line)) {
            M_ERRTRACE("MIniData::Open(): MFastFileReader::ReadLine() failed");
            return false;
        }
        if (first && !takeMark(line)) return false;
        if (line.empty()) continue;
        if (line.front() == '\0') {
            _lineDropped = true;
            continue;
        }
        if (!parse_line(line)) {
            M_ERRTRACE("MIniData::Open(): parse_line(%.60s) failed", line.c_str());
            return false;
        }
    }
    return true;
}

// Removes a UTF-8 byte-order mark; false for a mark of UTF-16 or UTF-32.
bool IniData::takeMark(std::string& firstLine) {
    using namespace std::string_view_literals;
    // UTF-32, high byte first; UTF-16, high byte first; UTF-16, low byte first, which is also how UTF-32 begins.
    for (const std::string_view mark : {"\x00\x00\xFE\xFF"sv, "\xFE\xFF"sv, "\xFF\xFE"sv}) {
        if (!firstLine.starts_with(mark)) continue;
        _lastError = "UTF16/32 Unicode format not supported.";
        M_ERRTRACE("MIniData::Open(\"%.80s\"): UTF16/32 Unicode format not supported", _fileName.c_str());
        return false;
    }
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    if (firstLine.starts_with(kUtf8Mark)) firstLine.erase(0, kUtf8Mark.size());
    return true;
}

bool IniData::Reload() { return _open && Open(_fileName.c_str()); }

bool IniData::Save() {
    const std::string content = GetContentString();
    const int replacing = _options & kReplaceOnSave ? MFastFile::kSafeReplace : MFastFile::kTruncate;
    const int mode = replacing | (_options & kFlushOnSave ? MFastFile::kFlush : 0);
    if (MFastFile_WriteLinesAtOnce(_fileName.c_str(), content.data(), content.size(), mode) < 0) {
        M_ERRTRACE("MIniData::Save(): MFastFile_WriteLinesAtOnce(\"%.40s\") failed", _fileName.c_str());
        return false;
    }
    _fileAbsent = false;
    _unchanged = true;
    return true;
}
