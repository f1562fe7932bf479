#include "image_source.h"

#include "strip.h"

namespace simulator {
RenderedImages::RenderedImages(const frames::ImageFormat& format, const PatternOptions& options)
    : ImageSource(format, options.settings.strip),
      _options(options),
      _pattern(makePattern(*options.pattern, format, options.settings)) {}

std::uint32_t RenderedImages::draw(std::uint8_t* pixels, std::uint64_t frameNumber,
                                   std::optional<std::uint64_t> before) {
    return _pattern->draw(pixels, frameNumber, before);
}

void RenderedImages::record(std::uint64_t frameNumber) {
    if (!_options.truth) return;
    if (!_begun) _options.truth->begin(*_options.pattern, format(), _options.settings);
    _begun = true;
    _options.truth->frame(frameNumber, _pattern->truth(frameNumber));
}

std::uint8_t RenderedImages::stripFlags() const { return frames::kStripRendered; }

std::size_t RenderedImages::memoryBytes() const { return patternBytes(*_options.pattern, format()); }

}  // namespace simulator
