#include "image_source.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "image_file.h"
#include "strip.h"

namespace simulator {
namespace {

bool isPictureName(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return extension == ".png" || extension == ".pgm";
}

// Paths of the folder's pictures in name order; none, with the reason, when there is none.
std::vector<std::string> picturesIn(const std::string& folder, std::string& error) {
    std::vector<std::string> paths;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (isPictureName(entry->path())) paths.push_back(entry->path().string());
    }
    if (failure) {
        error = folder + ": cannot be read: " + failure.message();
        return {};
    }
    if (paths.empty()) error = folder + ": holds no PNG or PGM file";
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string sizeText(std::size_t width, std::size_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

// The picture's greys, each repeated for every byte of a pixel.
std::vector<std::uint8_t> spreadOverBytes(const std::vector<std::uint8_t>& greys, const frames::ImageFormat& format) {
    std::vector<std::uint8_t> bytes(format.bytes());
    const frames::Canvas canvas{bytes.data(), format};
    for (std::size_t y = 0; y < format.height; ++y) {
        for (std::size_t x = 0; x < format.width; ++x) fillPixels(canvas, x, y, 1, greys[y * format.width + x]);
    }
    return bytes;
}

}  // namespace

RenderedImages::RenderedImages(const frames::ImageFormat& format, const PatternOptions& options)
    : ImageSource(format), _options(options), _pattern(makePattern(*options.pattern, format, options.settings)) {}

std::uint32_t RenderedImages::draw(std::uint8_t* pixels, std::uint64_t frameNumber,
                                   std::optional<std::uint64_t> before) {
    if (_options.truth) {
        if (!_begun) _options.truth->begin(*_options.pattern, format(), _options.settings);
        _begun = true;
        _options.truth->frame(frameNumber, _pattern->truth(frameNumber));
    }
    return _pattern->draw(pixels, frameNumber, before);
}

std::uint8_t RenderedImages::stripFlags() const { return frames::kStripRendered; }

std::unique_ptr<ReplayedImages> ReplayedImages::load(const std::string& folder,
                                                     const std::optional<frames::ImageFormat>& size,
                                                     std::size_t bytesPerPixel, std::string& error) {
    const std::vector<std::string> paths = picturesIn(folder, error);
    if (paths.empty()) return nullptr;
    frames::ImageFormat format = size.value_or(frames::ImageFormat{});
    format.bytesPerPixel = bytesPerPixel;
    std::string sizeOwner = "the camera";
    std::vector<Picture> pictures;
    for (const std::string& path : paths) {
        frames::GreyImage grey;
        if (!readGreyImage(path, grey, error)) return nullptr;
        if (pictures.empty() && !size) {
            format.width = grey.width;
            format.height = grey.height;
            sizeOwner = path;
        }
        if (grey.width != format.width || grey.height != format.height) {
            error = path + ": has " + sizeText(grey.width, grey.height) + " pixels, but ";
            error.append(sizeOwner).append(" has ").append(sizeText(format.width, format.height));
            return nullptr;
        }
        Picture picture{spreadOverBytes(grey.pixels, format), 0};
        picture.crcBelowStrip = frames::crcBelowStrip({picture.bytes.data(), format});
        pictures.push_back(std::move(picture));
    }
    return std::unique_ptr<ReplayedImages>(new ReplayedImages(format, std::move(pictures)));
}

// Always the whole picture: a reader may have drawn into the slot, and the CRC is the file's.
std::uint32_t ReplayedImages::draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t>) {
    const Picture& picture = _pictures[frameNumber % _pictures.size()];
    const std::size_t stripBytes = stripLines(format()) * format().lineBytes();
    std::memcpy(pixels + stripBytes, picture.bytes.data() + stripBytes, picture.bytes.size() - stripBytes);
    return picture.crcBelowStrip;
}

std::uint8_t ReplayedImages::stripFlags() const { return frames::kStripReplayed; }

}  // namespace simulator
