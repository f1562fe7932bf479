#include "tiff.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include <tiffio.h>

#include "picture_limits.h"
#include "pixel_writer.h"
#include "tiff_tags.h"

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What the library reads and writes: a file in memory that nobody writes to.
struct Source {
    const Bytes& file;
    std::uint64_t at = 0;
};

tmsize_t readSource(thandle_t handle, void* to, tmsize_t size) {
    auto& source = *static_cast<Source*>(handle);
    if (size < 0 || source.at >= source.file.size()) return 0;
    const std::size_t left = source.file.size() - static_cast<std::size_t>(source.at);
    const std::size_t count = std::min(left, static_cast<std::size_t>(size));
    std::memcpy(to, source.file.data() + source.at, count);
    source.at += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t writeSource(thandle_t, void*, tmsize_t) { return 0; }

toff_t seekSource(thandle_t handle, toff_t offset, int whence) {
    auto& source = *static_cast<Source*>(handle);
    if (whence == SEEK_CUR) offset += source.at;
    if (whence == SEEK_END) offset += source.file.size();
    return source.at = offset;
}

int closeSource(thandle_t) { return 0; }

toff_t sizeOfSource(thandle_t handle) { return static_cast<Source*>(handle)->file.size(); }

// Its texts are not for people.
int sayNothing(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct Closing {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using Tiff = std::unique_ptr<TIFF, Closing>;

Tiff openTiff(Source& source, std::size_t maxBytes) {
    const std::unique_ptr<TIFFOpenOptions, Closing> options(TIFFOpenOptionsAlloc());
    if (!options) return nullptr;
    constexpr std::size_t kOwnBytes = 1'000'000;  // of the library, whatever the picture is
    const std::size_t mostBytes = std::clamp(maxBytes, kOwnBytes, kMaxPixels * 8);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(mostBytes));
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &sayNothing, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &sayNothing, nullptr);
    return Tiff(TIFFClientOpenExt("", "rm", &source, &readSource, &writeSource, &seekSource, &closeSource,
                                  &sizeOfSource, nullptr, nullptr, options.get()));
}

// What of the file's description counts here.
struct Description {
    explicit Description(TIFF* tiff) {
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &sampleFormat);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
        if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) == 0) photometric = PHOTOMETRIC_MINISBLACK;
        tiled = TIFFIsTiled(tiff) != 0;
    }

    bool isGrey() const { return photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE; }
    bool isColour() const { return photometric == PHOTOMETRIC_RGB && samples >= 3; }

    // Lines whose samples stand there as they are.
    bool hasPlainLines() const {
        return (isGrey() || isColour()) && (bits == 8 || bits == 16) && samples >= 1 && !tiled &&
               (planar == PLANARCONFIG_CONTIG || samples == 1);
    }

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1;
    std::uint16_t samples = 1;
    std::uint16_t sampleFormat = SAMPLEFORMAT_UINT;
    std::uint16_t planar = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    bool tiled = false;
};

// Others would need decoders that nobody here has looked at.
bool isReadCompression(std::uint16_t compression) {
    constexpr std::array kRead = {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE,
                                  COMPRESSION_PACKBITS};
    return std::ranges::find(kRead, int{compression}) != kRead.end();
}

constexpr char kDamaged[] = "is damaged: its pixels cannot be decoded";

std::uint16_t brightness(double red, double green, double blue) {
    const Colour colour{red / kMaxSample, green / kMaxSample, blue / kMaxSample};
    const double nearest = colour.brightness() * kMaxSample + 0.5;  // not negative: cutting rounds
    return static_cast<std::uint16_t>(nearest);
}

// One pixel's samples, each 0 … 65535, appended.
void append(const std::array<std::uint16_t, 3>& pixel, bool coloured, Picture& picture) {
    if (picture.channels == 3)
        picture.samples.insert(picture.samples.end(), pixel.begin(), pixel.end());
    else
        picture.samples.push_back(coloured ? brightness(pixel[0], pixel[1], pixel[2]) : pixel[0]);
}

