#include "picture.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <utility>

#include "bmp_header.h"
#include "decoder_memory.h"
#include "image_file.h"
#include "jpeg_markers.h"
#include "picture_limits.h"
#include "png_chunks.h"
#include "printable.h"
#include "regular_file.h"
#include "stb_settings.h"
#include "tiff.h"

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::uint8_t kPgmStart[] = {'P', '5'};
constexpr std::uint8_t kJpegStart[] = {0xFF, 0xD8, 0xFF};
constexpr std::uint8_t kBmpStart[] = {'B', 'M'};
constexpr std::size_t kMaxFileBytes = std::numeric_limits<int>::max();  // of a picture: the decoder counts so far
// A file that is to be read whole.
bool openWhole(const std::string& path, const PictureWish& wish, RegularFile& file, std::string& error) {
    if (!file.open(path, error)) return false;
    const std::uint64_t bytes = file.stamp().bytes;
    if (bytes <= std::min(wish.maxBytes, kMaxFileBytes)) return true;
    error = path + (bytes > kMaxFileBytes ? ": is larger than 2 GB"
                                          : ": has " + std::to_string(bytes) + " bytes, more" + thanAllowed(wish));
    return false;
}

// PGM: "P5", width, height, greatest value, each preceded by blanks or comments, one blank, then the pixels.

class PgmHeader {
public:
    explicit PgmHeader(const Bytes& file) : _file(file) {}

    // The next number, or false when there is no sensible one.
    bool number(std::size_t& value) {
        skipBlanksAndComments();
        const std::size_t first = _position;
        value = 0;
        while (_position < _file.size() && std::isdigit(_file[_position]) != 0 && value < kMaxPixels)
            value = value * 10 + (_file[_position++] - std::size_t{'0'});
        return _position > first;
    }

    // The position of the pixels: after exactly one blank.
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
    if (std::string reason = tooLarge(picture.width, picture.height); !reason.empty()) return reason;
    const std::size_t bytes = file.size() + pixels * sizeof(std::uint16_t);
    if (bytes > wish.maxBytes) return tooMuch(picture.width, picture.height, bytes, wish);
    picture.samples.resize(pixels);
    const std::uint8_t* stored = file.data() + position;
    for (std::uint16_t& sample : picture.samples) {
        sample = spread(sampleBytes == 2 ? std::size_t{stored[0]} << 8 | stored[1] : stored[0], greatest);
        stored += sampleBytes;
    }
    return {};
}

struct GivingBack {
    void operator()(std::uint16_t* block) const { stbi_image_free(block); }
};
using Samples = std::unique_ptr<std::uint16_t, GivingBack>;

/// The header of a PNG file. The decoder has checked it: each field has a valid value.
class PngHeader {
public:
    explicit PngHeader(const Bytes& file)
        : _width(bigEndian(&file[16])), _height(bigEndian(&file[20])), _depth(file[24]), _interlaced(file[28] != 0) {
        constexpr std::size_t kChannels[] = {1, 0, 3, 1, 2, 0, 4};  // by colour type; of a palette its indices
        _channels = kChannels[file[25]];
    }

    /// Greatest number of bytes of the inflated pixels. The decoder begins with a block for an image that is not
    /// interlaced, and doubles it until the image fits.
    std::size_t inflatedBytes() const {
        std::size_t bytes = ((_width * _depth + 7) / 8 * _channels + 1) * _height;
        while (_interlaced && bytes < interlacedBytes()) bytes *= 2;
        return bytes;
    }

private:
    /// Position of the pixels of one pass of an interlaced image.
    struct Pass {
        std::size_t left, top, across, down;
    };

