#include "piped_images.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "crc32.h"
#include "picture_budget.h"
#include "pixel_writer.h"
#include "platform.h"

namespace simulator {
namespace {

using frames::Y4mFormat;
using frames::Y4mReader;

constexpr char kName[] = "standard input: ";
constexpr char kMemoryOption[] = "--image-memory";
constexpr std::size_t kMegabyte = 1'000'000;
constexpr std::int64_t kLookNs = 100'000'000;  // between two looks whether to stop
constexpr std::uint64_t kMaxRate = 10'000;
constexpr std::uint64_t kSlowest = 100;  // seconds for a picture

std::string sizeText(std::size_t width, std::size_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

// Bytes that the images' source takes.
std::size_t bytesOf(const frames::ImageFormat& format, const Y4mFormat& said) {
    return format.bytes() + said.lumaBytes() + (std::size_t{1} << said.bits) * format.bytesPerPixel;
}

// Why such pictures are not shown; empty when they are.
std::string refusal(const frames::ImageFormat& format, const Y4mFormat& said, const PictureOptions& options,
                    const PipedImages::Wish& wish) {
    if (wish.size && (wish.size->width != said.width || wish.size->height != said.height))
        return kName + ("has pictures of " + sizeText(said.width, said.height)) + " pixels, but the camera has " +
               sizeText(wish.size->width, wish.size->height);
    if (bytesOf(format, said) > options.memoryMb * kMegabyte)
        return kName + ("its pictures take more than the " + std::to_string(options.memoryMb)) + " MB of " +
               kMemoryOption;
    return wish.budget ? wish.budget->problem(format, bytesOf(format, said)) : std::string();
}

// The pixel of each sample, one behind the other.
std::vector<std::uint8_t> tableOf(unsigned sampleBits, std::size_t bytesPerPixel, unsigned bits) {
    const frames::PixelWriter writer(bytesPerPixel, bits);
    const std::size_t count = std::size_t{1} << sampleBits;
    std::vector<std::uint8_t> table(count * bytesPerPixel);
    for (std::size_t sample = 0; sample < count; ++sample)
        writer.put(&table[sample * bytesPerPixel], static_cast<double>(sample) / static_cast<double>(count - 1));
    return table;
}

}  // namespace

std::unique_ptr<PipedImages> PipedImages::open(Input input, const PictureOptions& options, const Wish& wish,
                                               std::string& error) {
    auto untilNs = std::make_shared<std::int64_t>(0);
    auto reader = std::make_unique<Y4mReader>(
        [input = std::move(input), untilNs](std::uint8_t* to, std::size_t size) { return input(to, size, *untilNs); },
        options.memoryMb * kMegabyte, kMemoryOption);
    Y4mReader::Result result = Y4mReader::Result::waiting;
    while (result == Y4mReader::Result::waiting) {
        if (platform_stopRequested()) {
            error = kName + std::string("stopped before its header came");
            return nullptr;
        }
        *untilNs = platform_monotonicNanoseconds() + kLookNs;
        result = reader->readHeader();
    }
    if (result != Y4mReader::Result::ready) {
        error = kName + reader->error();
        return nullptr;
    }
    const Y4mFormat& said = reader->format();
    const frames::ImageFormat format{said.width, said.height, wish.bytesPerPixel.value_or(said.bits > 8 ? 2 : 1)};
    error = refusal(format, said, options, wish);
    if (!error.empty()) return nullptr;
    const unsigned bits = wish.bits == frames::kFullBits && said.bits > 8 ? said.bits : wish.bits;
    return std::unique_ptr<PipedImages>(
        new PipedImages(format, options.strip, bits, std::move(untilNs), std::move(reader)));
}

PipedImages::PipedImages(const frames::ImageFormat& format, const frames::StripWish& strip, unsigned bits,
                         std::shared_ptr<std::int64_t> untilNs, Reader reader)
    : ImageSource(format, strip),
      _untilNs(std::move(untilNs)),
      _reader(std::move(reader)),
      _table(tableOf(_reader->format().bits, format.bytesPerPixel, bits)),
      _pixels(format.bytes()) {}

ImageSource::Supply PipedImages::await(std::int64_t untilNs) {
    *_untilNs = untilNs;
    switch (_reader->readPicture()) {
        case Y4mReader::Result::ready:
            show(_reader->luma());
            return Supply::ready;
        case Y4mReader::Result::waiting:
            return Supply::waiting;
        case Y4mReader::Result::ended:
            return Supply::ended;
        case Y4mReader::Result::failed:
            break;
    }
    return Supply::failed;
}

// Samples above those that the bits can hold are white.
void PipedImages::show(const std::vector<std::uint8_t>& luma) {
    const std::size_t depth = format().bytesPerPixel;
    const std::size_t sampleBytes = _reader->format().bits > 8 ? 2 : 1;
    const std::size_t white = (std::size_t{1} << _reader->format().bits) - 1;
    std::uint8_t* pixel = _pixels.data();
    for (std::size_t at = 0; at < luma.size(); at += sampleBytes, pixel += depth) {
        const std::size_t sample = sampleBytes == 1 ? luma[at] : luma[at] | std::size_t{luma[at + 1]} << 8;
        std::memcpy(pixel, &_table[std::min(sample, white) * depth], depth);
    }
}

// What --fps takes; a header may say anything.
std::optional<FrameRate> PipedImages::ownRate() const {
    const Y4mFormat& said = _reader->format();
    if (said.rateFrames == 0 || said.rateSeconds == 0) return std::nullopt;
    const std::uint64_t divisor = std::gcd(said.rateFrames, said.rateSeconds);
    const FrameRate rate{said.rateFrames / divisor, said.rateSeconds / divisor};
    if (std::max(rate.frames, rate.seconds) > FrameRate::kMaxTerm || rate.frames > rate.seconds * kMaxRate ||
        rate.seconds > rate.frames * kSlowest)
        return std::nullopt;
    return rate;
}

std::string PipedImages::problem() const { return kName + _reader->error(); }

std::uint32_t PipedImages::draw(std::uint8_t* pixels, std::uint64_t, std::optional<std::uint64_t>) {
    const std::size_t begin = strip().bodyFirst * format().lineBytes();
    const std::size_t size = strip().bodyLines * format().lineBytes();
    std::memcpy(pixels + begin, _pixels.data() + begin, size);
    return frames::crc32(_pixels.data() + begin, size);
}

std::uint8_t PipedImages::stripFlags() const { return frames::kStripReplayed; }

std::size_t PipedImages::memoryBytes() const { return bytesOf(format(), _reader->format()); }

}  // namespace simulator
