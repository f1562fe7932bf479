#include "picture.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "image_file.h"
#include "png_chunks.h"
#include "printable.h"
#include "regular_file.h"
#include "stb_settings.h"

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::uint8_t kPgmStart[] = {'P', '5'};
constexpr std::size_t kMaxPixels = std::size_t{1} << 28;
constexpr std::size_t kMaxSample = 65535;
constexpr std::size_t kMaxFileBytes = std::size_t{1} << 40;  // where memory is not limited; a product of it still fits

// Opens a file of at most so many bytes.
bool openFile(const std::string& path, std::size_t maxBytes, RegularFile& file, std::string& error) {
    if (!file.open(path, error)) return false;
    if (file.stamp().bytes <= maxBytes) return true;
    error = path + ": has " + std::to_string(file.stamp().bytes) + " bytes, more than there is memory for";
    return false;
}

// PGM: "P5", width, height, greatest value, each behind blanks or comments, one blank, then the pixels.

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

// Why there is no room for the samples of so many pixels; empty when there is.
std::string tooLarge(std::size_t width, std::size_t height, std::size_t channels, const PictureWish& wish) {
    const std::size_t pixels = width * height;  // both below 2^32
    if (pixels <= kMaxPixels && pixels * channels <= wish.maxBytes / sizeof(std::uint16_t)) return {};
    return "has " + std::to_string(width) + " x " + std::to_string(height) + " pixels, more than there is memory for";
}

std::uint16_t spread(std::size_t value, std::size_t greatest) {
    return static_cast<std::uint16_t>((std::min(value, greatest) * kMaxSample + greatest / 2) / greatest);
}

// Each decoder answers why it cannot, or an empty text.

std::string decodePgm(const Bytes& file, const PictureWish& wish, Picture& picture) {
    PgmHeader header(file);
    std::size_t greatest = 0;
    std::size_t position = 0;
    if (!header.number(picture.width) || !header.number(picture.height) || !header.number(greatest) ||
        !header.pixels(position))
        return "the PGM header is damaged";
    if (picture.width == 0 || picture.height == 0 || picture.width > kMaxPixels / picture.height)
        return "the PGM header names an impossible size";
    if (greatest == 0 || greatest > kMaxSample) return "the PGM header names an impossible greatest value";
    const std::size_t sampleBytes = greatest > 255 ? 2 : 1;
    const std::size_t pixels = picture.width * picture.height;
    if (file.size() - position < pixels * sampleBytes) return "the PGM file ends before its last pixel";
    if (std::string reason = tooLarge(picture.width, picture.height, 1, wish); !reason.empty()) return reason;
    picture.samples.resize(pixels);
    const std::uint8_t* stored = file.data() + position;
    for (std::uint16_t& sample : picture.samples) {
        sample = spread(sampleBytes == 2 ? std::size_t{stored[0]} << 8 | stored[1] : stored[0], greatest);
        stored += sampleBytes;
    }
    return {};
}

std::size_t bigEndian(const std::uint8_t* bytes) {
    return std::size_t{bytes[0]} << 24 | std::size_t{bytes[1]} << 16 | std::size_t{bytes[2]} << 8 | bytes[3];
}

struct Freeing {
    void operator()(std::uint16_t* block) const { std::free(block); }
};

// Not each of the library's failures has one.
std::string decodersReason() {
    const char* const reason = stbi_failure_reason();
    return reason ? printable(reason) : "its pixels cannot be decoded";
}

std::string decodePng(const Bytes& file, const PictureWish& wish, Picture& picture) {
    constexpr std::size_t kSizePlace = 16;
    if (file.size() < kSizePlace + 8) return "is damaged: ends within its header";
    // Before the library looks at it, which names no reason for absurd sizes.
    const std::size_t storedWidth = bigEndian(&file[kSizePlace]);
    const std::size_t storedHeight = bigEndian(&file[kSizePlace + 4]);
    if (std::string reason = tooLarge(storedWidth, storedHeight, 1, wish); !reason.empty()) return reason;
    const auto size = static_cast<int>(file.size());
    int width = 0;
    int height = 0;
    int stored = 0;  // 1 grey, 2 with opacity, 3 colour, 4 with opacity
    if (stbi_info_from_memory(file.data(), size, &width, &height, &stored) == 0)
        return "is damaged: has no PNG header that makes sense";
    picture.width = static_cast<std::size_t>(width);
    picture.height = static_cast<std::size_t>(height);
    picture.channels = wish.colour && stored >= 3 ? 3 : 1;
    if (std::string reason = tooLarge(picture.width, picture.height, picture.channels, wish); !reason.empty())
        return reason;
    if (const std::string problem = problemOfPngChunks(file.data(), file.size()); !problem.empty())
        return "is damaged: " + problem;
    const std::unique_ptr<std::uint16_t, Freeing> samples(
        stbi_load_16_from_memory(file.data(), size, &width, &height, &stored, static_cast<int>(picture.channels)));
    if (!samples) return "is damaged: " + decodersReason();
    picture.samples.assign(samples.get(), samples.get() + picture.width * picture.height * picture.channels);
    return {};
}

bool beginsWith(const Bytes& file, const std::uint8_t* start, std::size_t size) {
    return file.size() >= size && std::memcmp(file.data(), start, size) == 0;
}