    std::size_t interlacedBytes() const {
        // clang-format off
        constexpr Pass kPasses[] = {
            {0, 0, 8, 8},
            {4, 0, 8, 8},
            {0, 4, 4, 8},
            {2, 0, 4, 4},
            {0, 2, 2, 4},
            {1, 0, 2, 2},
            {0, 1, 1, 2}
        };
        // clang-format on
        std::size_t bytes = 0;
        for (const Pass& pass : kPasses) {
            const std::size_t width = placesFrom(pass.left, pass.across, _width);
            const std::size_t height = placesFrom(pass.top, pass.down, _height);
            if (width > 0) bytes += ((width * _depth * _channels + 7) / 8 + 1) * height;
        }
        return bytes;
    }
    static std::size_t placesFrom(std::size_t first, std::size_t step, std::size_t size) {
        return size > first ? (size - first + step - 1) / step : 0;
    }

    std::size_t _width;
    std::size_t _height;
    std::size_t _depth;  // bits of a sample
    std::size_t _channels;
    bool _interlaced;
};

// Why the decoder has given up. It does not give a reason for each of its own failures.
std::string decodersReason(DecoderMemory::Refusal refusal, const Picture& picture, std::size_t bytes,
                           const PictureWish& wish) {
    switch (refusal) {
        case DecoderMemory::Refusal::limit:
            return tooMuch(picture.width, picture.height, bytes, wish);
        case DecoderMemory::Refusal::inflated:
            return "is damaged: its pixels inflate to more than its header promises";
        case DecoderMemory::Refusal::system:
            return sizeText(picture.width, picture.height) + ", and the system has no more memory";
        case DecoderMemory::Refusal::none:
            break;
    }
    const char* const reason = stbi_failure_reason();
    return "is damaged: " + (reason ? printable(reason) : "its pixels cannot be decoded");
}

// The samples of a picture whose size is known.
// @param inflatedBytes  That its pixels may inflate to.
std::string decodeSamples(const Bytes& file, const PictureWish& wish, std::size_t inflatedBytes, Picture& picture) {
    const std::size_t count = picture.width * picture.height * picture.channels;
    const std::size_t sampleBytes = count * sizeof(std::uint16_t);
    // At the end there are the file, the decoder's samples and ours.
    const std::size_t least = file.size() + 2 * sampleBytes;
    if (least > wish.maxBytes) return tooMuch(picture.width, picture.height, least, wish);
    DecoderMemory memory(wish.maxBytes - file.size(), inflatedBytes);
    int width = 0;
    int height = 0;
    int stored = 0;
    const Samples samples(stbi_load_16_from_memory(file.data(), static_cast<int>(file.size()), &width, &height, &stored,
                                                   static_cast<int>(picture.channels)));
    if (!samples) return decodersReason(memory.refusal(), picture, least, wish);
    if (static_cast<std::size_t>(width) != picture.width || static_cast<std::size_t>(height) != picture.height)
        return "is damaged: its header names two sizes";
    picture.samples.assign(samples.get(), samples.get() + count);
    return {};
}

std::string decodePng(const Bytes& file, const PictureWish& wish, Picture& picture) {
    constexpr std::size_t kSizePlace = 16;
    if (file.size() < kSizePlace + 8) return "is damaged: ends within its header";
    // Before the library reads it, because it gives no reason for absurd sizes.
    const std::size_t storedWidth = bigEndian(&file[kSizePlace]);
    const std::size_t storedHeight = bigEndian(&file[kSizePlace + 4]);
    if (std::string reason = tooLarge(storedWidth, storedHeight); !reason.empty()) return reason;
    int width = 0;
    int height = 0;
    int stored = 0;  // 1 grey, 2 with opacity, 3 colour, 4 with opacity
    if (stbi_info_from_memory(file.data(), static_cast<int>(file.size()), &width, &height, &stored) == 0)
        return "is damaged: has no PNG header that makes sense";
    picture.width = static_cast<std::size_t>(width);
    picture.height = static_cast<std::size_t>(height);
    picture.channels = wish.colour && stored >= 3 ? 3 : 1;
    if (const std::string problem = problemOfPngChunks(file.data(), file.size()); !problem.empty())
        return "is damaged: " + problem;
    return decodeSamples(file, wish, PngHeader(file).inflatedBytes(), picture);
}

