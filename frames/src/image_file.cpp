#include "image_file.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>

#include <zlib.h>

#include "crc32.h"
#include "stb_settings.h"

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr int kPngColourTypes[] = {-1, 0, 0, 2, 6};  // by bytes per pixel: grey, 16-bit grey, colour, with opacity
constexpr std::uint8_t kFilterUp = 2;                // each line as its difference from the one above
constexpr std::uint8_t kFilterNone = 0;
// The library's "quality" for each level: the number of earlier places that it compares. It treats values below 5 as 5.
constexpr int kDeflateQualities[] = {0, 5, 6, 7, 8, 10, 14, 20, 40, 80};
static_assert(std::size(kDeflateQualities) == kMaxPngLevel + 1);
constexpr std::size_t kMaxStoredBlock = 65'535;  // bytes

struct Freeing {
    void operator()(unsigned char* block) const { std::free(block); }
};
using Block = std::unique_ptr<unsigned char, Freeing>;

void putBigEndian(Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

void putChunk(Bytes& file, const char* type, const std::uint8_t* content, std::size_t size) {
    putBigEndian(file, static_cast<std::uint32_t>(size));
    const std::size_t checked = file.size();
    file.insert(file.end(), type, type + 4);
    file.insert(file.end(), content, content + size);
    putBigEndian(file, crc32(file.data() + checked, file.size() - checked));
}

// One line of the image as stored in a PNG: 16-bit samples with the upper byte first.
void storedLine(const ImageView& image, std::size_t y, Bytes& line) {
    std::copy_n(image.line(y), line.size(), line.begin());
    if (image.format.bytesPerPixel != 2) return;
    for (std::size_t byte = 0; byte + 1 < line.size(); byte += 2) std::swap(line[byte], line[byte + 1]);
}

// All lines, each preceded by the number of its filter.
Bytes filteredLines(const ImageView& image, std::uint8_t filter) {
    const std::size_t lineBytes = image.format.lineBytes();
    Bytes filtered((lineBytes + 1) * image.format.height);
    Bytes above(lineBytes, 0);
    Bytes line(lineBytes);
    std::uint8_t* to = filtered.data();
    for (std::size_t y = 0; y < image.format.height; ++y) {
        storedLine(image, y, line);
        *to++ = filter;
        for (std::size_t byte = 0; byte < lineBytes; ++byte)
            to[byte] = static_cast<std::uint8_t>(line[byte] - above[byte]);
        to += lineBytes;
        if (filter == kFilterUp) above.swap(line);
    }
    return filtered;
}

// A zlib stream that stores the bytes uncompressed.
Bytes storedStream(const Bytes& bytes) {
    const std::size_t blocks = (bytes.size() + kMaxStoredBlock - 1) / kMaxStoredBlock;
    Bytes stream{0x78, 0x01};
    stream.reserve(bytes.size() + 5 * blocks + 6);
    for (std::size_t begin = 0; begin < bytes.size(); begin += kMaxStoredBlock) {
        const std::size_t size = std::min(kMaxStoredBlock, bytes.size() - begin);
        stream.push_back(begin + size == bytes.size() ? 1 : 0);  // the last block is marked
        for (const std::size_t length : {size, ~size}) {
            stream.push_back(static_cast<std::uint8_t>(length));
            stream.push_back(static_cast<std::uint8_t>(length >> 8));
        }
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
        stream.insert(stream.end(), from, from + static_cast<std::ptrdiff_t>(size));
    }
    putBigEndian(stream, static_cast<std::uint32_t>(adler32_z(adler32_z(0, nullptr, 0), bytes.data(), bytes.size())));
    return stream;
}

// The zlib stream of an image's lines; empty when there is no memory for it.
Bytes packedLines(const ImageView& image, int level) {
    if (level <= 0) return storedStream(filteredLines(image, kFilterNone));
    Bytes lines = filteredLines(image, kFilterUp);
    int size = 0;
    const Block packed(stbi_zlib_compress(lines.data(), static_cast<int>(lines.size()), &size,
                                          kDeflateQualities[std::min(level, kMaxPngLevel)]));
    return packed ? Bytes(packed.get(), packed.get() + size) : Bytes();
}

}  // namespace

bool encodePng(const ImageView& image, Bytes& file, std::string& error, int level) {
    const ImageFormat& format = image.format;
    if (format.bytesPerPixel < 1 || format.bytesPerPixel > 4) {
        error = "PNG has no form for " + std::to_string(format.bytesPerPixel) + " bytes per pixel";
        return false;
    }
    if (!image.pixels || format.bytes() == 0 ||
        format.bytes() + format.height > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        error = "an image of " + std::to_string(format.width) + " x " + std::to_string(format.height) +
                " pixels cannot be saved";
        return false;
    }
    const Bytes packed = packedLines(image, level);
    if (packed.empty()) {
        error = "out of memory";
        return false;
    }
    Bytes header;
    putBigEndian(header, static_cast<std::uint32_t>(format.width));
    putBigEndian(header, static_cast<std::uint32_t>(format.height));
    header.push_back(format.bytesPerPixel == 2 ? 16 : 8);
    header.push_back(static_cast<std::uint8_t>(kPngColourTypes[format.bytesPerPixel]));
    header.insert(header.end(), 3, 0);  // deflate, adaptive filters, not interlaced
    file.assign(std::begin(kPngSignature), std::end(kPngSignature));
    putChunk(file, "IHDR", header.data(), header.size());
    putChunk(file, "IDAT", packed.data(), packed.size());
    putChunk(file, "IEND", nullptr, 0);
    return true;
}

bool writePng(const std::string& path, const ImageView& image, std::string& error) {
    Bytes file;
    if (!encodePng(image, file, error)) {
        error = path + ": " + error;
        return false;
    }
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    stream.close();
    if (!stream) {
        error = path + ": cannot be written";
        return false;
    }
    return true;
}

}  // namespace frames