std::string decode(const Bytes& file, const PictureWish& wish, Picture& picture) {
    if (file.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return "is larger than 2 GB";
    if (beginsWith(file, kPngSignature, sizeof kPngSignature)) return decodePng(file, wish, picture);
    if (beginsWith(file, kPgmStart, sizeof kPgmStart)) return decodePgm(file, wish, picture);
    return "is neither a PNG nor a binary PGM (P5) file";
}

std::string sizeText(const ImageFormat& format) {
    return std::to_string(format.width) + " x " + std::to_string(format.height) + " pixels of " +
           std::to_string(format.bytesPerPixel) + (format.bytesPerPixel == 1 ? " byte" : " bytes");
}

// The samples of one raw pixel, appended.
void appendSamples(const std::uint8_t* pixel, const PixelWriter& depth, std::size_t channels,
                   std::vector<std::uint16_t>& samples) {
    if (channels == 3) {
        for (std::size_t channel = 0; channel < 3; ++channel) samples.push_back(spread(pixel[channel], 255));
    } else if (depth.bytesPerPixel() == 3 || depth.bytesPerPixel() == 4) {
        const double brightness = Colour{pixel[0] / 255.0, pixel[1] / 255.0, pixel[2] / 255.0}.brightness();
        const double nearest = brightness * kMaxSample + 0.5;  // not negative: cutting rounds
        samples.push_back(static_cast<std::uint16_t>(nearest));
    } else {
        samples.push_back(spread(depth.grey(pixel), depth.whiteGrey()));
    }
}

Picture rawPicture(const Bytes& image, const ImageFormat& format, const PixelWriter& depth, std::size_t channels) {
    Picture picture{format.width, format.height, channels, {}};
    picture.samples.reserve(format.width * format.height * channels);
    for (std::size_t at = 0; at < image.size(); at += format.bytesPerPixel)
        appendSamples(&image[at], depth, channels, picture.samples);
    return picture;
}

}  // namespace

std::vector<std::uint8_t> Picture::line(std::size_t y, const PixelWriter& writer) const {
    std::vector<std::uint8_t> bytes(width * writer.bytesPerPixel());
    const std::uint16_t* sample = samples.data() + y * width * channels;
    for (std::size_t at = 0; at < bytes.size(); at += writer.bytesPerPixel(), sample += channels) {
        if (channels == 3) {
            constexpr double kWhite = kMaxSample;
            writer.put(&bytes[at], Colour{sample[0] / kWhite, sample[1] / kWhite, sample[2] / kWhite});
        } else {
            writer.put(&bytes[at], sample[0] / static_cast<double>(kMaxSample));
        }
    }
    return bytes;
}

bool readPicture(const std::string& path, const PictureWish& wish, Picture& picture, std::string& error) {
    // 16 bits of colour with opacity have the most bytes for a sample, and then there are headers.
    constexpr std::size_t kMostBytesPerSample = 8;
    constexpr std::size_t kHeaders = std::size_t{1} << 20;
    const std::size_t maxSamples = std::min(wish.maxBytes, kMaxFileBytes) / sizeof(std::uint16_t);
    Bytes file;
    RegularFile opened;
    if (!openFile(path, maxSamples * kMostBytesPerSample + kHeaders, opened, error)) return false;
    if (!opened.readAll(file)) {
        error = path + ": cannot be read";
        return false;
    }
    if (decodePicture(file, wish, picture, error)) return true;
    error.insert(0, path + ": ");
    return false;
}

bool decodePicture(const std::vector<std::uint8_t>& file, const PictureWish& wish, Picture& picture,
                   std::string& error) {
    Picture decoded;
    error = decode(file, wish, decoded);
    if (!error.empty()) return false;
    picture = std::move(decoded);
    return true;
}

bool readRawPictures(const std::string& path, const ImageFormat& format, unsigned bits, const PictureWish& wish,
                     std::vector<Picture>& pictures, std::string& error) {
    const bool coloured = format.bytesPerPixel == 3 || format.bytesPerPixel == 4;
    const std::size_t channels = wish.colour && coloured ? 3 : 1;
    RegularFile file;
    const std::size_t maxPixels = std::min(wish.maxBytes, kMaxFileBytes) / sizeof(std::uint16_t) / channels;
    if (!openFile(path, maxPixels * format.bytesPerPixel, file, error)) return false;
    const auto bytes = static_cast<std::size_t>(file.stamp().bytes);
    if (bytes == 0 || bytes % format.bytes() != 0) {
        error = path + ": has " + std::to_string(bytes) + " bytes, no whole number of images of " + sizeText(format) +
                " (" + std::to_string(format.bytes()) + " bytes each)";
        return false;
    }
    const PixelWriter depth(format.bytesPerPixel, bits);
    Bytes image(format.bytes());
    std::vector<Picture> read;
    for (std::size_t count = bytes / image.size(); count > 0; --count) {
        if (!read.empty() && wish.stopRequested && wish.stopRequested()) break;
        if (file.read(image.data(), image.size()) != static_cast<std::ptrdiff_t>(image.size())) {
            error = path + ": cannot be read";
            return false;
        }
        read.push_back(rawPicture(image, format, depth, channels));
    }
    pictures = std::move(read);
    return true;
}

bool readGreyImage(const std::string& path, GreyImage& image, std::string& error) {
    Picture picture;
    if (!readPicture(path, {}, picture, error)) return false;
    image.width = picture.width;
    image.height = picture.height;
    image.pixels.resize(picture.samples.size());
    std::transform(picture.samples.begin(), picture.samples.end(), image.pixels.begin(),
                   [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample >> 8); });
    return true;
}

}  // namespace frames
