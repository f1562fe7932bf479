// Where the simulator's images come from: rendered here, or replayed from files (replayed_images.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "frame_rate.h"
#include "image_view.h"
#include "pattern_options.h"
#include "strip.h"

namespace simulator {

/// Images of one format. Used by one thread.
class ImageSource {
public:
    virtual ~ImageSource() = default;
    ImageSource(const ImageSource&) = delete;
    ImageSource& operator=(const ImageSource&) = delete;

    /// Draws a frame in place, but not the strip. May be called for a frame that is not delivered after all.
    ///
    /// @param before  Number of the frame that this source drew into these pixels last; none when unknown.
    /// @return        CRC-32 of the bytes outside the strip's lines.
    virtual std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber,
                               std::optional<std::uint64_t> before) = 0;

    /// What is there of the next frame's picture.
    enum class Supply {
        ready,
        waiting,  // it has not come yet
        ended,    // none will come any more
        failed,   // neither, and problem() says why
    };

    /// Waits for the next frame's picture until a time of the monotonic clock. For live images alone.
    virtual Supply await(std::int64_t) { return Supply::ready; }

    /// Whether pictures come at their own times: each frame waits for its one.
    virtual bool isLive() const { return false; }

    /// Images per second that the pictures were made for; none: unknown.
    virtual std::optional<FrameRate> ownRate() const { return std::nullopt; }

    /// Why a picture did not come.
    virtual std::string problem() const { return {}; }

    /// Takes down that a frame was made as it was drawn.
    virtual void record(std::uint64_t) {}

    /// The strip's flags about the origin of the pixels.
    virtual std::uint8_t stripFlags() const = 0;

    /// Bytes that it uses permanently, if they depend on the size of the images.
    virtual std::size_t memoryBytes() const = 0;

    const frames::ImageFormat& format() const { return _format; }

    /// Where the images have room for the strip.
    const frames::StripLayout& strip() const { return _strip; }

protected:
    explicit ImageSource(const frames::ImageFormat& format, const frames::StripWish& strip = {})
        : _format(format), _strip(stripLayout(format, strip)) {}

private:
    frames::ImageFormat _format;
    frames::StripLayout _strip;
};

/// A pattern. Where it stands in each recorded frame is written into the options' truth log, if there is one.
class RenderedImages : public ImageSource {
public:
    explicit RenderedImages(const frames::ImageFormat& format, const PatternOptions& options = {});
    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) override;
    void record(std::uint64_t frameNumber) override;
    std::uint8_t stripFlags() const override;
    std::size_t memoryBytes() const override;

private:
    PatternOptions _options;
    std::unique_ptr<frames::Pattern> _pattern;
    bool _begun = false;  // the truth log's first line is written
};

}  // namespace simulator