std::string readLines(TIFF* tiff, const Description& said, Picture& picture) {
    const auto lineBytes = static_cast<std::size_t>(std::max<tmsize_t>(TIFFScanlineSize(tiff), 0));
    const std::size_t sampleBytes = said.bits / 8;
    if (lineBytes < said.width * sampleBytes * said.samples) return kDamaged;
    Bytes line(lineBytes);
    const std::size_t greatest = said.bits == 8 ? 255 : kMaxSample;
    for (std::uint32_t y = 0; y < said.height; ++y) {
        if (TIFFReadScanline(tiff, line.data(), y, 0) != 1) return kDamaged;
        for (std::size_t x = 0; x < said.width; ++x) {
            std::array<std::uint16_t, 3> pixel{};
            for (std::size_t sample = 0; sample < (said.isColour() ? 3u : 1u); ++sample) {
                std::uint16_t value = 0;
                std::memcpy(&value, line.data() + (x * said.samples + sample) * sampleBytes, sampleBytes);
                pixel[sample] = spread(value, greatest);
                if (said.photometric == PHOTOMETRIC_MINISWHITE)
                    pixel[sample] = static_cast<std::uint16_t>(kMaxSample - pixel[sample]);
            }
            if (!said.isColour()) pixel[1] = pixel[2] = pixel[0];
            append(pixel, said.isColour(), picture);
        }
    }
    return {};
}

// Every other arrangement, in 8 bits.
std::string readAny(TIFF* tiff, const Description& said, Picture& picture) {
    char reason[1024];
    if (TIFFRGBAImageOK(tiff, reason) == 0) return "is a TIFF of a kind that is not read";
    std::vector<std::uint32_t> pixels(std::size_t{said.width} * said.height);
    if (TIFFReadRGBAImageOriented(tiff, said.width, said.height, pixels.data(), ORIENTATION_TOPLEFT, 1) != 1)
        return kDamaged;
    for (const std::uint32_t pixel : pixels) {
        append({spread(TIFFGetR(pixel), 255), spread(TIFFGetG(pixel), 255), spread(TIFFGetB(pixel), 255)},
               !said.isGrey(), picture);
    }
    return {};
}

}  // namespace

std::string decodeTiff(const Bytes& file, const PictureWish& wish, Picture& picture) {
    Source source{file};
    // The library takes memory for what the tags name before anybody may look.
    if (!tiffTagsFitTheirFile(file)) return "is damaged: its tags name more data than the file has";
    const Tiff tiff = openTiff(source, wish.maxBytes);
    if (!tiff) return "is damaged: has no TIFF header that makes sense";
    const Description said(tiff.get());
    if (said.width == 0 || said.height == 0) return "is damaged: its header names an impossible size";
    if (std::string reason = tooLarge(said.width, said.height); !reason.empty()) return reason;
    constexpr std::uint16_t kMaxSamples = 5;  // CMYK with alpha
    if (said.samples > kMaxSamples || !isReadCompression(said.compression) || said.sampleFormat != SAMPLEFORMAT_UINT)
        return "is a TIFF of a kind that is not read: save it without compression, in 8 or 16 bits";
    picture.width = said.width;
    picture.height = said.height;
    picture.channels = wish.colour && !said.isGrey() ? 3 : 1;
    // Once as the library has it, once as samples.
    const std::size_t pixels = picture.width * picture.height;
    const std::size_t beside = said.hasPlainLines() ? 0 : pixels * sizeof(std::uint32_t);
    const std::size_t least = file.size() + beside + pixels * picture.channels * sizeof(std::uint16_t);
    if (least > wish.maxBytes) return tooMuch(picture.width, picture.height, least, wish);
    picture.samples.reserve(pixels * picture.channels);
    return said.hasPlainLines() ? readLines(tiff.get(), said, picture) : readAny(tiff.get(), said, picture);
}

}  // namespace frames
