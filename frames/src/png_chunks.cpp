#include "png_chunks.h"

#include "crc32.h"

namespace frames {
namespace {

constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kTypeBytes = 4;
constexpr std::size_t kFrameBytes = 12;  // length, type and check sum of a chunk
constexpr std::size_t kHeaderBytes = 13;

struct Chunk {
    std::size_t bytes = 0;  // of its content
    std::string type;
};

// Reads and checks the chunk there; why it is invalid, or an empty text.
std::string readChunk(const std::uint8_t* at, std::size_t left, Chunk& chunk) {
    if (left < kFrameBytes) return "ends within its chunks";
    chunk.bytes = bigEndian(at);
    if (chunk.bytes > left - kFrameBytes) return "ends within a chunk";
    const std::uint8_t* const type = at + 4;
    for (std::size_t letter = 0; letter < kTypeBytes; ++letter) {
        // Independent of the letters of the user's language.
        const unsigned capital = type[letter] & ~0x20u;
        if (capital < 'A' || capital > 'Z') return "has a chunk whose type is no word";
    }
    chunk.type.assign(type, type + kTypeBytes);
    if (crc32(type, kTypeBytes + chunk.bytes) != bigEndian(type + kTypeBytes + chunk.bytes))
        return "the check sum of its chunk " + chunk.type + " is wrong";
    return {};
}

// Keeps track of which chunk may follow.
class Order {
public:
    // Why the chunk must not be here, or an empty text.
    std::string take(const Chunk& chunk) {
        const bool isHeader = chunk.type == "IHDR";
        if (isHeader == _begun || (isHeader && chunk.bytes != kHeaderBytes)) return "does not begin with one header";
        _begun = true;
        const bool isPixels = chunk.type == "IDAT";
        if (isPixels && _pixelsEnded) return "its pixels are interrupted by another chunk";
        _pixelsEnded = _pixelsEnded || (_pixels && !isPixels);
        _pixels = _pixels || isPixels;
        return chunk.type == "IEND" && !_pixels ? "has no pixels" : "";
    }

private:
    bool _begun = false;
    bool _pixels = false;
    bool _pixelsEnded = false;
};

}  // namespace

std::string problemOfPngChunks(const std::uint8_t* file, std::size_t size) {
    Order order;
    Chunk chunk;
    for (std::size_t at = kSignatureBytes; chunk.type != "IEND"; at += kFrameBytes + chunk.bytes) {
        if (std::string problem = readChunk(file + at, size - at, chunk); !problem.empty()) return problem;
        if (std::string problem = order.take(chunk); !problem.empty()) return problem;
    }
    return {};
}

}  // namespace frames
