#include "image_file.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <system_error>

#include "crc32.h"
#include "stb_settings.h"

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr int kPngColourTypes[] = {-1, 0, 0, 2, 6};  // by bytes per pixel: grey, 16-bit grey, colour, with opacity
constexpr std::uint8_t kFilterUp = 2;                // each line as its difference from the one above
constexpr int kDeflateQuality = 5;                   // the fastest that the library has
constexpr std::size_t kMaxPixels = std::size_t{1} << 28;

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

// One line of the image as PNG stores it: 16-bit samples with the upper byte first.
void storedLine(const ImageView& image, std::size_t y, Bytes& line) {
    std::copy_n(image.line(y), line.size(), line.begin());
    if (image.format.bytesPerPixel != 2) return;
    for (std::size_t byte = 0; byte + 1 < line.size(); byte += 2) std::swap(line[byte], line[byte + 1]);
}

Bytes filteredLines(const ImageView& image) {
    const std::size_t lineBytes = image.format.lineBytes();
    Bytes filtered;
    filtered.reserve((lineBytes + 1) * image.format.height);
    Bytes above(lineBytes, 0);
    Bytes line(lineBytes);
    for (std::size_t y = 0; y < image.format.height; ++y) {
        storedLine(image, y, line);
        filtered.push_back(kFilterUp);
        for (std::size_t byte = 0; byte < lineBytes; ++byte)
            filtered.push_back(static_cast<std::uint8_t>(line[byte] - above[byte]));
        above.swap(line);
    }
    return filtered;
}

bool readFile(const std::string& path, Bytes& bytes, std::string& error) {
    std::error_code failure;
    if (std::filesystem::is_directory(path, failure)) {
        error = path + ": is a folder";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = path + ": cannot be opened for reading";
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (file.bad()) {
        error = path + ": cannot be read";
        return false;
    }
    return true;
}

// ---- PGM: "P5", width, height, greatest value, each behind blanks or comments, one blank, then the pixels.

class PgmHeader {
public:
    explicit PgmHeader(const Bytes& file) : _file(file) {}

    // The next number, or none when there is no sensible one.
    bool number(std::size_t& value) {
        skipBlanksAndComments();
        const std::size_t first = _position;
        value = 0;
        while (_position < _file.size() && std::isdigit(_file[_position]) != 0 && value < kMaxPixels)
            value = value * 10 + (_file[_position++] - std::size_t{'0'});
        return _position > first;
    }

    // Where the pixels begin: behind exactly one blank.
    bool pixels(std::size_t& position) {
        if (_position >= _file.size() || std::isspace(_file[_position]) == 0) return false;
        position = _position + 1;
        return true;
    }

private:
    void skipBlanksAndComments() {
        while (_position < _file.size()) {
            if (_file[_position] == '#') {
                while (_position < _file.size() && _file[_position] != '\n') ++_position;
            } else if (std::isspace(_file[_position]) == 0) {
                return;
            } else {
                ++_position;
            }
        }
    }

    const Bytes& _file;
    std::size_t _position = 2;  // behind "P5"
};

std::uint8_t spread(std::size_t value, std::size_t greatest) {
    return static_cast<std::uint8_t>((std::min(value, greatest) * 255 + greatest / 2) / greatest);
}

const char* decodePgm(const Bytes& file, GreyImage& image) {
    PgmHeader header(file);
    std::size_t greatest = 0;
    std::size_t position = 0;
    if (!header.number(image.width) || !header.number(image.height) || !header.number(greatest) ||
        !header.pixels(position))
        return "the PGM header is damaged";
    if (image.width == 0 || image.height == 0 || image.width > kMaxPixels / image.height)
        return "the PGM header names an impossible size";
    if (greatest == 0 || greatest > 65535) return "the PGM header names an impossible greatest value";
    const std::size_t sampleBytes = greatest > 255 ? 2 : 1;
    const std::size_t pixels = image.width * image.height;
    if (file.size() - position < pixels * sampleBytes) return "the PGM file ends before its last pixel";
    image.pixels.resize(pixels);
    const std::uint8_t* sample = file.data() + position;
    for (std::uint8_t& pixel : image.pixels) {
        if (sampleBytes == 2) {
            pixel = spread(static_cast<std::size_t>(sample[0] << 8 | sample[1]), greatest);
        } else {
            pixel = greatest == 255 ? sample[0] : spread(sample[0], greatest);
        }
        sample += sampleBytes;
    }
    return nullptr;
}

const char* decodePng(const Bytes& file, GreyImage& image) {
    int width = 0;
    int height = 0;
    int channels = 0;
    const Block pixels(
        stbi_load_from_memory(file.data(), static_cast<int>(file.size()), &width, &height, &channels, 1));
    if (!pixels) return stbi_failure_reason();
    image.width = static_cast<std::size_t>(width);
    image.height = static_cast<std::size_t>(height);
    image.pixels.assign(pixels.get(), pixels.get() + image.width * image.height);
    return nullptr;
}

bool beginsWith(const Bytes& file, const std::uint8_t* start, std::size_t size) {
    return file.size() >= size && std::memcmp(file.data(), start, size) == 0;
}

// The reason why not, or null.
const char* decode(const Bytes& file, GreyImage& image) {
    constexpr std::uint8_t kPgmStart[] = {'P', '5'};
    if (file.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return "is larger than 2 GB";
    if (beginsWith(file, kPngSignature, sizeof kPngSignature)) return decodePng(file, image);
    if (beginsWith(file, kPgmStart, sizeof kPgmStart)) return decodePgm(file, image);
    return "is neither a PNG nor a binary PGM (P5) file";
}

}  // namespace

bool encodePng(const ImageView& image, Bytes& file, std::string& error) {
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
    Bytes lines = filteredLines(image);
    int packedSize = 0;
    const Block packed(stbi_zlib_compress(lines.data(), static_cast<int>(lines.size()), &packedSize, kDeflateQuality));
    if (!packed) {
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
    putChunk(file, "IDAT", packed.get(), static_cast<std::size_t>(packedSize));
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

bool readGreyImage(const std::string& path, GreyImage& image, std::string& error) {
    Bytes file;
    if (!readFile(path, file, error)) return false;
    GreyImage decoded;
    if (const char* reason = decode(file, decoded)) {
        error = path + ": " + reason;
        return false;
    }
    image = std::move(decoded);
    return true;
}

}  // namespace frames
