#include "replayed_images.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

#include "picture_budget.h"
#include "picture_files.h"
#include "platform.h"

namespace simulator {
namespace {

constexpr double kFastestAcross = 4.0;  // pixels per frame
constexpr double kFastestDown = 2.5;
constexpr std::size_t kMegabyte = 1'000'000;
constexpr char kMemoryOption[] = "--image-memory";

std::string sizeText(std::size_t width, std::size_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

// From 0 to spare and back, never faster than given.
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

/// Loads pictures one by one into lines of one format.
class PictureLoader {
public:
    PictureLoader(const PictureOptions& options, const std::optional<frames::ImageFormat>& size,
                  std::size_t bytesPerPixel, unsigned bits, std::string& error, const PictureBudget* budget)
        : _options(options),
          _budget(budget),
          _format(size.value_or(frames::ImageFormat{})),
          _sizeOwner(size ? "the camera" : ""),
          _bits(bits),
          _writer(bytesPerPixel, bits),
          _appendLine(0),
          _room(options.memoryMb * kMegabyte),
          _error(error) {
        _format.bytesPerPixel = bytesPerPixel;
        if (budget) keepWithin(size ? budget->leftBeside(_format) : budget->left());
    }

    std::unique_ptr<ReplayedImages> load() {
        const bool raw = _options.rawSize.has_value();
        for (const std::string& path : pictureFiles(_options.images, raw, _error)) {
            if (isEnough()) break;
            if (!addFile(path)) return nullptr;
        }
        if (_pictures.empty()) return nullptr;
        return std::unique_ptr<ReplayedImages>(new ReplayedImages(_format, _options, std::move(_pictures)));
    }

private:
    // After a stop request no further picture is loaded; but without any there would be nothing to end in order.
    bool isEnough() const { return !_pictures.empty() && platform_stopRequested(); }

    // The whole run may leave less than the option for pictures allows.
    void keepWithin(std::size_t left) {
        if (left >= _room) return;
        _room = left;
        _limit = "--max-memory leaves beside the ring";
        _limitOption = "--max-memory";
    }

    bool addFile(const std::string& path) {
        const frames::PictureWish wish{_format.bytesPerPixel == 3 || _format.bytesPerPixel == 4, _room, _limitOption,
                                       &platform_stopRequested};
        if (_options.rawSize && !isPictureName(path)) return addRawFile(path, wish);
        frames::Picture picture;
        return readPicture(path, wish, picture, _error) && add(path, std::move(picture), 0);
    }

    bool addRawFile(const std::string& path, const frames::PictureWish& wish) {
        const frames::ImageFormat& format = *_options.rawSize;
        bool added = true;
        const auto take = [&](frames::Picture&& picture) {
            return added = add(path, std::move(picture), format.bytes());
        };
        return readRawPictures(path, format, _bits, wish, take, _error) && added;
    }

    /// @param beside  Bytes in use meanwhile for reading it.
    bool add(const std::string& path, frames::Picture picture, std::size_t beside) {
        if (_pictures.empty() && !begin(path, picture)) return false;
        if (!_options.scale && !fits(picture)) {
            _error = path + ": has " + sizeText(picture.width, picture.height) + " pixels, but " + _sizeOwner +
                     " has " + sizeText(_format.width, _format.height);
            return false;
        }
        if (!takeRoom(path, picture, beside)) return false;
        if (needsScaling(picture)) picture = scaled(picture, _format.width, _format.height);
        _pictures.emplace_back(std::move(picture), _format, _writer, _appendLine);
        return true;
    }

    bool needsScaling(const frames::Picture& picture) const {
        return _options.scale && (picture.width != _format.width || picture.height != _format.height);
    }

    // Checks that there is room for a picture in the images' format, besides what creating it needs.
    bool takeRoom(const std::string& path, const frames::Picture& picture, std::size_t beside) {
        const bool scaling = needsScaling(picture);
        const std::size_t width = scaling ? _format.width : picture.width;
        const std::size_t height = scaling ? _format.height : picture.height;
        const std::size_t stored = frames::StoredPicture::bytes(width, height, _format);
        const std::size_t read = picture.samples.size() * sizeof(std::uint16_t);
        const std::size_t samples = width * height * picture.channels * sizeof(std::uint16_t);
        const std::size_t whileScaling = scaling ? read + scalingBytes(picture, width, height) : 0;
        const std::size_t whileStoring = samples + stored + width * _format.bytesPerPixel;
        if (std::max(whileScaling, whileStoring) + beside > _room) {
            _error = path + ": the pictures take more than " + _limit;
            return false;
        }
        _room -= stored;
        return true;
    }

    // The first picture sets the size.
    bool begin(const std::string& path, const frames::Picture& picture) {
        if (_sizeOwner.empty()) {
            _format.width = picture.width;
            _format.height = picture.height;
            _sizeOwner = path;
            _sizeIsOfPicture = true;
        }
        _appendLine = frames::Crc32Append(_format.lineBytes());
        if (!_budget) return true;
        _error = _budget->problem(_format, 0);
        keepWithin(_budget->leftBeside(_format));
        return _error.empty();
    }

    bool fits(const frames::Picture& picture) const {
        if (picture.width == _format.width && picture.height == _format.height) return true;
        return _options.windowMoves && !_sizeIsOfPicture && picture.width >= _format.width &&
               picture.height >= _format.height;
    }

    const PictureOptions& _options;
    const PictureBudget* _budget;
    frames::ImageFormat _format;
    std::string _sizeOwner;         // for messages; empty: not known yet
    bool _sizeIsOfPicture = false;  // then all must have it: nobody said what is a larger picture and what is a window
    unsigned _bits;
    frames::PixelWriter _writer;
    frames::Crc32Append _appendLine;
    std::size_t _room;  // bytes left
    std::string _limit = "the " + std::to_string(_options.memoryMb) + " MB of " + kMemoryOption;
    const char* _limitOption = kMemoryOption;
    std::string& _error;
    std::deque<frames::StoredPicture> _pictures;
};

std::unique_ptr<ReplayedImages> ReplayedImages::load(const PictureOptions& options,
                                                     const std::optional<frames::ImageFormat>& size,
                                                     std::size_t bytesPerPixel, unsigned bits, std::string& error,
                                                     const PictureBudget* budget) {
    return PictureLoader(options, size, bytesPerPixel, bits, error, budget).load();
}

ReplayedImages::ReplayedImages(const frames::ImageFormat& format, const PictureOptions& options,
                               std::deque<frames::StoredPicture> pictures)
    : ImageSource(format, options.strip),
      _play(options.play),
      _appendLine(format.lineBytes()),
      _pictures(std::move(pictures)) {}

// Always the whole picture: a reader may have changed the slot, and the CRC is that of the file.
std::uint32_t ReplayedImages::draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t>) {
    const frames::StoredPicture& picture = _pictures[pictureOfFrame(_play, frameNumber, _pictures.size())];
    const WindowPlace window = windowAt(frameNumber, picture.lastX(), picture.lastY());
    const frames::Canvas image{pixels, format()};
    std::uint32_t crc = 0;
    for (std::size_t y = strip().bodyFirst; y < strip().bodyFirst + strip().bodyLines; ++y) {
        std::memcpy(image.line(y), picture.pixels(window.x, window.y + y), format().lineBytes());
        crc = _appendLine(crc, picture.crc(window.x, window.y + y));
    }
    return crc;
}

std::uint8_t ReplayedImages::stripFlags() const { return frames::kStripReplayed; }

std::size_t ReplayedImages::memoryBytes() const {
    std::size_t bytes = 0;
    for (const frames::StoredPicture& picture : _pictures) bytes += picture.bytes(format());
    return bytes;
}

}  // namespace simulator
