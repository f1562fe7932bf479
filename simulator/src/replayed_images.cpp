#include "replayed_images.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

#include "picture_files.h"
#include "platform.h"
#include "strip.h"

namespace simulator {
namespace {

constexpr double kFastestAcross = 4.0;  // pixels per frame
constexpr double kFastestDown = 2.5;
constexpr std::size_t kMegabyte = 1'000'000;

std::string sizeText(std::size_t width, std::size_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

// From 0 to spare and back, nowhere faster than told.
std::size_t swayed(std::uint64_t frameNumber, std::size_t spare, double fastest) {
    if (spare == 0) return 0;
    const double range = static_cast<double>(spare);
    const auto period = static_cast<std::uint64_t>(std::ceil(std::numbers::pi * range / fastest)) + 1;
    const double phase = static_cast<double>(frameNumber % period) / static_cast<double>(period);
    return static_cast<std::size_t>(std::lround(range / 2 * (1 - std::cos(2 * std::numbers::pi * phase))));
}

}  // namespace

WindowPlace windowAt(std::uint64_t frameNumber, std::size_t spareX, std::size_t spareY) {
    return {swayed(frameNumber, spareX, kFastestAcross), swayed(frameNumber, spareY, kFastestDown)};
}

/// Loads pictures one after the other into lines of one format.
class PictureLoader {
public:
    PictureLoader(const PictureOptions& options, const std::optional<frames::ImageFormat>& size,
                  std::size_t bytesPerPixel, unsigned bits, std::string& error)
        : _options(options),
          _format(size.value_or(frames::ImageFormat{})),
          _sizeOwner(size ? "the camera" : ""),
          _bits(bits),
          _writer(bytesPerPixel, bits),
          _appendLine(0),
          _room(options.memoryMb * kMegabyte),
          _error(error) {
        _format.bytesPerPixel = bytesPerPixel;
    }

    std::unique_ptr<ReplayedImages> load() {
        const bool raw = _options.rawSize.has_value();
        for (const std::string& path : pictureFiles(_options.images, raw, _error)) {
            if (isEnough()) break;
            if (!addFile(path)) return nullptr;
        }
        if (_pictures.empty()) return nullptr;
        return std::unique_ptr<ReplayedImages>(new ReplayedImages(_format, _options.play, std::move(_pictures)));
    }

private:
    // Who stops the program waits for no further picture; without any there would be nothing to end in order.
    bool isEnough() const { return !_pictures.empty() && platform_stopRequested(); }

    bool addFile(const std::string& path) {
        const frames::PictureWish wish{_format.bytesPerPixel == 3 || _format.bytesPerPixel == 4,
                                       // Decoded samples take up to twice the bytes of the pixels made of them.
                                       2 * _options.memoryMb * kMegabyte, &platform_stopRequested};
        std::vector<frames::Picture> pictures;
        if (_options.rawSize && !isPictureName(path)) {
            if (!readRawPictures(path, *_options.rawSize, _bits, wish, pictures, _error)) return false;
        } else if (!readPicture(path, wish, pictures.emplace_back(), _error)) {
            return false;
        }
        for (frames::Picture& picture : pictures) {
            if (isEnough()) break;
            if (!add(path, std::move(picture))) return false;
        }
        return true;
    }

    bool add(const std::string& path, frames::Picture picture) {
        if (_pictures.empty()) begin(path, picture);
        if (!_options.scale && !fits(picture)) {
            _error = path + ": has " + sizeText(picture.width, picture.height) + " pixels, but " + _sizeOwner +
                     " has " + sizeText(_format.width, _format.height);
            return false;
        }
        // Before it is scaled, which takes that memory.
        if (!takeRoom(path, _options.scale ? _format.width : picture.width,
                      _options.scale ? _format.height : picture.height))
            return false;
        if (_options.scale) picture = scaled(picture, _format.width, _format.height);
        std::vector<frames::StoredLine>& lines = _pictures.emplace_back(picture.height);
        for (std::size_t y = 0; y < picture.height; ++y)
            lines[y].assign(picture.line(y, _writer), _format, _appendLine);
        return true;
    }

    // Room for a picture in the images' format, with a check sum for each place that a window can have in a line.
    bool takeRoom(const std::string& path, std::size_t width, std::size_t height) {
        const std::size_t sums = (width - _format.width + 1) * sizeof(std::uint32_t);
        const std::size_t bytes = (width * _format.bytesPerPixel + sums) * height;
        if (bytes > _room) {
            _error = path + ": the pictures take more than the " + std::to_string(_options.memoryMb) +
                     " MB of --image-memory";
            return false;
        }
        _room -= bytes;
        return true;
    }

    // With the first picture the size is known.
    void begin(const std::string& path, const frames::Picture& picture) {
        if (_sizeOwner.empty()) {
            _format.width = picture.width;
            _format.height = picture.height;
            _sizeOwner = path;
            _sizeIsOfPicture = true;
        }
        _appendLine = frames::Crc32Append(_format.lineBytes());
    }

    bool fits(const frames::Picture& picture) const {
        if (picture.width == _format.width && picture.height == _format.height) return true;
        return _options.windowMoves && !_sizeIsOfPicture && picture.width >= _format.width &&
               picture.height >= _format.height;
    }

    const PictureOptions& _options;
    frames::ImageFormat _format;
    std::string _sizeOwner;         // for messages; empty: not known yet
    bool _sizeIsOfPicture = false;  // then all have the same: what is a world and what a window nobody said
    unsigned _bits;
    frames::PixelWriter _writer;
    frames::Crc32Append _appendLine;
    std::size_t _room;  // bytes left
    std::string& _error;
    std::vector<ReplayedImages::Lines> _pictures;
};

std::unique_ptr<ReplayedImages> ReplayedImages::load(const PictureOptions& options,
                                                     const std::optional<frames::ImageFormat>& size,
                                                     std::size_t bytesPerPixel, unsigned bits, std::string& error) {
    return PictureLoader(options, size, bytesPerPixel, bits, error).load();
}

ReplayedImages::ReplayedImages(const frames::ImageFormat& format, Play play, std::vector<Lines> pictures)
    : ImageSource(format), _play(play), _appendLine(format.lineBytes()), _pictures(std::move(pictures)) {}

// Always the whole picture: a reader may have drawn into the slot, and the CRC is the file's.
std::uint32_t ReplayedImages::draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t>) {
    const Lines& lines = _pictures[pictureOfFrame(_play, frameNumber, _pictures.size())];
    const WindowPlace window = windowAt(frameNumber, lines.front().lastOffset(), lines.size() - format().height);
    const frames::Canvas image{pixels, format()};
    std::uint32_t crc = 0;
    for (std::size_t y = stripLines(format()); y < format().height; ++y) {
        const frames::StoredLine& line = lines[window.y + y];
        std::memcpy(image.line(y), line.pixels(window.x), format().lineBytes());
        crc = _appendLine(crc, line.crc(window.x));
    }
    return crc;
}

std::uint8_t ReplayedImages::stripFlags() const { return frames::kStripReplayed; }

}  // namespace simulator