// A picture that nothing inflates, of a size that its own header has told.
std::string decodePlain(const Bytes& file, const PictureWish& wish, std::size_t width, std::size_t height,
                        Picture& picture) {
    if (std::string reason = tooLarge(width, height); !reason.empty()) return reason;
    int storedWidth = 0;
    int storedHeight = 0;
    int stored = 0;
    if (stbi_info_from_memory(file.data(), static_cast<int>(file.size()), &storedWidth, &storedHeight, &stored) == 0)
        return "is damaged: has no header that makes sense";
    picture.width = width;
    picture.height = height;
    picture.channels = wish.colour && stored >= 3 ? 3 : 1;
    return decodeSamples(file, wish, wish.maxBytes, picture);
}

std::string decodeJpeg(const Bytes& file, const PictureWish& wish, Picture& picture) {
    PictureSize size;
    if (std::string problem = problemOfJpegMarkers(file.data(), file.size(), size); !problem.empty()) return problem;
    return decodePlain(file, wish, size.width, size.height, picture);
}

std::string decodeBmp(const Bytes& file, const PictureWish& wish, Picture& picture) {
    PictureSize size;
    if (std::string problem = problemOfBmpHeader(file.data(), file.size(), size); !problem.empty()) return problem;
    return decodePlain(file, wish, size.width, size.height, picture);
}

bool beginsWith(const Bytes& file, const std::uint8_t* start, std::size_t size) {
    return file.size() >= size && std::memcmp(file.data(), start, size) == 0;
}

std::string decode(const Bytes& file, const PictureWish& wish, Picture& picture) {
    if (file.size() > kMaxFileBytes) return "is larger than 2 GB";
    if (beginsWith(file, kPngSignature, sizeof kPngSignature)) return decodePng(file, wish, picture);
    if (beginsWith(file, kPgmStart, sizeof kPgmStart)) return decodePgm(file, wish, picture);
    if (beginsWith(file, kJpegStart, sizeof kJpegStart)) return decodeJpeg(file, wish, picture);
    if (beginsWith(file, kBmpStart, sizeof kBmpStart)) return decodeBmp(file, wish, picture);
    if (isTiff(file)) return decodeTiff(file, wish, picture);
    return "is neither a PNG, JPEG, BMP or TIFF nor a binary PGM (P5) file";
}

std::string formatText(const ImageFormat& format) {
    return std::to_string(format.width) + " x " + std::to_string(format.height) + " pixels of " +
           std::to_string(format.bytesPerPixel) + (format.bytesPerPixel == 1 ? " byte" : " bytes");
}

// Appends the samples of one raw pixel.
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
    Bytes file;
    RegularFile opened;
    if (!openWhole(path, wish, opened, error)) return false;
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
                     const PictureTaker& take, std::string& error) {
    const bool coloured = format.bytesPerPixel == 3 || format.bytesPerPixel == 4;
    const std::size_t channels = wish.colour && coloured ? 3 : 1;
    RegularFile file;
    if (!file.open(path, error)) return false;
    const auto bytes = static_cast<std::size_t>(file.stamp().bytes);
    if (bytes == 0 || bytes % format.bytes() != 0) {
        error = path + ": has " + std::to_string(bytes) + " bytes, no whole number of images of " + formatText(format) +
                " (" + std::to_string(format.bytes()) + " bytes each)";
        return false;
    }
    const std::size_t needed = format.bytes() + format.width * format.height * channels * sizeof(std::uint16_t);
    if (needed > wish.maxBytes) {
        error = path + ": " + tooMuch(format.width, format.height, needed, wish);
        return false;
    }
    const PixelWriter depth(format.bytesPerPixel, bits);
    Bytes image(format.bytes());
    for (std::size_t count = bytes / image.size(), left = count; left > 0; --left) {
        if (left < count && wish.stopRequested && wish.stopRequested()) break;
        if (file.read(image.data(), image.size()) != static_cast<std::ptrdiff_t>(image.size())) {
            error = path + ": cannot be read";
            return false;
        }
        if (!take(rawPicture(image, format, depth, channels))) break;
    }
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
