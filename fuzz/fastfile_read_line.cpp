// MFastFileReader::ReadLine in both forms, with any bytes and any position of the buffer's borders: the lines equal
// those that a simple loop over the bytes finds.
#include <algorithm>
#include <string>
#include <vector>

#include "fastfile.h"
#include "fuzz_target.h"

namespace {

// Serves a file's bytes from memory, in portions.
class MemoryReader : public MFastFileReader {
public:
    MemoryReader(const std::string& bytes, std::size_t portion) : _bytes(bytes), _portion(portion) {
        _openState = kOpen;
    }
    ~MemoryReader() override { _openState = kClosed; }  // no system's file that the base could close

protected:
    bool fill_buffer() override {
        const std::size_t count = std::min(_portion, _bytes.size() - _at);
        if (count == 0) return true;
        std::copy_n(_bytes.data() + _at, count, _buffer);
        _at += count;
        _current = _buffer;
        _end = _buffer + count;
        return true;
    }

private:
    const std::string& _bytes;
    std::size_t _portion;
    std::size_t _at = 0;
};

std::vector<std::string> linesOf(const std::string& bytes) {
    std::vector<std::string> lines;
    std::string line;
    bool open = false;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        open = bytes[at] != '\r' && bytes[at] != '\n';
        if (open) {
            line += bytes[at];
            continue;
        }
        if (bytes[at] == '\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n') ++at;
        lines.push_back(line);
        line.clear();
    }
    if (open) lines.push_back(line);
    return lines;
}

}  // namespace

// The first byte is the size of the portions, 0 for a whole buffer; the second is the size of the character buffer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t portion = data[0] == 0 ? MFastFile::kBufferSize : data[0];
    const std::size_t room = data[1];
    const std::string bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::vector<std::string> lines = linesOf(bytes);

    MemoryReader reader(bytes, portion);
    std::string line;
    for (const std::string& expected : lines) {
        fuzzExpect(!reader.IsEOF(), "the end came too early");
        fuzzExpect(reader.ReadLine(line) && line == expected, "ReadLine yields another line");
    }
    fuzzExpect(reader.IsEOF(), "something is left behind the last line");

    MemoryReader second(bytes, portion);
    std::string buffer(room + 1, '#');
    for (const std::string& expected : lines) {
        const std::string cut = expected.substr(0, room);
        fuzzExpect(second.ReadLine(buffer.data(), room) == static_cast<std::ptrdiff_t>(cut.size()), "another count");
        fuzzExpect(buffer.compare(0, cut.size(), cut) == 0, "ReadLine into a buffer yields another line");
        fuzzExpect(cut.size() == room || buffer[cut.size()] == '\0', "no terminator");
        fuzzExpect(buffer[room] == '#', "written behind the room");
    }
    fuzzExpect(second.IsEOF(), "something is left behind the last cut line");
    return 0;
}
