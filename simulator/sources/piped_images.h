// Images that another program writes into a pipe, picture after picture, as they come (--images - --format y4m).
//
// One picture is read at a time, when the one before was delivered: a program that writes faster waits.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "image_source.h"
#include "picture_options.h"
#include "y4m_reader.h"

namespace simulator {

class PictureBudget;

class PipedImages : public ImageSource {
public:
    /// Reads what has come; waits until a time of the monotonic clock. As platform_readStandardInput.
    using Input = std::function<std::ptrdiff_t(void* to, std::size_t size, std::int64_t untilNs)>;

    /// What the images are to be; what is missing follows the pictures.
    struct Wish {
        std::optional<frames::ImageFormat> size = {};   // width and height that the pictures must have
        std::optional<std::size_t> bytesPerPixel = {};  // none: 1, or 2 for more than 8 bits
        unsigned bits = 16;                             // significant ones of 2 bytes; 16: those of the pictures
        const PictureBudget* budget = nullptr;
    };

    /// Waits for the stream's header. @return null, with the reason, when the stream cannot be shown, or a stop was
    /// requested before its header came.
    static std::unique_ptr<PipedImages> open(Input input, const PictureOptions& options, const Wish& wish,
                                             std::string& error);

    Supply await(std::int64_t untilNs) override;
    bool isLive() const override { return true; }
    std::optional<FrameRate> ownRate() const override;
    std::string problem() const override;

    /// Shows the picture that came last; black before the first one.
    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) override;
    std::uint8_t stripFlags() const override;
    std::size_t memoryBytes() const override;

private:
    using Reader = std::unique_ptr<frames::Y4mReader>;

    PipedImages(const frames::ImageFormat& format, const frames::StripWish& strip, unsigned bits,
                std::shared_ptr<std::int64_t> untilNs, Reader reader);
    void show(const std::vector<std::uint8_t>& luma);

    std::shared_ptr<std::int64_t> _untilNs;  // that the reader's source waits
    Reader _reader;
    std::vector<std::uint8_t> _table;   // the pixel of each sample
    std::vector<std::uint8_t> _pixels;  // of the picture that came last
};

}  // namespace simulator
